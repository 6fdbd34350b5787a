#include "Support/ToolRunner.h"
#include "SupportFixtures.h"

#include <QtCore/QJsonArray>
#include <QtCore/QUrl>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace KVBase::Tests
{
namespace
{

/// Sends bytes as they are to the collector and answers what comes back.
QByteArray exchange(const Collector &collector, const QByteArray &request)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(QUrl(collector.url).port()));
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(send(fd, request.constData(), static_cast<std::size_t>(request.size()), MSG_NOSIGNAL),
              request.size());
    shutdown(fd, SHUT_WR);
    QByteArray answer;
    char buffer[4096];
    for (ssize_t count = 0; (count = recv(fd, buffer, sizeof buffer, 0)) > 0;)
        answer.append(buffer, count);
    close(fd);
    return answer;
}

QByteArray post(const QByteArray &body)
{
    return "POST / HTTP/1.1\r\nHost: x\r\nCONTENT-LENGTH: " + QByteArray::number(body.size()) + "\r\n\r\n" +
           body;
}

TEST(CollectCommandTest, StoresAFormForItsOwnerAlone)
{
    const Collector collector;
    const QByteArray answer = exchange(collector, post("name=J%C3%BCrgen+M&n=1%2B1&empty=&flag&n=2"));
    EXPECT_TRUE(answer.startsWith("HTTP/1.1 200 OK\r\n")) << answer.constData();
    EXPECT_TRUE(answer.endsWith("\r\n\r\nThank you. Your report is stored as form-0001.json.\n"));
    EXPECT_EQ(collector.fields(), (QJsonObject{{"name", QStringLiteral("Jürgen M")},
                                               {"n", QJsonArray{QStringLiteral("1+1"), QStringLiteral("2")}},
                                               {"empty", QStringLiteral("")},
                                               {"flag", QStringLiteral("")}}));
    const QFileInfo stored(collector.form(QStringLiteral("form-0001.json")));
    EXPECT_EQ(stored.permissions() & QFileDevice::Permissions(0x0077), 0);
}

TEST(CollectCommandTest, NumbersForms)
{
    const Collector collector;
    exchange(collector, post("a=1"));
    EXPECT_TRUE(exchange(collector, post("a=2")).contains("form-0002.json"));
    EXPECT_TRUE(QFileInfo::exists(collector.form(QStringLiteral("form-0002.json"))));
}

TEST(CollectCommandTest, TurnsAwayWhatIsNoForm)
{
    const Collector collector;
    EXPECT_TRUE(exchange(collector, "GET / HTTP/1.1\r\n\r\n").startsWith("HTTP/1.1 405 "));
    EXPECT_TRUE(exchange(collector, "POST / HTTP/1.1\r\n\r\n").startsWith("HTTP/1.1 411 "));
    EXPECT_TRUE(
        exchange(collector, "POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n").startsWith("HTTP/1.1 411 "));
    EXPECT_TRUE(exchange(collector, "POST / HTTP/1.1\r\nContent-Length: 99999999999\r\n\r\n")
                    .startsWith("HTTP/1.1 413 "));
    EXPECT_TRUE(
        exchange(collector, "POST / HTTP/1.1\r\nContent-Length: 9\r\n\r\nab").startsWith("HTTP/1.1 408 "));
    EXPECT_TRUE(exchange(collector, "nonsense\r\n\r\n").startsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(exchange(collector, "").startsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(exchange(collector, QByteArray(100000, 'x')).startsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(collector.fields().isEmpty());
    EXPECT_TRUE(exchange(collector, post("a=1")).startsWith("HTTP/1.1 200 ")) << "it goes on";
}

TEST(CollectCommandTest, EndsAfterTheFormsAskedForAndOnRequest)
{
    Collector collector;
    collector.process.terminate();
    ASSERT_TRUE(collector.process.waitForFinished(60000));
    EXPECT_EQ(collector.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(collector.process.exitCode(), 0);
}

TEST(CollectCommandTest, FailsOnAPortThatIsTaken)
{
    const Collector collector;
    const ToolResult result =
        runTool({QStringLiteral("collect"), QStringLiteral("--folder"), collector.folder.path(),
                 QStringLiteral("--port"), QString::number(QUrl(collector.url).port())});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.startsWith("kvbase: cannot listen on port "));
}

} // namespace
} // namespace KVBase::Tests
