#include <KVBase/KVMutableExecutable.h>
#include <KVBase/Platform/KVNil.h>

#include "Support/ChildProcess.h"
#include "Support/FileFixtures.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtCore/QUrl>

#include <gtest/gtest.h>

#include <random>

#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

struct Patch {
    const char *description;
    QByteArray content;
    QString search;
    QString replacement;
    QByteArray result;
    bool replaced;
};

class KVExecutablePatches : public testing::TestWithParam<Patch> {};

TEST_P(KVExecutablePatches, ReplaceEveryOccurrenceInPlace)
{
    const QString file = freshFolder() + "/program";
    putFile(file, GetParam().content);
    KVMutableExecutable executable(QUrl::fromLocalFile(file));
    EXPECT_EQ(executable.replaceString(GetParam().search, GetParam().replacement), GetParam().replaced);
    EXPECT_EQ(contentOf(file), GetParam().content) << "in memory until committed";
    EXPECT_TRUE(executable.commit());
    EXPECT_EQ(contentOf(file), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Patches, KVExecutablePatches,
    testing::Values(Patch{"every occurrence", "xAAAAyAAAA", "AAAA", "BBBB", "xBBBByBBBB", true},
                    Patch{"a shorter replacement shortens the search", "AAAA", "AAAA", "BB", "BBBB", true},
                    Patch{"the tail of the search is not checked", "xAAyy", "AAAA", "BB", "xBByy", true},
                    Patch{"a longer replacement is cut", "xAAx", "AA", "BBBB", "xBBx", true},
                    Patch{"no overlap", "AAA", "AA", "BB", "BBA", true},
                    Patch{"replaced bytes are not searched again", "AAA", "AA", "xA", "xAA", true},
                    Patch{"a match that begins inside a failed one", "AAB", "AB", "CD", "ACD", true},
                    Patch{"nothing found", "xyz", "AA", "BB", "xyz", false},
                    Patch{"a match must lie inside", "xxA", "AA", "BB", "xxA", false},
                    Patch{"at the very end", "xxAA", "AA", "BB", "xxBB", true},
                    Patch{"the whole file", "AA", "AA", "BB", "BB", true},
                    Patch{"a file shorter than the search", "A", "AA", "BB", "A", false},
                    Patch{"an empty file", "", "AA", "BB", "", false},
                    Patch{"an empty search", "AA", "", "BB", "AA", false},
                    Patch{"an empty replacement", "AA", "AA", "", "AA", false},
                    Patch{"both empty", "AA", "", "", "AA", false},
                    Patch{"nil search", "AA", nil, "BB", "AA", false},
                    Patch{"nil replacement", "AA", "AA", nil, "AA", false},
                    Patch{"the same text counts as replaced", "xAAx", "AA", "AA", "xAAx", true},
                    Patch{"case matters", "aaAA", "AA", "BB", "aaBB", true},
                    Patch{"single characters", "ABABA", "A", "x", "xBxBx", true},
                    Patch{"characters are counted, bytes compared", "\xc3\xa9y\xc3x",
                          QStringLiteral("\u00e9"), "ab", "a\xa9yax", true},
                    Patch{"a cut replacement", "ay", "a", QStringLiteral("\u00e9"), "\xc3y", true},
                    Patch{"an emoji counts two", "x\xf0\x9fyz", QStringLiteral("\U0001F600"), "abcd", "xabyz",
                          true}));

QByteArray patchedByHand(QByteArray data, const QByteArray &search, const QByteArray &replacement)
{
    const qsizetype length = std::min(search.size(), replacement.size());
    for (qsizetype position = 0; position + length <= data.size();) {
        if (data.mid(position, length) == search.left(length)) {
            data.replace(position, length, replacement.left(length));
            position += length;
        } else {
            ++position;
        }
    }
    return data;
}

TEST(KVExecutablePatchTest, AgreesWithTheRuleAtEveryLengthAndPlace)
{
    std::mt19937 random(7);
    const QString file = freshFolder() + "/program";
    for (int round = 0; round < 40; ++round) {
        QByteArray content(static_cast<qsizetype>(random() % 3000), 'a');
        for (char &byte : content)
            byte = random() % 4 == 0 ? 'b' : 'a';
        QByteArray search(static_cast<qsizetype>(1 + random() % (round % 3 == 0 ? 70 : 6)), 'a');
        if (random() % 2 == 0)
            search[static_cast<qsizetype>(random() % static_cast<unsigned>(search.size()))] = 'b';
        QByteArray replacement(static_cast<qsizetype>(1 + random() % 80), 'a');
        replacement[0] = 'c';
        putFile(file, content);
        KVMutableExecutable executable(QUrl::fromLocalFile(file));
        const QByteArray expected = patchedByHand(content, search, replacement);
        EXPECT_EQ(executable.replaceString(QString::fromLatin1(search), QString::fromLatin1(replacement)),
                  expected != content);
        ASSERT_TRUE(executable.commit());
        ASSERT_EQ(contentOf(file), expected) << content.toStdString() << " / " << search.toStdString();
    }
}

TEST(KVExecutableBundleTest, IsFoundInsideTheBundle)
{
    const QString bundle = freshFolder() + "/A b#%41?ü.app";
    putFolder(bundle + "/Contents/MacOS");
    const QString file = bundle + "/Contents/MacOS/my tool";
    putFile(file, "AAAA");
    EXPECT_TRUE(KVMutableExecutable(bundle, "my tool").replaceString("AAAA", "BBBB"));
    EXPECT_TRUE(KVMutableExecutable(QUrl::fromLocalFile(bundle), "my tool").replaceString("AAAA", "BBBB"));
    EXPECT_TRUE(KVMutableExecutable::mutableExecutableWithBundleAtPath(bundle, "my tool")
                    ->replaceString("AAAA", "BBBB"));
    EXPECT_TRUE(KVMutableExecutable::mutableExecutableWithBundleAtURL(QUrl::fromLocalFile(bundle), "my tool")
                    ->replaceString("AAAA", "BBBB"));
    const Ref<KVMutableExecutable> executable =
        KVMutableExecutable::mutableExecutableWithExecutableAtURL(QUrl::fromLocalFile(file));
    EXPECT_TRUE(executable->replaceString("AAAA", "BBBB"));
    EXPECT_TRUE(executable->commit());
    EXPECT_EQ(contentOf(file), "BBBB");
    EXPECT_TRUE(executable->replaceString("BBBB", "CCCC")) << "further changes are allowed";
    EXPECT_TRUE(executable->commit());
    EXPECT_EQ(contentOf(file), "CCCC");
}

TEST(KVExecutableBundleTest, KeepsModeAndLinkAndLeavesNothingBesides)
{
    const QString folder = freshFolder();
    putFile(folder + "/real", "AAAA");
    ASSERT_EQ(::chmod(QFile::encodeName(folder + "/real").constData(), 04751), 0);
    putLink(folder + "/program", "real");
    KVMutableExecutable executable(QUrl::fromLocalFile(folder + "/program"));
    EXPECT_TRUE(executable.replaceString("AAAA", "BBBB"));
    EXPECT_TRUE(executable.commit());
    struct stat status = {};
    ASSERT_EQ(::lstat(QFile::encodeName(folder + "/real").constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 04751u);
    EXPECT_TRUE(QFileInfo(folder + "/program").isSymLink());
    EXPECT_EQ(contentOf(folder + "/real"), "BBBB");
    EXPECT_EQ(namesIn(folder), (QStringList{"program", "real"}));
}

TEST(KVExecutableBundleTest, AnOrdinaryUserKeepsTheSetIdBits)
{
    constexpr uid_t kNobody = 65534;
    // Not below the scratch folder, which nobody else may enter.
    const QTemporaryDir outside(QDir::rootPath() + "tmp/kvbase-XXXXXX");
    const QString folder = outside.path();
    putFile(folder + "/program", "AAAA");
    const QByteArray path = QFile::encodeName(folder + "/program");
    if (::geteuid() == 0) {
        for (const QByteArray &item : {QFile::encodeName(folder), path})
            ASSERT_EQ(::chown(item.constData(), kNobody, 0), 0);
    }
    ASSERT_EQ(::chmod(path.constData(), 04751), 0);
    runInChild([&] {
        if (::geteuid() == 0) {
            ASSERT_EQ(::seteuid(kNobody), 0);
        }
        KVMutableExecutable executable(QUrl::fromLocalFile(folder + "/program"));
        EXPECT_TRUE(executable.replaceString("AAAA", "BBBB"));
        EXPECT_TRUE(executable.commit());
    });
    struct stat status = {};
    ASSERT_EQ(::lstat(path.constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 04751u);
    EXPECT_EQ(contentOf(folder + "/program"), "BBBB");
}

TEST(KVExecutableBundleTest, UnreadableFilesAnswerNo)
{
    const QString folder = freshFolder();
    putFolder(folder + "/a folder");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + "/fifo").constData(), 0600), 0);
    for (const QUrl &url :
         {QUrl(), QUrl::fromLocalFile(folder + "/missing"), QUrl::fromLocalFile(folder + "/a folder"),
          QUrl::fromLocalFile(folder + "/fifo"), QUrl(QStringLiteral("http://example.com/tool"))}) {
        KVMutableExecutable executable(url);
        EXPECT_FALSE(executable.replaceString("A", "B"));
        EXPECT_FALSE(executable.commit());
    }
    EXPECT_EQ(namesIn(folder), (QStringList{"a folder", "fifo"}));
    EXPECT_FALSE(KVMutableExecutable(nil, nil).commit());
    EXPECT_FALSE(KVMutableExecutable(folder, nil).commit());
    EXPECT_FALSE(KVMutableExecutable(QString("/no/such.app"), "x").replaceString("A", "B"));
}

} // namespace
} // namespace KVBase
