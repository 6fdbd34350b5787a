#include "Diagnostics/LogSupport.h"

#include <KVBase/KVLog.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <sys/stat.h>

namespace KVBase
{
namespace
{

constexpr qsizetype kLimit = 1048576;

using KVLogTrimmingTest = LogFixture;

/// "line 000000\n", "line 000001\n", ... cut to `size` bytes from the front.
QByteArray numberedLines(qsizetype size)
{
    QByteArray all;
    for (int i = 0; all.size() < size; ++i)
        all += "line " + QByteArray::number(1000000 + i).mid(1) + '\n';
    return all.right(size);
}

TEST_F(KVLogTrimmingTest, CutsAFileAboveTheLimitToItsEnd)
{
    const QString path = file("App.log");
    const QByteArray old = numberedLines(kLimit + 1);
    create(path, old);
    ASSERT_TRUE(KVLogOpen(path));
    const QByteArray now = contents(path);
    EXPECT_EQ(now.first(kLimit), old.last(kLimit));
    EXPECT_TRUE(now.mid(kLimit).startsWith(kRule));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList({QStringLiteral("App.log")}));
}

TEST_F(KVLogTrimmingTest, CutsAMuchLargerFileToTheSameSize)
{
    const QString path = file("App.log");
    const QByteArray old = numberedLines(5 * kLimit + 17);
    create(path, old);
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_EQ(contents(path).first(kLimit), old.last(kLimit));
    EXPECT_TRUE(contents(path).mid(kLimit).startsWith(kRule));
}

TEST_F(KVLogTrimmingTest, LeavesAFileAtTheLimitAlone)
{
    const QString path = file("App.log");
    const QByteArray old = numberedLines(kLimit);
    create(path, old);
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_TRUE(contents(path).startsWith(old + kRule));
}

TEST_F(KVLogTrimmingTest, ReplacesWhatLiesAtTheSidePath)
{
    create(file("App.log"), numberedLines(kLimit + 1));
    create(file("App~.log"), "left over");
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_FALSE(QFileInfo::exists(file("App~.log")));
    EXPECT_TRUE(contents(file("App.log")).mid(kLimit).startsWith(kRule));
}

TEST_F(KVLogTrimmingTest, ReplacesALinkAtTheSidePathAndNotItsTarget)
{
    create(file("App.log"), numberedLines(kLimit + 1));
    create(file("Precious"), "kept");
    ASSERT_TRUE(QFile::link(file("Precious"), file("App~.log")));
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_EQ(contents(file("Precious")), "kept");
    EXPECT_TRUE(contents(file("App.log")).mid(kLimit).startsWith(kRule));
}

TEST_F(KVLogTrimmingTest, LosesNothingToAFolderAtTheSidePath)
{
    const QByteArray old = numberedLines(kLimit + 1);
    create(file("App.log"), old);
    ASSERT_TRUE(QDir().mkpath(file("App~.log/inside")));
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_TRUE(contents(file("App.log")).startsWith(old + kRule));
    EXPECT_TRUE(QFileInfo::exists(file("App~.log/inside")));
}

TEST_F(KVLogTrimmingTest, NamesTheSideFileOfAPathWithoutExtension)
{
    const QByteArray old = numberedLines(kLimit + 1);
    create(file("App"), old);
    ASSERT_TRUE(QDir().mkpath(file("App~/inside")));
    ASSERT_TRUE(KVLogOpen(file("App")));
    // The folder stands in the way, which shows that this is the name.
    EXPECT_TRUE(contents(file("App")).startsWith(old + kRule));
    KVLogClose();
    ASSERT_TRUE(QDir(file("App~")).removeRecursively());
    ASSERT_TRUE(KVLogOpen(file("App")));
    EXPECT_FALSE(QFileInfo::exists(file("App~")));
    EXPECT_LT(contents(file("App")).size(), kLimit + 1000);
}

TEST_F(KVLogTrimmingTest, TakesBackALogThatAnEarlierEndLeftAtTheSidePath)
{
    const QByteArray old = numberedLines(kLimit + 100);
    create(file("App~.log"), old);
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_EQ(contents(file("App.log")).first(kLimit), old.last(kLimit));
    EXPECT_FALSE(QFileInfo::exists(file("App~.log")));
}

TEST_F(KVLogTrimmingTest, CutsTheFileThatALinkStandsFor)
{
    const QByteArray old = numberedLines(kLimit + 1);
    ASSERT_TRUE(QDir().mkpath(file("elsewhere")));
    create(file("elsewhere/Target.log"), old);
    ASSERT_TRUE(QFile::link(file("elsewhere/Target.log"), file("App.log")));
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    EXPECT_TRUE(QFileInfo(file("App.log")).isSymLink());
    EXPECT_EQ(contents(file("elsewhere/Target.log")).first(kLimit), old.last(kLimit));
    EXPECT_EQ(QDir(file("elsewhere")).entryList(QDir::Files), QStringList({QStringLiteral("Target.log")}));
}

TEST_F(KVLogTrimmingTest, MakesTheCutFileReadableByItsOwnerAlone)
{
    create(file("App.log"), numberedLines(kLimit + 1));
    ASSERT_TRUE(KVLogOpen(file("App.log")));
    struct stat made = {};
    ASSERT_EQ(::stat(QFile::encodeName(file("App.log")).constData(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777u, 0600u);
}

TEST_F(KVLogTrimmingTest, DoesNotCutWhileTheFileIsOpen)
{
    const QString path = file("App.log");
    create(path, numberedLines(kLimit));
    ASSERT_TRUE(KVLogOpen(path));
    EXPECT_FALSE(KVLogOpen(path));
    EXPECT_GT(contents(path).size(), kLimit);
}

} // namespace
} // namespace KVBase
