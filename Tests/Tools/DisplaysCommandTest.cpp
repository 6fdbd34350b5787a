#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QJsonArray>

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace KVBase::Tests
{
namespace
{

using Settings = std::vector<std::pair<const char *, const char *>>;

/// Asks in an environment that names no display server but those of `settings`.
ToolResult askIn(const Settings &settings, const QStringList &options = {})
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QString::fromLatin1(name));
    for (const auto &[name, value] : settings)
        environment.insert(QString::fromLatin1(name), QString::fromLatin1(value));
    return runProgram(programFolder() + QStringLiteral("/kvbase"),
                      QStringList{QStringLiteral("displays")} + options, {}, environment);
}

TEST(DisplaysCommandTest, AnswersNoWithoutADisplayAndKeepsQuiet)
{
    const std::vector<Settings> sessions{{},
                                         {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}},
                                         {{"DISPLAY", "no display"}},
                                         {{"DISPLAY", "127.0.0.1:59000"}},
                                         {{"WAYLAND_DISPLAY", "/nowhere/wayland"}},
                                         {{"DISPLAY", "no display"}, {"QT_QPA_PLATFORM", "offscreen"}},
                                         {{"DISPLAY", "no display"}, {"QT_QPA_PLATFORM", "minimal"}},
                                         {{"DISPLAY", "no display"}, {"QT_QPA_PLATFORM", "unheard of"}}};
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        const ToolResult result = askIn(sessions[i]);
        EXPECT_EQ(result.exitCode, 1) << i;
        EXPECT_EQ(result.text(), QStringLiteral("no displays")) << i;
        EXPECT_EQ(result.err, QByteArray()) << i;
    }
}

TEST(DisplaysCommandTest, DoesNotWaitForAServerThatIsSilent)
{
    // Takes the connection and never says a word.
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *plain = reinterpret_cast<sockaddr *>(&address);
    ASSERT_EQ(bind(server, plain, size), 0);
    ASSERT_EQ(listen(server, 4), 0);
    ASSERT_EQ(getsockname(server, plain, &size), 0);
    constexpr int kFirstPort = 6000;
    const int number = ntohs(address.sin_port) - kFirstPort;
    ASSERT_GT(number, 0);
    const std::string display = "127.0.0.1:" + std::to_string(number);
    const ToolResult result = askIn({{"DISPLAY", display.c_str()}, {"QT_QPA_PLATFORM", "xcb"}},
                                    {QStringLiteral("--timeout"), QStringLiteral("0.5")});
    close(server);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.out, QByteArray());
    EXPECT_EQ(result.err, QByteArray("kvbase: The display server does not answer\n"));
}

TEST(DisplaysCommandTest, PrintsJson)
{
    const ToolResult result = runTool({QStringLiteral("displays"), QStringLiteral("--json")});
    EXPECT_EQ(result.json()[QStringLiteral("accelerated")], QJsonValue(false));
    EXPECT_TRUE(result.json()[QStringLiteral("displays")].toArray().isEmpty());
}

} // namespace
} // namespace KVBase::Tests
