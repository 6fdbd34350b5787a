#include <KVBase/StExceptionDisplaysAlert.h>
#include <KVBase/StExceptionSectionName.h>
#include <KVBase/UException.h>

#include "Diagnostics/LogSupport.h"
#include "Platform/Services/AlertPresenter.h"

#include <QtCore/QDir>
#include <QtCore/QTimer>

namespace KVBase
{
namespace
{

using KVLogContractTest = LogFixture;

TEST_F(KVLogContractTest, TheHeaderDoesNotReachTheConsole)
{
    KVLogSetDestination(2);
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    KVLogClose();
    EXPECT_TRUE(contents(file("App.log")).startsWith(kRule));
    EXPECT_EQ(console.lines(), QStringList());
}

TEST_F(KVLogContractTest, TheDestinationNeitherOpensNorClosesTheFile)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    KVLogSetDestination(-5);
    KVLog("none");
    EXPECT_EQ(KVLogPath(), path);
    EXPECT_FALSE(KVLogOpen(file("Other.log")));
    KVLogSetDestination(1);
    KVLog("again");
    EXPECT_TRUE(linesBehindHeader(path).endsWith("\nagain\n"));
    EXPECT_FALSE(linesBehindHeader(path).contains("none"));
    KVLogClose();
    KVLogClose();
    EXPECT_TRUE(KVLogPath().isNull());
    KVLogSetDestination(2);
    EXPECT_TRUE(KVLogPath().isNull());
}

TEST_F(KVLogContractTest, LeavesASideFileAloneThatNoCutNeeds)
{
    create(file("App.log"), "short\n");
    create(file("App~.log"), "side");
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_EQ(contents(file("App~.log")), "side");
    EXPECT_TRUE(contents(file("App.log")).startsWith("short\n"));
}

TEST_F(KVLogContractTest, OnlyTheLastExtensionMovesBehindTheTilde)
{
    // The folder stands in the way of the cut, which shows the name of the side file.
    const QByteArray old(1048577, 'x');
    create(file("App.2.log"), old);
    ASSERT_TRUE(QDir(folder.path()).mkdir(QStringLiteral("App.2~.log")));
    ASSERT_TRUE(KVLogOpen(file("App.2.log")));
    EXPECT_TRUE(contents(file("App.2.log")).startsWith(old + kRule));
}

TEST_F(KVLogContractTest, AThrowWritesItsLinesToTheFile)
{
    const QString path = file("App.log");
    ASSERT_TRUE(KVLogOpen(path));
    const StExceptionSectionName section("Import");
    EXPECT_THROW(UException::Throw("Name", "100%d", "/src/x/Thing.src", 7), KVException);
    EXPECT_THROW(UException::ThrowErr(-43, "", "Thing.src", 8), KVErrException);
    EXPECT_EQ(linesBehindHeader(path), "KVException 'Name' was thrown\nMessage: 100%d\nSection: Import\n"
                                       "File: /src/x/Thing.src\nLine: 7\n\n"
                                       "KVErrException was thrown\nError: -43\nMessage: \nFile: Thing.src\n"
                                       "Section: Import\nLine: 8\n\n");
}

/// Notes what the log held when the panel came up.
struct WatchingPresenter : AlertPresenter {
    explicit WatchingPresenter(const Tests::CapturedLog &watched) : log(watched) {}
    void criticalAlert(const QString &, const QString &, const QString &) override
    {
        linesBefore.append(log.lines().size());
    }
    const Tests::CapturedLog &log;
    QList<qsizetype> linesBefore;
};

TEST_F(KVLogContractTest, ThePanelComesBehindTheLinesAndBeforeTheThrow)
{
    WatchingPresenter presenter(console);
    const ScopedService<AlertPresenter> guard(&presenter);
    const StExceptionDisplaysAlert alert(1);
    KVLogSetDestination(2);
    EXPECT_THROW(UException::Throw("Name", "message", "file", 1), KVException);
    EXPECT_THROW(UException::ThrowErr(1, "message", "file", 1), KVErrException);
    EXPECT_EQ(presenter.linesBefore, QList<qsizetype>({6, 13}));
    EXPECT_EQ(console.lines().size(), 13);
}

TEST(KVFormatContractTest, PrintsEveryKindOfTheTable)
{
    const QTimer timer;
    EXPECT_TRUE(stringWithFormat("%@", &timer).startsWith("<QTimer: 0x"));
    EXPECT_EQ(stringWithFormat("%@ %@", "text", std::string("bytes")), "text bytes");
    EXPECT_EQ(stringWithFormat("%@", KVErrException(-36, nullptr)), "KVErrException");
    EXPECT_EQ(stringWithFormat("%@", QStringList({QStringLiteral("a")})), "(a)");
    EXPECT_EQ(stringWithFormat("%@|%@", std::optional<QString>(QStringLiteral("x")), QChar(u'c')), "x|c");
    EXPECT_EQ(stringWithFormat("%d %u %x %X %o", Qt::Key_A, std::uint64_t{1} << 40, std::int8_t{-1},
                               std::uint16_t{0xabc}, 511L),
              "65 1099511627776 ff ABC 777");
    EXPECT_EQ(stringWithFormat("%08X|%+.1e|%-6s|%6@|", 0x7648000, 12.5, "ab", QStringLiteral("cd")),
              "07648000|+1.2e+01|ab    |    cd|");
    EXPECT_EQ(stringWithFormat("%s|%10s|%@", static_cast<const char *>(nullptr),
                               static_cast<const char *>(nullptr), static_cast<const char *>(nullptr)),
              "(null)|    (null)|(null)");
    EXPECT_EQ(stringWithFormat("%s|%s", QByteArray(), std::string()), "|");
    EXPECT_EQ(stringWithFormat("%p", static_cast<const void *>(nullptr)), "0x0");
}

} // namespace
} // namespace KVBase
