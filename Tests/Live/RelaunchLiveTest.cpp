#include "Platform/Services/RelaunchCommand.h"

#include "Support/FileFixtures.h"
#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

constexpr int kNetMilliseconds = 60'000;

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

template <class Condition>
bool eventually(Condition condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.hasExpired(kNetMilliseconds))
            return false;
        ::usleep(20'000);
    }
    return true;
}

/// A copy of the helper in a folder of its own, whose report is watched.
class RelaunchLiveTest : public testing::Test {
protected:
    void install(const QString &program)
    {
        path = program;
        putFolder(program.section(u'/', 0, -2));
        ASSERT_TRUE(QFile::copy(programFolder() + text("/RelaunchingProgram"), program));
        environment.insert(text("KV_TEST_REPORT"), report);
        environment.insert(text("LD_LIBRARY_PATH"), pluginFolder());
        environment.insert(text("QT_QPA_PLATFORM"), text("offscreen"));
    }

    void start(const QStringList &launcher = {})
    {
        QStringList command = launcher;
        command.append(path);
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(command.first(), command.mid(1));
        ASSERT_TRUE(process.waitForStarted());
    }

    QStringList lines() const
    {
        const QByteArray content = contentOf(report);
        return QString::fromUtf8(content).split(u'\n', Qt::SkipEmptyParts);
    }

    QString valueAfter(const QString &prefix) const
    {
        for (const QString &line : lines()) {
            if (line.startsWith(prefix))
                return line.mid(prefix.size());
        }
        return text("(none)");
    }

    bool waitForSecondInstance()
    {
        process.waitForFinished(kNetMilliseconds);
        return eventually([this] { return lines().contains(text("done")); });
    }

    qsizetype starts() const { return lines().filter(text("started ")).size(); }

    const QString folder = freshFolder();
    const QString report = folder + text("/report");
    QString path;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
};

TEST_F(RelaunchLiveTest, StartsAgainOnceTheOldProcessHasGone)
{
    install(folder + text("/bin/program"));
    environment.insert(text("KV_TEST_LINGER"), text("1500"));
    start();
    ASSERT_TRUE(waitForSecondInstance());
    const QStringList seen = lines();
    EXPECT_EQ(starts(), 2);
    EXPECT_LT(seen.indexOf(text("asked")), seen.indexOf(text("gone")));
    const qsizetype secondStart = seen.lastIndexOf(seen.filter(text("started ")).last());
    EXPECT_LT(seen.indexOf(text("gone")), secondStart);
    EXPECT_EQ(valueAfter(text("LAUNCH_PATH=")), folder + text("/bin"));
    EXPECT_EQ(valueAfter(text("session ")), text("0"));
    // The descriptor that the first instance had left open to its children.
    EXPECT_EQ(valueAfter(text("inherited ")), text("0"));
}

TEST_F(RelaunchLiveTest, ComesUpInTheChosenLanguage)
{
    install(folder + text("/bin/program"));
    environment.insert(text("KV_TEST_LANGUAGE"), text("de"));
    start();
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(valueAfter(text("language ")), text("de"));
    EXPECT_EQ(valueAfter(text("text")), text("n. v."));
}

TEST_F(RelaunchLiveTest, PathsCannotBreakOutOfTheCommand)
{
    install(folder + text("/a b's \"$(touch hit)\" `touch hit` $HOME;\\\n&/Pro gram"));
    start();
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(starts(), 2);
    const QByteArray bundle = "bundle=" + QFile::encodeName(path.section(u'/', 0, -2)) + '\n';
    EXPECT_TRUE(contentOf(report).contains(bundle));
    EXPECT_FALSE(QFile::exists(text("hit")));
    EXPECT_FALSE(QFile::exists(folder + text("/hit")));
}

TEST_F(RelaunchLiveTest, AnApplicationBundleIsStartedByItsProgram)
{
    install(folder + text("/My App.app/Contents/MacOS/My App"));
    start();
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(valueAfter(text("LAUNCH_PATH=")), folder + text("/My App.app"));
    EXPECT_EQ(starts(), 2);
}

TEST_F(RelaunchLiveTest, ALinkIsStartedAsALink)
{
    install(folder + text("/bin/program"));
    putLink(folder + text("/link"), path);
    path = folder + text("/link");
    start();
    ASSERT_TRUE(waitForSecondInstance());
    const QStringList started = lines().filter(text("started "));
    ASSERT_EQ(started.size(), 2);
    EXPECT_TRUE(started.at(1).endsWith(text(" as ") + folder + text("/link")));
}

TEST_F(RelaunchLiveTest, AnImageFileIsStartedInsteadOfItsContent)
{
    install(folder + text("/mount/usr/bin/program"));
    const QString image = folder + text("/My Image.AppImage");
    putFile(image, "#!/bin/sh\necho image >>\"$KV_TEST_REPORT\"\nexec \"$APPDIR/usr/bin/program\"\n");
    ASSERT_EQ(::chmod(QFile::encodeName(image).constData(), 0755), 0);
    environment.insert(text("APPDIR"), folder + text("/mount"));
    environment.insert(text("APPIMAGE"), image);
    start();
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(lines().count(text("image")), 1);
    EXPECT_EQ(starts(), 2);
}

TEST_F(RelaunchLiveTest, AnotherProgramsImageIsNotStarted)
{
    install(folder + text("/bin/program"));
    putFolder(folder + text("/mount"));
    environment.insert(text("APPDIR"), folder + text("/mount"));
    environment.insert(text("APPIMAGE"), text("/bin/false"));
    start();
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(starts(), 2);
}

TEST_F(RelaunchLiveTest, ANewProgramInPlaceOfTheOldOneIsStarted)
{
    install(folder + text("/bin/program"));
    environment.insert(text("KV_TEST_LINGER"), text("1500"));
    start();
    ASSERT_TRUE(eventually([this] { return lines().contains(text("asked")); }));
    const QString update = folder + text("/bin/update");
    ASSERT_TRUE(QFile::copy(path, update));
    ASSERT_EQ(::rename(QFile::encodeName(update).constData(), QFile::encodeName(path).constData()), 0);
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(starts(), 2);
}

TEST_F(RelaunchLiveTest, ARefusalIsWaitedOut)
{
    install(folder + text("/bin/program"));
    environment.insert(text("KV_TEST_MODE"), text("refuse"));
    start();
    ASSERT_TRUE(eventually([this] { return lines().contains(text("refused")); }));
    EXPECT_EQ(starts(), 1);
    // A quit within ten minutes opens it after all.
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(starts(), 2);
}

TEST_F(RelaunchLiveTest, AProcessNobodyWaitedForCountsAsGone)
{
    // The parent does not collect its child, so the old process stays in the list as a zombie.
    install(folder + text("/bin/program"));
    const pid_t child = ::fork();
    if (child == 0) {
        ::setenv("KV_TEST_REPORT", QFile::encodeName(report).constData(), 1);
        ::setenv("LD_LIBRARY_PATH", QFile::encodeName(pluginFolder()).constData(), 1);
        ::execl(QFile::encodeName(path).constData(), QFile::encodeName(path).constData(), nullptr);
        ::_exit(127);
    }
    EXPECT_TRUE(eventually([this] { return lines().contains(text("done")); }));
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, WNOHANG), child);
}

TEST_F(RelaunchLiveTest, SurvivesItsTerminalBeingClosed)
{
    install(folder + text("/bin/program"));
    environment.insert(text("KV_TEST_LINGER"), text("1000"));
    // `script` gives the program a terminal, which hangs up when it is killed.
    if (!QFile::exists(text("/usr/bin/script")))
        GTEST_SKIP() << "no terminal to be had";
    process.setProcessEnvironment(environment);
    const QString quoted = u'\'' + path + u'\'';
    process.start(text("/usr/bin/script"), {text("-qec"), quoted, text("/dev/null")});
    ASSERT_TRUE(process.waitForStarted());
    ASSERT_TRUE(eventually([this] { return lines().contains(text("asked")); }));
    process.kill();
    ASSERT_TRUE(waitForSecondInstance());
    EXPECT_EQ(starts(), 2);
}

/// The command alone, with fewer and quicker polls, waiting for a process of the test's own.
class RelaunchWaitTest : public testing::Test {
protected:
    void SetUp() override
    {
        program = folder + text("/program");
        putFile(program, "#!/bin/sh\necho started >>\"$KV_TEST_REPORT\"\n");
        ASSERT_EQ(::chmod(QFile::encodeName(program).constData(), 0755), 0);
        qputenv("KV_TEST_REPORT", QFile::encodeName(folder + text("/report")));
        qputenv("LAUNCH_PROGRAM", QFile::encodeName(program));
        qputenv("LAUNCH_PROCESS", QByteArray::number(::getpid()));
        qputenv("LAUNCH_START", startTimeOfProcess(::getpid()));
        qunsetenv("LAUNCH_LANGUAGE");
    }

    /// Runs the command in the foreground, so that its end can be seen.
    void runToEnd(const QByteArray &polls)
    {
        QByteArray command = relaunchCommand();
        command.replace("3000", polls);
        command.replace("&>/dev/null &'", "&>/dev/null'");
        EXPECT_GE(std::system(command.constData()), 0);
    }

    const QString folder = freshFolder();
    QString program;
};

TEST_F(RelaunchWaitTest, GivesUpWhileTheProcessLives)
{
    runToEnd("3");
    EXPECT_EQ(contentOf(folder + text("/report")), QByteArray("(none)"));
}

TEST_F(RelaunchWaitTest, TheLanguageOfTheOldProcessIsNotInherited)
{
    putFile(program, "#!/bin/sh\necho \"$LANGUAGE\" >>\"$KV_TEST_REPORT\"\n");
    qputenv("LAUNCH_PROCESS", "4194304");
    qputenv("LANGUAGE", "de");
    qputenv("LAUNCH_LANGUAGE", "fr:en");
    runToEnd("3");
    qunsetenv("LANGUAGE");
    EXPECT_EQ(contentOf(folder + text("/report")), QByteArray("fr:en\n"));
}

TEST_F(RelaunchWaitTest, ALaterProcessOfTheSameNumberIsAnother)
{
    qputenv("LAUNCH_START", "1");
    runToEnd("3");
    EXPECT_EQ(contentOf(folder + text("/report")), QByteArray("started\n"));
}

TEST_F(RelaunchWaitTest, AProcessThatIsNotThereIsGone)
{
    qputenv("LAUNCH_PROCESS", "4194304");
    runToEnd("3");
    EXPECT_EQ(contentOf(folder + text("/report")), QByteArray("started\n"));
}

TEST_F(RelaunchWaitTest, ReturnsAtOnceAndLeavesNoChild)
{
    QByteArray command = relaunchCommand();
    command.replace("3000", "5");
    EXPECT_EQ(std::system(command.constData()), 0);
    // Nobody's child here: there is none to wait for.
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(contentOf(folder + text("/report")), QByteArray("(none)"));
}

} // namespace
} // namespace KVBase
