#include "kvbase/FormReceiver.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QJsonArray>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kvbase
{

namespace
{

constexpr qsizetype kLargestHead = 64 * 1024;
constexpr qsizetype kLargestBody = 64 * 1024 * 1024;
constexpr int kClientMilliseconds = 30'000;

volatile std::sig_atomic_t wasToldToEnd = 0;

void endServing(int) { wasToldToEnd = 1; }

/// Without SA_RESTART, so that a wait ends with the signal.
void catchEndSignals()
{
    struct sigaction action = {};
    action.sa_handler = endServing;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

struct Answer {
    int status = 200;
    const char *reason = "OK";
    QString text;
};

/// One client's connection, closed with the object.
class Client {
public:
    explicit Client(int connection) : fd(connection), deadline(kClientMilliseconds) {}
    ~Client() { close(fd); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    /// Appends what the client sends next; false at the end, or when the client stalls.
    bool readMore(QByteArray *data)
    {
        std::array<char, 65536> buffer;
        pollfd entry{fd, POLLIN, 0};
        if (poll(&entry, 1, static_cast<int>(deadline.remainingTime())) <= 0)
            return false;
        const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return false;
        data->append(buffer.data(), count);
        return true;
    }

    void send(const Answer &answer)
    {
        const QByteArray body = answer.text.toUtf8() + '\n';
        QByteArray data = "HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + answer.reason +
                          "\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Length: " +
                          QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
        while (!data.isEmpty()) {
            const ssize_t count =
                ::send(fd, data.constData(), static_cast<std::size_t>(data.size()), MSG_NOSIGNAL);
            if (count <= 0)
                return;
            data.remove(0, count);
        }
        // What the client has not been asked for is taken in before the connection closes, or the answer
        // would be lost with it.
        shutdown(fd, SHUT_WR);
        QByteArray ignored;
        while (ignored.size() < kLargestHead && readMore(&ignored)) {
        }
    }

private:
    int fd;
    QDeadlineTimer deadline;
};

struct Request {
    QByteArray method;
    qsizetype length = -1;
    QByteArray body;
};

qsizetype contentLength(const QList<QByteArray> &headers)
{
    for (const QByteArray &header : headers) {
        const qsizetype colon = header.indexOf(':');
        if (header.left(colon).trimmed().toLower() != "content-length")
            continue;
        bool isNumber = false;
        const qlonglong length = header.mid(colon + 1).trimmed().toLongLong(&isNumber);
        return isNumber && length >= 0 ? length : -1;
    }
    return -1;
}

/// nullopt when no head arrives, or none that is one.
std::optional<Request> readHead(Client *client)
{
    QByteArray data;
    qsizetype end = -1;
    while ((end = data.indexOf("\r\n\r\n")) < 0) {
        if (data.size() > kLargestHead || !client->readMore(&data))
            return std::nullopt;
    }
    QList<QByteArray> lines = data.left(end).split('\n');
    const QList<QByteArray> first = lines.takeFirst().trimmed().split(' ');
    if (first.size() != 3 || !first[2].startsWith("HTTP/"))
        return std::nullopt;
    return Request{first[0], contentLength(lines), data.mid(end + 4)};
}

Answer answerTo(Client *client, const FormReceiver::Handler &handler)
{
    std::optional<Request> request = readHead(client);
    if (!request)
        return {400, "Bad Request", QStringLiteral("This is no request.")};
    if (request->method != "POST")
        return {405, "Method Not Allowed", QStringLiteral("Forms are posted here.")};
    if (request->length < 0)
        return {411, "Length Required", QStringLiteral("The length of the form is missing.")};
    if (request->length > kLargestBody)
        return {413, "Content Too Large", QStringLiteral("The form is too large.")};
    while (request->body.size() < request->length) {
        if (!client->readMore(&request->body))
            return {408, "Request Timeout", QStringLiteral("The form did not arrive whole.")};
    }
    return {200, "OK", handler(formFields(request->body.left(request->length)))};
}

QString decoded(QByteArray text)
{
    return QString::fromUtf8(QByteArray::fromPercentEncoding(text.replace('+', ' ')));
}

} // namespace

QJsonObject formFields(const QByteArray &body)
{
    QJsonObject fields;
    const QList<QByteArray> pairs = body.split('&');
    for (const QByteArray &pair : pairs) {
        if (pair.isEmpty())
            continue;
        const qsizetype equals = pair.indexOf('=');
        const QString name = decoded(pair.left(equals < 0 ? pair.size() : equals));
        const QString value = equals < 0 ? QString() : decoded(pair.mid(equals + 1));
        if (!fields.contains(name)) {
            fields.insert(name, value);
            continue;
        }
        QJsonArray values =
            fields.value(name).isArray() ? fields.value(name).toArray() : QJsonArray{fields.value(name)};
        values.append(value);
        fields.insert(name, values);
    }
    return fields;
}

FormReceiver::~FormReceiver()
{
    if (socket >= 0)
        close(socket);
}

bool FormReceiver::listen(std::uint16_t wanted)
{
    catchEndSignals();
    socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(wanted);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    socklen_t length = sizeof address;
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    constexpr int kWaitingClients = 16;
    if (socket < 0 || bind(socket, generic, length) != 0 || ::listen(socket, kWaitingClients) != 0)
        return false;
    getsockname(socket, generic, &length);
    boundPort = ntohs(address.sin_port);
    return true;
}

bool FormReceiver::serve(const Handler &handler)
{
    while (wasToldToEnd == 0) {
        // The wait ends now and then by itself, so that a signal that came just before it is not missed.
        constexpr int kPatience = 200;
        pollfd entry{socket, POLLIN, 0};
        if (poll(&entry, 1, kPatience) <= 0)
            continue;
        const int connection = accept4(socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            continue;
        Client client(connection);
        client.send(answerTo(&client, handler));
        return true;
    }
    return false;
}

} // namespace kvbase
