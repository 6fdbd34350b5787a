#include <KVBase/KVHTTPPost.h>
#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/KVNil.h>

#include "Platform/Services/HTTPTransport.h"
#include "Platform/Utf8.h"

namespace KVBase
{

namespace
{

/// The characters that a URL may hold besides letters and digits; the delimiters are among them.
constexpr QByteArrayView kLegalMarks("-_.!~*'();/?:@&=+$,");

bool isLegal(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           kLegalMarks.contains(byte);
}

QByteArray percentEscaped(const QByteArray &bytes)
{
    constexpr char digits[] = "0123456789ABCDEF";
    QByteArray escaped("");
    escaped.reserve(bytes.size());
    for (const char byte : bytes) {
        if (isLegal(byte)) {
            escaped.append(byte);
        } else {
            const auto value = static_cast<unsigned char>(byte);
            escaped.append('%').append(digits[value >> 4]).append(digits[value & 15]);
        }
    }
    return escaped;
}

} // namespace

struct KVHTTPPost::Private {
    std::optional<QVariantMap> parameters;
    QUrl url;
    NSError error;
};

KVHTTPPost::KVHTTPPost() : d(std::make_unique<Private>()) {}

KVHTTPPost::~KVHTTPPost() = default;

std::optional<QVariantMap> KVHTTPPost::parameterDict() const { return d->parameters; }

void KVHTTPPost::setParameterDict(const std::optional<QVariantMap> &parameters)
{
    d->parameters = parameters;
}

QUrl KVHTTPPost::getURL() const { return d->url; }

void KVHTTPPost::setURL(const QUrl &url) { d->url = url; }

NSError KVHTTPPost::error() const { return d->error; }

void KVHTTPPost::setError(const NSError &error) { d->error = error; }

std::optional<QByteArray> KVHTTPPost::submitForm()
{
    NSError failure;
    std::optional<QByteArray> body =
        postFormData(formDataForDictionary(d->parameters.value_or(QVariantMap())), d->url, &failure);
    setError(failure);
    return body;
}

QByteArray KVHTTPPost::formDataForDictionary(const QVariantMap &dictionary)
{
    QString body;
    for (auto field = dictionary.cbegin(); field != dictionary.cend(); ++field) {
        QString value = stringWithFormat("%@", field.value());
        value.replace(QLatin1Char('&'), QLatin1Char('+'));
        if (!body.isEmpty())
            body.append(QLatin1Char('&'));
        body.append(field.key() + QLatin1Char('=') + value);
    }
    return percentEscaped(utf8(body));
}

std::optional<QByteArray> KVHTTPPost::postFormData(const std::optional<QByteArray> &data, const QUrl &url,
                                                   NSError *error)
{
    if (error != nullptr)
        *error = NSError();
    if (isNil(data) || isNil(url))
        return std::nullopt;

    HTTPRequest request;
    request.url = url;
    request.method = "POST";
    request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}};
    request.body = *data;
    request.idleTimeout = std::chrono::seconds(60);

    NSError failure;
    std::optional<QByteArray> body = Service<HTTPTransport>::current()->send(request, &failure);
    if (!isNil(failure)) {
        KVLog("%@", failure.localizedDescription());
        if (error != nullptr)
            *error = failure;
    }
    return body;
}

} // namespace KVBase
