#include "Platform/Services/HTTPTransport.h"
#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"

#include <KVBase/KVHTTPPost.h>

#include <gtest/gtest.h>

#include <vector>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString a = QStringLiteral("a");

/// Records what it is to send and answers what a test chose.
struct StubTransport : HTTPTransport {
    std::optional<QByteArray> answer = QByteArray("answer");
    NSError failure;
    std::vector<HTTPRequest> requests;

    std::optional<QByteArray> send(const HTTPRequest &request, NSError *error) override
    {
        requests.push_back(request);
        *error = failure;
        return answer;
    }
};

NSError failureText(const QString &text)
{
    return NSError(NSURLErrorDomain, -1001, {{QString(NSLocalizedDescriptionKey), text}});
}

NSError staleError() { return NSError(QStringLiteral("stale"), 1, {}); }

QByteArray form(const QVariant &value) { return KVHTTPPost::formDataForDictionary({{a, value}}); }

struct Sent {
    std::optional<QByteArray> body;
    NSError error;
};

Sent post(const QUrl &url)
{
    Sent sent{{}, staleError()};
    sent.body = KVHTTPPost::postFormData(QByteArray("a=b"), url, &sent.error);
    return sent;
}

TEST(KVHTTPPostContractTest, EveryASCIICharacter)
{
    const QByteArray plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'();/?:@=+$,";
    for (int unit = 0; unit < 128; ++unit) {
        QByteArray expected = "a=%" + QByteArray::number(unit + 0x100, 16).right(2).toUpper();
        if (plain.contains(char(unit)))
            expected = "a=" + QByteArray(1, char(unit));
        if (unit == '&')
            expected = "a=+";
        EXPECT_EQ(form(QString(QChar(unit))), expected) << unit;
    }
}

TEST(KVHTTPPostContractTest, FieldsAreJoinedInTheDictionarysOrder)
{
    const QVariantMap two{{QStringLiteral("k2"), QStringLiteral("v2")},
                          {QStringLiteral("k1"), QStringLiteral("v1")}};
    EXPECT_EQ(KVHTTPPost::formDataForDictionary(two), QByteArray("k1=v1&k2=v2"));
    const QVariantMap keys{{QStringLiteral(""), 1},
                           {QStringLiteral("@count"), 2},
                           {QStringLiteral("x&y=z"), 3},
                           {QStringLiteral("ä b%"), 4}};
    EXPECT_EQ(KVHTTPPost::formDataForDictionary(keys), QByteArray("=1&@count=2&x&y=z=3&%C3%A4%20b%25=4"));
    EXPECT_EQ(KVHTTPPost::formDataForDictionary({{QStringLiteral("a.b"), 1}, {QStringLiteral("a"), 2}}),
              QByteArray("a=2&a.b=1"));
}

TEST(KVHTTPPostContractTest, AnErrorIsLoggedStoredAndDoesNotHideTheBody)
{
    StubTransport transport;
    const ScopedService<HTTPTransport> guard(&transport);
    CapturedLog log;
    const QUrl url(QStringLiteral("http://example.invalid/"));
    transport.failure = failureText(QStringLiteral("100% %@ lost"));
    for (const std::optional<QByteArray> &answer :
         {std::optional<QByteArray>(), std::optional<QByteArray>("part"), std::optional<QByteArray>("")}) {
        transport.answer = answer;
        log.clear();
        NSError error;
        EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), url, &error), answer);
        EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
        EXPECT_EQ(error.code(), -1001);
        EXPECT_EQ(error.userInfo(), transport.failure.userInfo());
        EXPECT_EQ(log.lines(), QStringList{QStringLiteral("100% %@ lost")});
        EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), url, nullptr), answer);
        EXPECT_EQ(log.lines().size(), 2);
    }
    log.clear();
    transport.failure = NSError();
    transport.answer = std::nullopt;
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), url), std::nullopt);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(KVHTTPPostContractTest, ARealPostOverTheLoopback)
{
    LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        reply.body = request.path == "/empty" ? QByteArray() : "got " + request.body;
        return reply;
    });
    KVHTTPPost post;
    post.setURL(server.url(QStringLiteral("/form?x=1")));
    post.setParameterDict(
        QVariantMap{{QStringLiteral("n"), QStringLiteral("a b")}, {QStringLiteral("z"), 5}});
    EXPECT_EQ(post.submitForm(), QByteArray("got n=a%20b&z=5"));
    EXPECT_TRUE(post.error().isNil());
    post.setParameterDict(QVariantMap());
    EXPECT_EQ(post.submitForm(), QByteArray("got "));
    post.setURL(server.url(QStringLiteral("/empty")));
    const auto empty = post.submitForm();
    ASSERT_TRUE(empty.has_value());
    EXPECT_TRUE(empty->isEmpty());
    EXPECT_TRUE(post.error().isNil());
    const QList<LoopbackRequest> requests = server.requests();
    ASSERT_EQ(requests.size(), 3);
    EXPECT_EQ(requests[0].method, QByteArray("POST"));
    EXPECT_EQ(requests[0].path, QByteArray("/form?x=1"));
    EXPECT_EQ(requests[0].headers.value("content-type"), QByteArray("application/x-www-form-urlencoded"));
    EXPECT_EQ(requests[0].headers.value("content-length"), QByteArray("11"));
    EXPECT_FALSE(requests[0].headers.contains("expect"));
    EXPECT_EQ(requests[1].headers.value("content-length"), QByteArray("0"));
    EXPECT_EQ(requests[1].headers.value("content-type"), QByteArray("application/x-www-form-urlencoded"));
}

TEST(KVHTTPPostContractTest, EveryStatusOfTheServerIsASuccess)
{
    for (const int status : {200, 201, 400, 401, 403, 404, 407, 410, 500, 503}) {
        LoopbackServer server([status](const LoopbackRequest &) {
            LoopbackReply reply;
            reply.status = status;
            reply.body = "page";
            return reply;
        });
        const Sent sent = post(server.url(QStringLiteral("/")));
        EXPECT_EQ(sent.body, QByteArray("page")) << status;
        EXPECT_TRUE(sent.error.isNil()) << status;
    }
}

TEST(KVHTTPPostContractTest, TwentyRedirectionsAreTheMost)
{
    for (const int most : {20, 21}) {
        LoopbackServer server([most](const LoopbackRequest &request) {
            const int step = request.path.mid(1).toInt();
            LoopbackReply reply;
            if (step < most) {
                reply.status = 307;
                reply.extraHeaders = "Location: /" + QByteArray::number(step + 1) + "\r\n";
            }
            return reply;
        });
        const CapturedLog log;
        const Sent sent = post(server.url(QStringLiteral("/0")));
        EXPECT_EQ(sent.error.isNil(), most == 20);
        EXPECT_EQ(sent.error.code(), most == 20 ? 0 : -1007);
        EXPECT_EQ(log.lines().size(), most == 20 ? 0 : 1);
        EXPECT_EQ(server.requests().size(), 21);
    }
}

TEST(KVHTTPPostContractTest, FailuresOfTheTransport)
{
    const CapturedLog log;
    const quint16 port = closedLoopbackPort();
    const struct {
        QString url;
        std::int32_t code;
    } rows[] = {
        {QStringLiteral("http://127.0.0.1:%1/").arg(port), -1004},
        {QStringLiteral("file:///etc/hostname"), 0},
        {QStringLiteral("data:text/plain,x"), 0},
        {QStringLiteral("nonsense:/x"), 0},
        {QStringLiteral("relative/path"), 0},
    };
    qsizetype lines = 0;
    for (const auto &row : rows) {
        const Sent sent = post(QUrl(row.url));
        EXPECT_FALSE(sent.error.isNil()) << qPrintable(row.url);
        EXPECT_EQ(sent.error.domain(), QStringLiteral("NSURLErrorDomain")) << qPrintable(row.url);
        EXPECT_EQ(sent.body, std::nullopt) << qPrintable(row.url);
        if (row.code != 0) {
            EXPECT_EQ(sent.error.code(), row.code);
        }
        ASSERT_EQ(log.lines().size(), ++lines);
        EXPECT_EQ(log.lines().last(), sent.error.localizedDescription());
    }
}

} // namespace
} // namespace KVBase
