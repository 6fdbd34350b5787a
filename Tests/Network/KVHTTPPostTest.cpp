#include "Platform/Services/HTTPTransport.h"
#include "Support/CapturedLog.h"
#include "Support/LoopbackServer.h"

#include <KVBase/KVHTTPPost.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>

namespace KVBase
{
namespace
{

using Tests::LoopbackReply;
using Tests::LoopbackRequest;
using Tests::LoopbackServer;

/// Answers what it was told to and keeps what it was asked.
class RecordingTransport : public HTTPTransport {
public:
    std::optional<QByteArray> send(const HTTPRequest &request, NSError *error) override
    {
        requests.append(request);
        *error = failure;
        return answer;
    }

    QList<HTTPRequest> requests;
    NSError failure;
    std::optional<QByteArray> answer;
};

/// The real transport with less patience.
class ImpatientTransport : public HTTPTransport {
public:
    std::optional<QByteArray> send(const HTTPRequest &request, NSError *error) override
    {
        HTTPRequest hasty = request;
        hasty.idleTimeout = std::chrono::milliseconds(400);
        return real->send(hasty, error);
    }

    HTTPTransport *real = HTTPTransport::makeDefault();
    ~ImpatientTransport() override { delete real; }
};

NSError timeOut()
{
    return {
        QString(NSURLErrorDomain), -1001, {{QString(NSLocalizedDescriptionKey), QStringLiteral("too late")}}};
}

struct FormRow {
    const char *what;
    QVariantMap fields;
    QByteArray expected;
};

TEST(KVHTTPPostTest, EncodesTheFieldsOfAForm)
{
    const FormRow rows[] = {
        {"no fields", {}, ""},
        {"an ampersand becomes a plus sign", {{"a", "x&y"}}, "a=x+y"},
        {"a blank is escaped", {{"n", "a b"}}, "n=a%20b"},
        {"a number is its description", {{"a", 5}}, "a=5"},
        {"two fields", {{"k1", "v1"}, {"k2", "v2"}}, "k1=v1&k2=v2"},
        {"delimiters stay", {{"a", "b=c+d"}}, "a=b=c+d"},
        {"keys are not altered", {{"a&b", "c"}}, "a&b=c"},
        {"an empty value", {{"a", QString("")}}, "a="},
        {"an at sign in a key", {{"@count", "1"}}, "@count=1"},
        {"UTF-8", {{"a", QStringLiteral("ä€😀")}}, "a=%C3%A4%E2%82%AC%F0%9F%98%80"},
        {"what is no part of a URL", {{"a", "%#[]\"<>\\^`{|}"}}, "a=%25%23%5B%5D%22%3C%3E%5C%5E%60%7B%7C%7D"},
        {"what is one", {{"a", "-_.!~*'();/?:@=+$,"}}, "a=-_.!~*'();/?:@=+$,"},
        {"line breaks and controls", {{"a", "1\r\n2\t\x7f"}}, "a=1%0D%0A2%09%7F"},
        {"a lone surrogate", {{"a", QString(QChar(0xd800)) + QLatin1Char('x')}}, "a=%EF%BF%BDx"},
        {"a NUL", {{"a", QString(QChar(0))}}, "a=%00"},
        {"a percent sign with digits", {{"a", "%41"}}, "a=%2541"},
        {"nothing", {{"a", QVariant()}}, "a=(null)"},
        {"a format is none", {{"%@%s%n", "%d"}}, "%25@%25s%25n=%25d"},
    };
    for (const FormRow &row : rows)
        EXPECT_EQ(KVHTTPPost::formDataForDictionary(row.fields), row.expected) << row.what;
}

TEST(KVHTTPPostTest, AnEmptyFormIsEmptyData)
{
    EXPECT_EQ(KVHTTPPost::formDataForDictionary({}).size(), 0);
    RecordingTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    transport.answer = QByteArray("ok");
    KVHTTPPost post;
    post.setURL(QUrl(QStringLiteral("http://127.0.0.1/")));
    EXPECT_EQ(post.submitForm(), QByteArray("ok"));
    post.setParameterDict(QVariantMap());
    EXPECT_EQ(post.submitForm(), QByteArray("ok"));
    EXPECT_EQ(transport.requests.size(), 2);
    EXPECT_EQ(transport.requests.at(0).body, QByteArray());
}

TEST(KVHTTPPostTest, AsksForAPostWithSixtySecondsOfPatience)
{
    RecordingTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    KVHTTPPost::postFormData(QByteArray("a=1"), QUrl(QStringLiteral("http://127.0.0.1/form")));
    ASSERT_EQ(transport.requests.size(), 1);
    const HTTPRequest &request = transport.requests.first();
    EXPECT_EQ(request.url, QUrl(QStringLiteral("http://127.0.0.1/form")));
    EXPECT_EQ(request.method, QByteArray("POST"));
    EXPECT_EQ(request.body, QByteArray("a=1"));
    ASSERT_EQ(request.headers.size(), 1);
    EXPECT_EQ(request.headers.first().first, QByteArray("Content-Type"));
    EXPECT_EQ(request.headers.first().second, QByteArray("application/x-www-form-urlencoded"));
    EXPECT_EQ(request.idleTimeout, std::chrono::seconds(60));
}

TEST(KVHTTPPostTest, WithoutDataOrAddressNothingIsSent)
{
    RecordingTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    transport.answer = QByteArray("never");
    NSError error = timeOut();
    EXPECT_FALSE(KVHTTPPost::postFormData(std::nullopt, QUrl(QStringLiteral("http://127.0.0.1/")), &error)
                     .has_value());
    EXPECT_TRUE(error.isNil());
    error = timeOut();
    EXPECT_FALSE(KVHTTPPost::postFormData(QByteArray(), QUrl(), &error).has_value());
    EXPECT_TRUE(error.isNil());
    EXPECT_FALSE(KVHTTPPost::postFormData(QByteArray(), QUrl()).has_value());
    EXPECT_TRUE(transport.requests.isEmpty());
}

TEST(KVHTTPPostTest, AnErrorIsHandedOnUnchangedBesideTheBody)
{
    RecordingTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    transport.failure = timeOut();
    transport.answer = QByteArray("the first half");
    NSError error;
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), QUrl(QStringLiteral("http://127.0.0.1/")), &error),
              QByteArray("the first half"));
    EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(error.code(), -1001);
    EXPECT_EQ(error.localizedDescription(), QStringLiteral("too late"));
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), QUrl(QStringLiteral("http://127.0.0.1/"))),
              QByteArray("the first half"));
    transport.answer = std::nullopt;
    EXPECT_FALSE(KVHTTPPost::postFormData(QByteArray("a"), QUrl(QStringLiteral("http://127.0.0.1/")), &error)
                     .has_value());
}

TEST(KVHTTPPostTest, AnErrorIsLogged)
{
    RecordingTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    transport.failure = NSError(QString(NSURLErrorDomain), -1,
                                {{QString(NSLocalizedDescriptionKey), QStringLiteral("lost 100% %@ %s")}});
    const Tests::CapturedLog log;
    KVHTTPPost::postFormData(QByteArray("a"), QUrl(QStringLiteral("http://127.0.0.1/")));
    transport.failure = NSError();
    KVHTTPPost::postFormData(QByteArray("a"), QUrl(QStringLiteral("http://127.0.0.1/")));
    EXPECT_EQ(log.lines(), QStringList(QStringLiteral("lost 100% %@ %s")));
}

TEST(KVHTTPPostTest, TheAccessorsKeepWhatTheyAreGiven)
{
    KVHTTPPost post;
    EXPECT_FALSE(post.parameterDict().has_value());
    EXPECT_TRUE(post.getURL().isEmpty());
    EXPECT_TRUE(post.error().isNil());
    post.setParameterDict(QVariantMap{{"a", 1}});
    post.setURL(QUrl(QStringLiteral("http://127.0.0.1/")));
    post.setError(timeOut());
    EXPECT_EQ(post.parameterDict(), (QVariantMap{{"a", 1}}));
    EXPECT_EQ(post.getURL(), QUrl(QStringLiteral("http://127.0.0.1/")));
    EXPECT_EQ(post.error().code(), -1001);
    post.setParameterDict(std::nullopt);
    post.setURL(QUrl());
    post.setError(NSError());
    EXPECT_FALSE(post.parameterDict().has_value());
    EXPECT_TRUE(post.getURL().isEmpty());
    EXPECT_TRUE(post.error().isNil());
}

TEST(KVHTTPPostTest, EachSubmissionStoresItsOwnError)
{
    RecordingTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    KVHTTPPost post;
    post.setParameterDict(QVariantMap{{"a", "x&y"}});
    post.setURL(QUrl(QStringLiteral("http://127.0.0.1/")));
    transport.failure = timeOut();
    EXPECT_FALSE(post.submitForm().has_value());
    EXPECT_EQ(post.error().code(), -1001);
    transport.failure = NSError();
    transport.answer = QByteArray("fine");
    EXPECT_EQ(post.submitForm(), QByteArray("fine"));
    EXPECT_TRUE(post.error().isNil());
    EXPECT_EQ(transport.requests.last().body, QByteArray("a=x+y"));
    post.setError(timeOut());
    post.setURL(QUrl());
    EXPECT_FALSE(post.submitForm().has_value());
    EXPECT_TRUE(post.error().isNil());
}

TEST(KVHTTPPostLoopbackTest, PostsTheFormAndAnswersTheBody)
{
    const LoopbackServer server([](const LoopbackRequest &request) {
        return LoopbackReply{200, "got " + request.body, {}, 0, {}, false, 0, false};
    });
    NSError error = timeOut();
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a=1&b=%C3%A4"),
                                       server.url(QStringLiteral("/form?x=1#part")), &error),
              QByteArray("got a=1&b=%C3%A4"));
    EXPECT_TRUE(error.isNil());
    ASSERT_EQ(server.requests().size(), 1);
    const LoopbackRequest request = server.requests().first();
    EXPECT_EQ(request.method, QByteArray("POST"));
    EXPECT_EQ(request.path, QByteArray("/form?x=1"));
    EXPECT_EQ(request.headers.value("content-type"), QByteArray("application/x-www-form-urlencoded"));
    EXPECT_EQ(request.headers.value("content-length"), QByteArray("12"));
    EXPECT_FALSE(request.headers.contains("expect"));
}

TEST(KVHTTPPostLoopbackTest, AnEmptyFormIsStillPostedAndAnEmptyAnswerIsEmptyData)
{
    const LoopbackServer server([](const LoopbackRequest &) { return LoopbackReply(); });
    NSError error;
    const auto body = KVHTTPPost::postFormData(QByteArray(), server.url(QStringLiteral("/")), &error);
    ASSERT_TRUE(body.has_value());
    EXPECT_TRUE(body->isEmpty());
    EXPECT_TRUE(error.isNil());
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().first().method, QByteArray("POST"));
    EXPECT_EQ(server.requests().first().headers.value("content-length"), QByteArray("0"));
}

TEST(KVHTTPPostLoopbackTest, ALargeFormArrivesWhole)
{
    const LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        reply.body = QByteArray::number(request.body.size());
        return reply;
    });
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray(3000000, 'x'), server.url(QStringLiteral("/"))),
              QByteArray("3000000"));
}

TEST(KVHTTPPostLoopbackTest, AServersErrorPageIsAnAnswer)
{
    for (const int status : {500, 404, 401, 407}) {
        const LoopbackServer server([status](const LoopbackRequest &) {
            return LoopbackReply{status, "page", {}, 0, {}, false, 0, false};
        });
        NSError error = timeOut();
        EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")), &error),
                  QByteArray("page"))
            << status;
        EXPECT_TRUE(error.isNil()) << status;
    }
}

TEST(KVHTTPPostLoopbackTest, RedirectionsAreFollowed)
{
    const LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        if (request.path.startsWith("/to/")) {
            reply.status = request.path.mid(4).toInt();
            reply.extraHeaders = "Location: /end\r\n";
        } else {
            reply.body = request.method + ' ' + request.body;
        }
        return reply;
    });
    for (const char *path : {"/to/301", "/to/302", "/to/303"})
        EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a=1"), server.url(QLatin1String(path))),
                  QByteArray("GET "))
            << path;
    for (const char *path : {"/to/307", "/to/308"})
        EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a=1"), server.url(QLatin1String(path))),
                  QByteArray("POST a=1"))
            << path;
}

TEST(KVHTTPPostLoopbackTest, ACircleOfRedirectionsIsAnError)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.status = 307;
        reply.extraHeaders = "Location: /again\r\n";
        return reply;
    });
    NSError error;
    KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/again")), &error);
    EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(error.code(), -1007);
    EXPECT_EQ(server.requests().size(), 21);
}

TEST(KVHTTPPostLoopbackTest, ARedirectionToAFileIsRefused)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.status = 302;
        reply.extraHeaders = "Location: file:///etc/passwd\r\n";
        return reply;
    });
    NSError error;
    const auto body = KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")), &error);
    EXPECT_EQ(error.code(), -1002);
    EXPECT_TRUE(body.value_or(QByteArray()).isEmpty());
}

TEST(KVHTTPPostLoopbackTest, AnEarlyCloseKeepsWhatCame)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        return LoopbackReply{200, "the first half", {}, 100, {}, false, 0, false};
    });
    NSError error;
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")), &error),
              QByteArray("the first half"));
    EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(error.code(), -1005);
    EXPECT_FALSE(error.localizedDescription().isEmpty());
}

TEST(KVHTTPPostLoopbackTest, AConnectionClosedWithoutAnAnswerIsAnError)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.closesAtOnce = true;
        return reply;
    });
    NSError error;
    EXPECT_FALSE(
        KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")), &error).has_value());
    EXPECT_EQ(error.code(), -1005);
}

TEST(KVHTTPPostLoopbackTest, WhatIsNoHTTPIsAnError)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        LoopbackReply reply;
        reply.rawInstead = QByteArray("\x01\x02garbage without sense\r\n\r\n") + QByteArray(1000, '\0');
        return reply;
    });
    NSError error;
    KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")), &error);
    EXPECT_FALSE(error.isNil());
}

TEST(KVHTTPPostLoopbackTest, AServerThatStallsTimesOut)
{
    ImpatientTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    const LoopbackServer server([](const LoopbackRequest &request) {
        LoopbackReply reply;
        reply.rawInstead = request.path == "/silent"
                               ? QByteArray()
                               : QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\nhalf");
        reply.stalls = true;
        reply.missingBytes = 5;
        return reply;
    });
    NSError error;
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/half")), &error),
              QByteArray("half"));
    EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(error.code(), -1001);
    error = NSError();
    KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/silent")), &error);
    EXPECT_EQ(error.code(), -1001);
}

TEST(KVHTTPPostLoopbackTest, ASlowAnswerDoesNotTimeOutWhileBytesMove)
{
    ImpatientTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    const LoopbackServer server([](const LoopbackRequest &) {
        return LoopbackReply{200, "0123456789", {}, 0, {}, false, 60, false};
    });
    NSError error;
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")), &error),
              QByteArray("0123456789"));
    EXPECT_TRUE(error.isNil());
}

TEST(KVHTTPPostLoopbackTest, ABigAnswerArrivesWhole)
{
    const LoopbackServer server([](const LoopbackRequest &) {
        return LoopbackReply{200, QByteArray(20000000, 'z'), {}, 0, {}, false, 0, false};
    });
    const auto body = KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")));
    ASSERT_TRUE(body.has_value());
    EXPECT_EQ(body->size(), 20000000);
    EXPECT_EQ(body->at(19999999), 'z');
}

TEST(KVHTTPPostLoopbackTest, NobodyListeningIsAnError)
{
    qputenv("no_proxy", "127.0.0.1");
    NSError error;
    const QUrl url(QStringLiteral("http://127.0.0.1:%1/").arg(Tests::closedLoopbackPort()));
    EXPECT_FALSE(KVHTTPPost::postFormData(QByteArray("a"), url, &error).has_value());
    EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_EQ(error.code(), -1004);
}

TEST(KVHTTPPostLoopbackTest, AHostThatDoesNotResolveIsAnError)
{
    qputenv("no_proxy", "*");
    NSError error;
    // The name is no valid one, so that nobody is asked about it.
    EXPECT_FALSE(KVHTTPPost::postFormData(
                     QByteArray("a"),
                     QUrl(QStringLiteral("http://%1.invalid/").arg(QString(70, QLatin1Char('x')))), &error)
                     .has_value());
    EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain"));
    EXPECT_TRUE(error.code() == -1003 || error.code() == -1000) << error.code();
}

struct AddressRow {
    const char *url;
    int code;
};

TEST(KVHTTPPostLoopbackTest, AddressesThatAreNotHTTPAreErrors)
{
    const AddressRow rows[] = {
        {"file:///etc/hosts", -1002}, {"data:text/plain,hello", -1002},
        {"ftp://127.0.0.1/x", -1002}, {"gopher://127.0.0.1/", -1002},
        {"http:///x", -1000},         {"no-scheme", -1000},
        {"http://[::1", -1000},
    };
    for (const AddressRow &row : rows) {
        NSError error;
        EXPECT_FALSE(
            KVHTTPPost::postFormData(QByteArray("a"), QUrl(QLatin1String(row.url)), &error).has_value())
            << row.url;
        if (!QUrl(QLatin1String(row.url)).isEmpty()) {
            EXPECT_EQ(error.code(), row.code) << row.url;
            EXPECT_EQ(error.domain(), QStringLiteral("NSURLErrorDomain")) << row.url;
        }
    }
}

TEST(KVHTTPPostLoopbackTest, TheConnectionDoesNotReachOtherPrograms)
{
    bool everyOneCloses = true;
    int connections = 0;
    const LoopbackServer server([&](const LoopbackRequest &) {
        for (int descriptor = 3; descriptor < 256; ++descriptor) {
            int domain = 0;
            socklen_t size = sizeof domain;
            if (getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 || domain != AF_INET)
                continue;
            ++connections;
            everyOneCloses = everyOneCloses && (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
        }
        return LoopbackReply();
    });
    KVHTTPPost::postFormData(QByteArray("a"), server.url(QStringLiteral("/")));
    EXPECT_TRUE(everyOneCloses);
    // The server's two and the client's own.
    EXPECT_GE(connections, 3);
}

} // namespace
} // namespace KVBase
