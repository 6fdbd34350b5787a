#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QLibraryInfo>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QThread>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

constexpr int kNet = 30'000;

/// A display server that runs until the object goes.
class DisplayServer {
public:
    ~DisplayServer()
    {
        process.terminate();
        if (!process.waitForFinished(kNet))
            process.kill();
        process.waitForFinished(kNet);
    }

    QProcess process;
};

ToolResult askOn(const char *variable, const QString &display)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QString::fromLatin1(name));
    environment.insert(QString::fromLatin1(variable), display);
    return runProgram(programFolder() + QStringLiteral("/kvbase"), {QStringLiteral("displays")}, {},
                      environment);
}

void expectSoftwareScreens(const ToolResult &result, const QStringList &lines)
{
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.lines(), lines);
    EXPECT_EQ(result.err, QByteArray());
}

TEST(DisplaysLiveTest, AnswersNoOnAnXServerThatDrawsInSoftware)
{
    if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
        GTEST_SKIP() << "Xvfb is not installed";
    DisplayServer server;
    server.process.start(QStringLiteral("Xvfb"),
                         {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                          QStringLiteral("0"), QStringLiteral("640x480x24")});
    ASSERT_TRUE(server.process.waitForReadyRead(kNet));
    const QString number = QString::fromLatin1(server.process.readLine().trimmed());
    expectSoftwareScreens(askOn("DISPLAY", QStringLiteral(":") + number),
                          {QStringLiteral("display 1: not accelerated, vendor 0, serial 0")});
}

bool hasWaylandPlugin()
{
    QStringList folders = qEnvironmentVariable("QT_PLUGIN_PATH").split(u':', Qt::SkipEmptyParts);
    folders.append(QLibraryInfo::path(QLibraryInfo::PluginsPath));
    for (const QString &folder : folders)
        if (QFile::exists(folder + QStringLiteral("/platforms/libqwayland-generic.so")))
            return true;
    return false;
}

/// Whether `path` came into being in time.
bool waitForFile(const QString &path)
{
    QElapsedTimer timer;
    timer.start();
    while (!QFile::exists(path) && timer.elapsed() < kNet)
        QThread::msleep(10);
    return QFile::exists(path);
}

TEST(DisplaysLiveTest, AnswersNoOnAWaylandServerThatDrawsInSoftware)
{
    if (QStandardPaths::findExecutable(QStringLiteral("weston")).isEmpty() || !hasWaylandPlugin())
        GTEST_SKIP() << "weston or the toolkit's Wayland plug-in is not installed";
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    ASSERT_FALSE(folder.isEmpty());
    DisplayServer server;
    server.process.setProcessChannelMode(QProcess::MergedChannels);
    server.process.start(QStringLiteral("weston"),
                         {QStringLiteral("--backend=headless-backend.so"),
                          QStringLiteral("--shell=kiosk-shell.so"), QStringLiteral("--no-config"),
                          QStringLiteral("--socket=displays-live")});
    ASSERT_TRUE(waitForFile(folder + QStringLiteral("/displays-live")))
        << server.process.readAll().toStdString();
    expectSoftwareScreens(askOn("WAYLAND_DISPLAY", QStringLiteral("displays-live")),
                          {QStringLiteral("display 1: not accelerated, vendor 0, serial 0")});
}

} // namespace
} // namespace KVBase::Tests
