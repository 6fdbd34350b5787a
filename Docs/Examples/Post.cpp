// A form for a server, after a look whether it can be reached. Without an address the request is only shown.
#include <KVBase/KVBase.h>

#include <cstdio>

using namespace KVBase;

int main(int argc, char **argv)
{
    const QVariantMap fields{{QStringLiteral("email"), QStringLiteral("jane@example.com")},
                             {QStringLiteral("message"), QStringLiteral("It just stopped.")}};
    const QByteArray form = KVHTTPPost::formDataForDictionary(fields);
    if (argc < 2) {
        std::printf("%s\n", form.constData());
        return 0;
    }
    const QUrl url(QString::fromLocal8Bit(argv[1]));
    if (!Reachability::isHostReachable(url))
        return 1;
    NSError error;
    const std::optional<QByteArray> answer = KVHTTPPost::postFormData(form, url, &error);
    std::printf("%s\n", answer ? answer->constData() : qPrintable(error.localizedDescription()));
    return answer ? 0 : 1;
}
