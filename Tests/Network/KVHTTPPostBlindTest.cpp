#include "Platform/Services/HTTPTransport.h"
#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"

#include <KVBase/KVHTTPPost.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

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

/// Through the real transport, with another idle time-out.
Sent sendWith(const QUrl &url, std::chrono::milliseconds idle)
{
    const std::unique_ptr<HTTPTransport> transport(HTTPTransport::makeDefault());
    HTTPRequest request;
    request.url = url;
    request.method = "POST";
    request.body = "a=b";
    request.idleTimeout = idle;
    Sent sent;
    sent.body = transport->send(request, &sent.error);
    return sent;
}

Sent post(const QUrl &url)
{
    Sent sent{{}, staleError()};
    sent.body = KVHTTPPost::postFormData(QByteArray("a=b"), url, &sent.error);
    return sent;
}

} // namespace

TEST(KVHTTPPostBlindTest, FormBodies)
{
    EXPECT_EQ(KVHTTPPost::formDataForDictionary({}), QByteArray(""));
    const struct {
        const char *name;
        QVariant value;
        const char *body;
    } rows[] = {
        {"an ampersand", QStringLiteral("x&y"), "a=x+y"},
        {"ampersands", QStringLiteral("&&=&amp;"), "a=++=+amp;"},
        {"a blank", QStringLiteral("a b"), "a=a%20b"},
        {"a number", 5, "a=5"},
        {"a negative number", -5, "a=-5"},
        {"a wide number", qlonglong(9007199254740993), "a=9007199254740993"},
        {"a fraction", 1.5, "a=1.5"},
        {"an empty text", QStringLiteral(""), "a="},
        {"nil", QVariant(), "a=(null)"},
        {"letters of other scripts", QStringLiteral("äß€"), "a=%C3%A4%C3%9F%E2%82%AC"},
        {"an emoji", QStringLiteral("😀"), "a=%F0%9F%98%80"},
        {"a lone surrogate", QString(QChar(0xd800)) + QStringLiteral("x"), "a=%EF%BF%BDx"},
        {"control characters", QStringLiteral("\r\n\t\u007f"), "a=%0D%0A%09%7F"},
        {"NUL", QString(QChar(0)) + QStringLiteral("x"), "a=%00x"},
        {"signs that a URL may hold", QStringLiteral("-_.!~*'();/?:@=+$,"), "a=-_.!~*'();/?:@=+$,"},
        {"signs that a URL may not hold", QStringLiteral("%#[]<>\"\\^`{|}"),
         "a=%25%23%5B%5D%3C%3E%22%5C%5E%60%7B%7C%7D"},
        {"what looks escaped", QStringLiteral("%20"), "a=%2520"},
        {"what looks like a format", QStringLiteral("%@ %d"), "a=%25@%20%25d"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(form(row.value), QByteArray(row.body)) << row.name;
}

TEST(KVHTTPPostBlindTest, EveryASCIICharacter)
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

TEST(KVHTTPPostBlindTest, FieldsAreJoinedInTheDictionarysOrder)
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

TEST(KVHTTPPostBlindTest, ARequestIsBuiltAsStated)
{
    StubTransport transport;
    const ScopedService<HTTPTransport> guard(&transport);
    const QUrl url(QStringLiteral("http://example.invalid:81/p?q=1"));
    NSError error = staleError();
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a=b"), url, &error), QByteArray("answer"));
    EXPECT_TRUE(error.isNil());
    ASSERT_EQ(transport.requests.size(), 1u);
    const HTTPRequest &request = transport.requests.front();
    EXPECT_EQ(request.url, url);
    EXPECT_EQ(request.method, QByteArray("POST"));
    EXPECT_EQ(request.body, QByteArray("a=b"));
    EXPECT_EQ(request.idleTimeout, std::chrono::seconds(60));
    const QList<std::pair<QByteArray, QByteArray>> headers{
        {"Content-Type", "application/x-www-form-urlencoded"}};
    EXPECT_EQ(request.headers, headers);
}

TEST(KVHTTPPostBlindTest, NothingIsSentWithoutDataOrAddress)
{
    StubTransport transport;
    const ScopedService<HTTPTransport> guard(&transport);
    const CapturedLog log;
    const QUrl url(QStringLiteral("http://example.invalid/"));
    NSError error = staleError();
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a=b"), QUrl(), &error), std::nullopt);
    EXPECT_TRUE(error.isNil());
    error = staleError();
    EXPECT_EQ(KVHTTPPost::postFormData(std::nullopt, url, &error), std::nullopt);
    EXPECT_TRUE(error.isNil());
    EXPECT_EQ(KVHTTPPost::postFormData(std::nullopt, QUrl(), nullptr), std::nullopt);
    EXPECT_TRUE(transport.requests.empty());
    EXPECT_EQ(log.lines(), QStringList());
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray(), url), QByteArray("answer"));
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray(""), url), QByteArray("answer"));
    EXPECT_EQ(transport.requests.size(), 2u);
}

TEST(KVHTTPPostBlindTest, AnErrorIsLoggedStoredAndDoesNotHideTheBody)
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

TEST(KVHTTPPostBlindTest, AccessorsHoldWhatTheyAreGiven)
{
    KVHTTPPost post;
    EXPECT_EQ(post.parameterDict(), std::nullopt);
    EXPECT_TRUE(isNil(post.getURL()));
    EXPECT_TRUE(post.error().isNil());
    const QVariantMap fields{{a, 1}};
    post.setParameterDict(fields);
    post.setParameterDict(fields);
    EXPECT_EQ(post.parameterDict(), fields);
    post.setParameterDict(QVariantMap());
    EXPECT_EQ(post.parameterDict(), QVariantMap());
    post.setParameterDict(std::nullopt);
    EXPECT_EQ(post.parameterDict(), std::nullopt);
    post.setURL(QUrl(QStringLiteral("http://h/")));
    EXPECT_EQ(post.getURL(), QUrl(QStringLiteral("http://h/")));
    post.setURL(QUrl());
    EXPECT_TRUE(isNil(post.getURL()));
    post.setError(staleError());
    EXPECT_EQ(post.error().domain(), QStringLiteral("stale"));
    post.setError(NSError());
    EXPECT_TRUE(post.error().isNil());
}

TEST(KVHTTPPostBlindTest, SubmittingStoresTheErrorOfEachSubmission)
{
    StubTransport transport;
    const ScopedService<HTTPTransport> guard(&transport);
    KVHTTPPost post;
    post.setError(staleError());
    post.setParameterDict(QVariantMap{{a, QStringLiteral("x&y")}});
    EXPECT_EQ(post.submitForm(), std::nullopt);
    EXPECT_TRUE(post.error().isNil());
    EXPECT_TRUE(transport.requests.empty());

    post.setURL(QUrl(QStringLiteral("http://h/")));
    transport.failure = failureText(QStringLiteral("lost"));
    transport.answer = QByteArray("part");
    EXPECT_EQ(post.submitForm(), QByteArray("part"));
    EXPECT_EQ(post.error().localizedDescription(), QStringLiteral("lost"));
    transport.failure = NSError();
    EXPECT_EQ(post.submitForm(), QByteArray("part"));
    EXPECT_TRUE(post.error().isNil());
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(transport.requests.back().body, QByteArray("a=x+y"));
    EXPECT_EQ(post.parameterDict(), (QVariantMap{{a, QStringLiteral("x&y")}}));
}

TEST(KVHTTPPostBlindTest, NoFieldsArePostedAsZeroBytes)
{
    StubTransport transport;
    const ScopedService<HTTPTransport> guard(&transport);
    KVHTTPPost post;
    post.setURL(QUrl(QStringLiteral("http://h/")));
    post.setParameterDict(QVariantMap());
    EXPECT_EQ(post.submitForm(), QByteArray("answer"));
    post.setParameterDict(std::nullopt);
    EXPECT_EQ(post.submitForm(), QByteArray("answer"));
    ASSERT_EQ(transport.requests.size(), 2u);
    EXPECT_EQ(transport.requests[0].body, QByteArray(""));
    EXPECT_EQ(transport.requests[1].body, QByteArray(""));
}

TEST(KVHTTPPostBlindTest, ARealPostOverTheLoopback)
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

TEST(KVHTTPPostBlindTest, EveryStatusOfTheServerIsASuccess)
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

TEST(KVHTTPPostBlindTest, RedirectionsAreFollowed)
{
    for (const int status : {301, 302, 303, 307, 308}) {
        LoopbackServer server([status](const LoopbackRequest &request) {
            LoopbackReply reply;
            reply.body = "there";
            if (request.path == "/") {
                reply.status = status;
                reply.extraHeaders = "Location: /next\r\n";
            }
            return reply;
        });
        const Sent sent = post(server.url(QStringLiteral("/")));
        EXPECT_EQ(sent.body, QByteArray("there")) << status;
        EXPECT_TRUE(sent.error.isNil()) << status;
        const QList<LoopbackRequest> requests = server.requests();
        ASSERT_EQ(requests.size(), 2) << status;
        EXPECT_EQ(requests[1].path, QByteArray("/next"));
        EXPECT_EQ(requests[1].method, status < 304 ? QByteArray("GET") : QByteArray("POST")) << status;
        EXPECT_EQ(requests[1].body, status < 304 ? QByteArray() : QByteArray("a=b")) << status;
    }
}

TEST(KVHTTPPostBlindTest, TwentyRedirectionsAreTheMost)
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

TEST(KVHTTPPostBlindTest, FailuresOfTheTransport)
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
        if (row.code != 0)
            EXPECT_EQ(sent.error.code(), row.code);
        ASSERT_EQ(log.lines().size(), ++lines);
        EXPECT_EQ(log.lines().last(), sent.error.localizedDescription());
    }
}

TEST(KVHTTPPostBlindTest, BrokenAnswersKeepWhatArrived)
{
    LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        reply.body = "part";
        reply.missingBytes = request.path == "/short" ? 10 : 0;
        reply.closesAtOnce = request.path == "/close";
        return reply;
    });
    const Sent part = post(server.url(QStringLiteral("/short")));
    EXPECT_EQ(part.body, QByteArray("part"));
    EXPECT_EQ(part.error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(part.error.code(), -1005);
    const Sent closed = post(server.url(QStringLiteral("/close")));
    EXPECT_EQ(closed.body, std::nullopt);
    EXPECT_EQ(closed.error.code(), -1005);
}

TEST(KVHTTPPostBlindTest, AServerThatStallsTimesOut)
{
    LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.stalls = true;
        reply.rawInstead = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc";
        return reply;
    });
    const Sent sent = sendWith(server.url(QStringLiteral("/")), std::chrono::milliseconds(1000));
    EXPECT_EQ(sent.body, QByteArray("abc"));
    EXPECT_EQ(sent.error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(sent.error.code(), -1001);
}

TEST(KVHTTPPostBlindTest, ASlowServerIsWaitedForWhileBytesMove)
{
    LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.body = "0123456789";
        reply.pauseMilliseconds = 250;
        return reply;
    });
    const Sent sent = sendWith(server.url(QStringLiteral("/")), std::chrono::milliseconds(1500));
    EXPECT_EQ(sent.body, QByteArray("0123456789"));
    EXPECT_TRUE(sent.error.isNil());
}
