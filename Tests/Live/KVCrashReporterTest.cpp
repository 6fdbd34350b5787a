#include "Support/TestPaths.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace KVBase
{
namespace
{

/// The helper program as an application of its own, with a home of its own.
class KVCrashReporterTest : public testing::Test {
protected:
    KVCrashReporterTest()
    {
        const QString contents = home.filePath(QStringLiteral("Crasher.app/Contents"));
        QDir().mkpath(contents + QStringLiteral("/MacOS"));
        program = contents + QStringLiteral("/MacOS/Crasher");
        QFile::copy(Tests::programFolder() + QStringLiteral("/CrashingProgram"), program);
        QFile plist(contents + QStringLiteral("/Info.plist"));
        EXPECT_TRUE(plist.open(QIODevice::WriteOnly));
        plist.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                    "<key>CFBundleIdentifier</key><string>com.example.crasher</string>"
                    "<key>CFBundleExecutable</key><string>Crasher</string>"
                    "<key>CFBundleShortVersionString</key><string>2.1</string>"
                    "<key>CFBundleVersion</key><string>4711</string></dict></plist>");
    }

    /// Runs the program and answers what it wrote to standard output.
    QByteArray crash(const QStringList &arguments)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_DATA_HOME"), home.path());
        environment.insert(QStringLiteral("LD_LIBRARY_PATH"), Tests::pluginFolder());
        // The sanitizer's own handlers would end the process with an exit code.
        environment.insert(
            QStringLiteral("ASAN_OPTIONS"),
            QStringLiteral("handle_segv=0:handle_abort=0:handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0"));
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        crashed = process.exitStatus() == QProcess::CrashExit;
        exitCode = process.exitCode();
        return process.readAllStandardOutput();
    }

    QString reportFolder() const { return home.filePath(QStringLiteral("Logs/CrashReporter")); }

    QStringList reports() const
    {
        return QDir(reportFolder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QString onlyReport() const
    {
        const QStringList names = reports();
        EXPECT_EQ(names.size(), 1) << qPrintable(names.join(u' '));
        QFile file(reportFolder() + u'/' + names.value(0));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QString::fromUtf8(file.readAll());
    }

    QTemporaryDir home;
    QString program;
    bool crashed = false;
    int exitCode = 0;
};

/// The functions of the crashed thread, innermost first.
QStringList crashedFunctions(const QString &report)
{
    QStringList functions;
    bool inside = false;
    const QStringList lines = report.split(u'\n');
    for (const QString &line : lines) {
        if (inside && line.isEmpty())
            break;
        if (inside)
            functions.append(
                line.mid(line.indexOf(QStringLiteral("0x")) + 19).section(QStringLiteral(" + "), 0, 0));
        inside |= line.startsWith(u"Thread ") && line.endsWith(u", crashed:");
    }
    return functions;
}

TEST_F(KVCrashReporterTest, WritesAReportNamedAfterTheExecutable)
{
    EXPECT_EQ(crash({QStringLiteral("read")}), "installed\n");
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGSEGV);
    const QStringList names = reports();
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(names.first().startsWith(QStringLiteral("Crasher_"))) << qPrintable(names.first());
    EXPECT_TRUE(names.first().endsWith(QStringLiteral(".crash"))) << qPrintable(names.first());
}

TEST_F(KVCrashReporterTest, SaysWhatCrashedAndWhere)
{
    crash({QStringLiteral("read")});
    const QString report = onlyReport();
    EXPECT_TRUE(report.startsWith(QStringLiteral("Program:       Crasher ["))) << qPrintable(report);
    EXPECT_TRUE(report.contains(QStringLiteral("\nPath:          ") + program + u'\n'));
    EXPECT_TRUE(report.contains(QStringLiteral("\nIdentifier:    com.example.crasher\n")));
    EXPECT_TRUE(report.contains(QStringLiteral("\nVersion:       2.1 (4711)\n")));
    EXPECT_TRUE(
        report.contains(QStringLiteral("\nSignal:        SIGSEGV (11), code 1: address not mapped\n")));
    EXPECT_TRUE(report.contains(QStringLiteral("\nAddress:       0x0000000000001234\n")));
    EXPECT_TRUE(report.contains(QStringLiteral("\nRegisters of thread ")));
    EXPECT_TRUE(report.contains(QStringLiteral("/libKVBase.so.")));
    EXPECT_TRUE(report.contains(QStringLiteral(" +0530\n"))) << "the date is in the user's zone";
}

TEST_F(KVCrashReporterTest, BeginsTheCallStackWhereTheCrashWas)
{
    crash({QStringLiteral("read")});
    EXPECT_EQ(crashedFunctions(onlyReport()).value(0),
              QStringLiteral("(anonymous namespace)::readThroughBadPointer()"));
}

TEST_F(KVCrashReporterTest, FindsTheCallerOfACallThroughANullPointer)
{
    crash({QStringLiteral("call")});
    const QStringList functions = crashedFunctions(onlyReport());
    EXPECT_EQ(functions.value(0), QString());
    EXPECT_EQ(functions.value(1), QStringLiteral("(anonymous namespace)::callNothing()"));
}

TEST_F(KVCrashReporterTest, ReportsAStackOverflow)
{
    crash({QStringLiteral("overflow")});
    EXPECT_EQ(exitCode, SIGSEGV);
    const QString report = onlyReport();
    EXPECT_EQ(crashedFunctions(report).value(5), QStringLiteral("(anonymous namespace)::recurse(int)"));
    EXPECT_TRUE(report.contains(QStringLiteral("\n... further frames are left out\n")));
}

TEST_F(KVCrashReporterTest, ReportsTheOverflowOfAThreadThatAskedForIt)
{
    crash({QStringLiteral("thread-overflow")});
    EXPECT_EQ(crashedFunctions(onlyReport()).value(5), QStringLiteral("(anonymous namespace)::recurse(int)"));
}

TEST_F(KVCrashReporterTest, ShowsTheOtherThreadsToo)
{
    crash({QStringLiteral("thread")});
    const QString report = onlyReport();
    EXPECT_TRUE(report.contains(QStringLiteral(" \"unlucky\", crashed:\n"))) << qPrintable(report);
    EXPECT_TRUE(report.contains(QStringLiteral(" \"Crasher\":\n")));
    EXPECT_EQ(crashedFunctions(report).value(0),
              QStringLiteral("(anonymous namespace)::readThroughBadPointer()"));
}

TEST_F(KVCrashReporterTest, ReportsAnAbort)
{
    crash({QStringLiteral("abort")});
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGABRT);
    EXPECT_TRUE(onlyReport().contains(
        QStringLiteral("\nSignal:        SIGABRT (6), code -6: sent by the process itself\n")));
}

TEST_F(KVCrashReporterTest, ReportsAnExceptionThatNobodyCaught)
{
    crash({QStringLiteral("throw")});
    EXPECT_EQ(exitCode, SIGABRT);
    EXPECT_TRUE(crashedFunctions(onlyReport()).contains(QStringLiteral("std::terminate()")));
}

TEST_F(KVCrashReporterTest, LetsATrapEndTheProcess)
{
    crash({QStringLiteral("trap")});
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGTRAP);
    EXPECT_EQ(reports().size(), 1);
}

TEST_F(KVCrashReporterTest, EndsWithACompletenessMarker)
{
    crash({QStringLiteral("read")});
    EXPECT_TRUE(onlyReport().endsWith(QStringLiteral("\n\nEnd of report\n")));
}

TEST_F(KVCrashReporterTest, LetsOnlyTheOwnerReadTheReport)
{
    crash({QStringLiteral("read")});
    const QFileInfo report(reportFolder() + u'/' + reports().value(0));
    EXPECT_EQ(report.permissions() & (QFile::ReadOwner | QFile::WriteOwner),
              QFile::ReadOwner | QFile::WriteOwner);
    EXPECT_FALSE(report.permissions() &
                 (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther));
}

TEST_F(KVCrashReporterTest, CallsTheHandlerThatWasThereBefore)
{
    EXPECT_EQ(crash({QStringLiteral("read"), QStringLiteral("previous")}), "installed\nprevious handler\n");
    EXPECT_FALSE(crashed);
    EXPECT_EQ(exitCode, 42);
    EXPECT_EQ(reports().size(), 1);
}

TEST_F(KVCrashReporterTest, WritesNothingOnceUninstalled)
{
    EXPECT_EQ(crash({QStringLiteral("read"), QStringLiteral("uninstalled")}), "installed\n");
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGSEGV);
    EXPECT_TRUE(reports().isEmpty());
}

TEST_F(KVCrashReporterTest, DiesAsUsualWhenTheReportCannotBeWritten)
{
    // The folder is there at the start and gone at the crash.
    crash({QStringLiteral("unwritable")});
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGSEGV);
    EXPECT_TRUE(reports().isEmpty());
}

TEST_F(KVCrashReporterTest, LeavesNoPieceOfAReportThatDoesNotFit)
{
    crash({QStringLiteral("limited")});
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGSEGV);
    EXPECT_EQ(reports(), QStringList());
}

TEST_F(KVCrashReporterTest, RefusesWithoutAPlaceForReports)
{
    QFile blocker(home.filePath(QStringLiteral("Logs")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    EXPECT_EQ(crash({QStringLiteral("read")}), "not installed\n");
    EXPECT_TRUE(crashed);
    EXPECT_EQ(exitCode, SIGSEGV);
}

TEST(CrashReportProgramTest, RefusesToRunByItself)
{
    QProcess process;
    process.start(QFileInfo(Tests::programFolder()).path() + QStringLiteral("/libexec/kvbase-crash-report"),
                  {});
    process.write(QByteArray(100, 'x'));
    process.closeWriteChannel();
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 64);
}

} // namespace
} // namespace KVBase
