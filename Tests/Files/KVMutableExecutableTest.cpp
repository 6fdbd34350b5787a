#include <KVBase/KVMutableExecutable.h>

#include "Support/StubBundles.h"
#include "Support/ToolRunner.h"

#include <gtest/gtest.h>

#include <QtCore/QProcess>

#include <sys/stat.h>
#include <unistd.h>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

/// What `content` becomes; the answer goes to `replaced`.
QByteArray patched(const QByteArray &content, const QString &search, const QString &replacement,
                   bool *replaced)
{
    const QString path = scratchFolder() + QStringLiteral("/executable");
    writeFile(path, content);
    KVMutableExecutable executable(QUrl::fromLocalFile(path));
    *replaced = executable.replaceString(search, replacement);
    EXPECT_EQ(readFile(path), content);
    EXPECT_TRUE(executable.commit());
    return readFile(path);
}

} // namespace

TEST(KVMutableExecutableTest, ReplacesTheShorterLengthEverywhere)
{
    const struct {
        QByteArray before;
        QString search;
        QString replacement;
        bool replaced;
        QByteArray after;
    } rows[] = {
        {"xAAAAyAAAA", "AAAA", "BBBB", true, "xBBBByBBBB"},
        {"AAAA", "AAAA", "BB", true, "BBBB"},
        {"xAAx", "AA", "BBBB", true, "xBBx"},
        {"nothing here", "AAAA", "BBBB", false, "nothing here"},
        {"AAA", "AA", "BB", true, "BBA"},
        {"AAAAA", "AA", "xA", true, "xAxAA"},
        {"AABBA", "AAzz", "BB", true, "BBBBA"},
        {"xAAA", "AAAA", "BBBB", false, "xAAA"},
        {"", "A", "B", false, ""},
        {"AAAA", "", "BB", false, "AAAA"},
        {"AAAA", "AA", "", false, "AAAA"},
        {"AAAA", QString(), "BB", false, "AAAA"},
        {"AAAA", "AA", QString(), false, "AAAA"},
        {"abc", "ABC", "XYZ", false, "abc"},
        {QByteArray("a\0AA\0b", 6), "AA", "BB", true, QByteArray("a\0BB\0b", 6)},
        // Characters are counted and bytes written: a character of two bytes is cut in its middle.
        {"x\xc3\xa4y", QStringLiteral("ä"), QStringLiteral("ö"), true, "x\xc3\xa4y"},
        {"x\xc3\xa4y", QStringLiteral("äy"), QStringLiteral("öz"), true, "x\xc3\xb6y"},
    };
    for (const auto &row : rows) {
        bool replaced = !row.replaced;
        EXPECT_EQ(patched(row.before, row.search, row.replacement, &replaced), row.after)
            << row.before.constData();
        EXPECT_EQ(replaced, row.replaced) << row.before.constData();
    }
}

TEST(KVMutableExecutableTest, ReplacesAcrossALargeFile)
{
    QByteArray content(1 << 20, '.');
    for (qsizetype place = 5; place + 16 < content.size(); place += 1021)
        content.replace(place, 6, "marker");
    const qsizetype count = content.count("marker");
    bool replaced = false;
    const QByteArray after = patched(content, "marker", "MARKED", &replaced);
    EXPECT_TRUE(replaced);
    EXPECT_EQ(after.size(), content.size());
    EXPECT_EQ(after.count("MARKED"), count);
    EXPECT_EQ(after.count("marker"), 0);
}

TEST(KVMutableExecutableTest, FindsTheExecutableInItsBundle)
{
    const BundleFolder folder({});
    const QString path = folder.path() + QStringLiteral("/Contents/MacOS/tool");
    const auto patch = [&path](const Ref<KVMutableExecutable> &executable) {
        const bool done = executable->replaceString("old", "new") && executable->commit();
        return done && readFile(path) == "a new tool";
    };
    writeFile(path, "a old tool");
    EXPECT_TRUE(patch(KVMutableExecutable::mutableExecutableWithBundleAtPath(folder.path(), "tool")));
    writeFile(path, "a old tool");
    EXPECT_TRUE(patch(
        KVMutableExecutable::mutableExecutableWithBundleAtURL(QUrl::fromLocalFile(folder.path()), "tool")));
    writeFile(path, "a old tool");
    EXPECT_TRUE(patch(KVMutableExecutable::mutableExecutableWithExecutableAtURL(QUrl::fromLocalFile(path))));
    writeFile(path, "a old tool");
    KVMutableExecutable again(folder.path(), "tool");
    EXPECT_TRUE(again.replaceString("a old", "a new"));
    EXPECT_TRUE(again.commit());
    EXPECT_TRUE(again.replaceString("a new", "a NEW"));
    EXPECT_TRUE(again.commit());
    EXPECT_EQ(readFile(path), "a NEW tool");
}

TEST(KVMutableExecutableTest, AnUnreadableFileAnswersNo)
{
    const QString fifo = scratchFolder() + QStringLiteral("/exec-fifo");
    ::mkfifo(QFile::encodeName(fifo).constData(), 0600);
    for (const QUrl &url : {QUrl(), QUrl::fromLocalFile("/nowhere/at/all"),
                            QUrl::fromLocalFile(scratchFolder()), QUrl::fromLocalFile(fifo)}) {
        KVMutableExecutable executable(url);
        EXPECT_FALSE(executable.replaceString("a", "b"));
        EXPECT_FALSE(executable.commit());
    }
    KVMutableExecutable nilPath{QString(), QStringLiteral("tool")};
    EXPECT_FALSE(nilPath.commit());
    KVMutableExecutable nilName{scratchFolder(), QString()};
    EXPECT_FALSE(nilName.commit());
}

TEST(KVMutableExecutableTest, ModeBitsAndLinksAreKept)
{
    const QString path = scratchFolder() + QStringLiteral("/mode-exec");
    const QString link = scratchFolder() + QStringLiteral("/mode-link");
    writeFile(path, "AAAA");
    QFile::link(path, link);
    ::chmod(QFile::encodeName(path).constData(), 0751);
    KVMutableExecutable executable(QUrl::fromLocalFile(link));
    EXPECT_TRUE(executable.replaceString("AAAA", "BBBB"));
    EXPECT_TRUE(executable.commit());
    struct stat status = {};
    ::stat(QFile::encodeName(path).constData(), &status);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0751});
    EXPECT_EQ(status.st_size, 4);
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(readFile(path), "BBBB");
}

TEST(KVMutableExecutableTest, ARunningProgramCanBeReplaced)
{
    const QString path = scratchFolder() + QStringLiteral("/running");
    ASSERT_TRUE(QFile::copy(QStringLiteral("/bin/cat"), path));
    QProcess running;
    running.start(path, QStringList());
    ASSERT_TRUE(running.waitForStarted());
    KVMutableExecutable executable(QUrl::fromLocalFile(path));
    EXPECT_TRUE(executable.replaceString("ELF", "FLE"));
    EXPECT_TRUE(executable.commit());
    EXPECT_EQ(readFile(path).left(4), "\x7f"
                                      "FLE");
    running.write("still alive\n");
    running.closeWriteChannel();
    ASSERT_TRUE(running.waitForFinished());
    EXPECT_EQ(running.readAllStandardOutput(), "still alive\n");
}
