#include "Platform/NSPathUtilities.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace NSPathUtilities;

struct PathRow {
    const char *input;
    const char *expected;
};

TEST(NSPathUtilitiesTest, NilStaysNil)
{
    EXPECT_FALSE(isAbsolutePath(QString()));
    EXPECT_TRUE(pathComponents(QString()).isEmpty());
    EXPECT_TRUE(lastPathComponent(QString()).isNull());
    EXPECT_TRUE(stringByDeletingLastPathComponent(QString()).isNull());
    EXPECT_TRUE(stringByAppendingPathComponent(QString(), QStringLiteral("a")).isNull());
    EXPECT_TRUE(stringByAppendingPathComponent(QStringLiteral("a"), QString()).isNull());
    EXPECT_TRUE(pathExtension(QString()).isNull());
    EXPECT_TRUE(stringByStandardizingPath(QString()).isNull());
    EXPECT_FALSE(fileSystemRepresentation(QString()).has_value());
}

TEST(NSPathUtilitiesTest, OnlyALeadingSeparatorIsAbsolute)
{
    EXPECT_TRUE(isAbsolutePath(QStringLiteral("/")));
    EXPECT_TRUE(isAbsolutePath(QStringLiteral("/a/b")));
    EXPECT_FALSE(isAbsolutePath(QStringLiteral("")));
    EXPECT_FALSE(isAbsolutePath(QStringLiteral("a/b")));
    EXPECT_FALSE(isAbsolutePath(QStringLiteral("~/a")));
}

TEST(NSPathUtilitiesTest, SplitsIntoComponents)
{
    const auto components = [](const char *path) {
        return pathComponents(QString::fromUtf8(path)).join(u'|');
    };
    EXPECT_EQ(components("/a/b"), QStringLiteral("/|a|b"));
    EXPECT_EQ(components("a//b/"), QStringLiteral("a|b"));
    EXPECT_EQ(components("///"), QStringLiteral("/"));
    EXPECT_EQ(components(""), QStringLiteral(""));
}

TEST(NSPathUtilitiesTest, AnswersTheLastComponent)
{
    const PathRow rows[] = {{"/a/b", "b"}, {"a/b/", "b"},    {"/", "/"},  {"///", "/"},
                            {"", ""},      {"name", "name"}, {"/a", "a"}, {"/a/b.c/", "b.c"}};
    for (const PathRow &row : rows)
        EXPECT_EQ(lastPathComponent(QString::fromUtf8(row.input)), QString::fromUtf8(row.expected))
            << row.input;
}

TEST(NSPathUtilitiesTest, DropsTheLastComponent)
{
    const PathRow rows[] = {{"/a/b", "/a"}, {"/a/b/", "/a"}, {"/a", "/"},     {"/", "/"},   {"a", ""},
                            {"a/b", "a"},   {"", ""},        {"/a//b", "/a"}, {"///a", "/"}};
    for (const PathRow &row : rows)
        EXPECT_EQ(stringByDeletingLastPathComponent(QString::fromUtf8(row.input)),
                  QString::fromUtf8(row.expected))
            << row.input;
}

TEST(NSPathUtilitiesTest, JoinsWithOneSeparator)
{
    struct Row {
        const char *path, *component, *expected;
    };
    const Row rows[] = {{"/a", "b", "/a/b"}, {"/a/", "b", "/a/b"},   {"/a", "/b/", "/a/b"},
                        {"/", "b", "/b"},    {"", "b", "b"},         {"/a", "", "/a"},
                        {"", "", ""},        {"a//b", "c", "a/b/c"}, {"", "/", "/"}};
    for (const Row &row : rows)
        EXPECT_EQ(
            stringByAppendingPathComponent(QString::fromUtf8(row.path), QString::fromUtf8(row.component)),
            QString::fromUtf8(row.expected))
            << row.path << " + " << row.component;
}

TEST(NSPathUtilitiesTest, AnswersTheExtension)
{
    const PathRow rows[] = {{"/a/b.txt", "txt"}, {"b.tar.gz", "gz"}, {".hidden", ""}, {"b.", ""},
                            {"/a.b/c", ""},      {"x.app/", "app"},  {"", ""}};
    for (const PathRow &row : rows)
        EXPECT_EQ(pathExtension(QString::fromUtf8(row.input)), QString::fromUtf8(row.expected)) << row.input;
}

TEST(NSPathUtilitiesTest, StandardizesByTheTextAlone)
{
    const PathRow rows[] = {
        {"/a/b/../c", "/a/c"},  {"/a/./b//c/", "/a/b/c"}, {"/..", "/"},    {"/../../a", "/a"}, {"//", "/"},
        {"/a/..", "/"},         {"a/../b", "a/../b"},     {"./a/", "a"},   {".", "."},         {"", ""},
        {"/a/b/../../..", "/"}, {"/...", "/..."},         {"/a/~", "/a/~"}};
    for (const PathRow &row : rows)
        EXPECT_EQ(stringByStandardizingPath(QString::fromUtf8(row.input)), QString::fromUtf8(row.expected))
            << row.input;
}

TEST(NSPathUtilitiesTest, ExpandsTheTildeAtTheVeryStart)
{
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", "/home of/me");
    EXPECT_EQ(stringByStandardizingPath(QStringLiteral("~")), QStringLiteral("/home of/me"));
    EXPECT_EQ(stringByStandardizingPath(QStringLiteral("~/a/../b")), QStringLiteral("/home of/me/b"));
    EXPECT_EQ(stringByStandardizingPath(QStringLiteral("a~")), QStringLiteral("a~"));
    qputenv("HOME", home);
}

TEST(NSPathUtilitiesTest, ExpandsAnotherUsersTilde)
{
    const passwd *root = ::getpwuid(0);
    ASSERT_NE(root, nullptr);
    const QString name = QString::fromUtf8(root->pw_name);
    const QString home = QString::fromUtf8(root->pw_dir);
    EXPECT_EQ(stringByStandardizingPath(u'~' + name + QStringLiteral("/x")), home + QStringLiteral("/x"));
    EXPECT_EQ(stringByStandardizingPath(QStringLiteral("~nobody-of-this-name/x")),
              QStringLiteral("~nobody-of-this-name/x"));
}

TEST(NSPathUtilitiesTest, RefusesTextsThatNoPathCanHold)
{
    EXPECT_FALSE(fileSystemRepresentation(QString(QChar(0))).has_value());
    EXPECT_FALSE(fileSystemRepresentation(QStringLiteral("/a") + QChar(0xd800)).has_value());
    EXPECT_EQ(fileSystemRepresentation(QStringLiteral("/\u00e9")).value(), QByteArray("/\xc3\xa9"));
}

TEST(NSPathUtilitiesTest, NeverTakesBrokenBytesForAnotherName)
{
    EXPECT_TRUE(stringWithFileSystemRepresentation("/\xff").isNull());
    EXPECT_TRUE(stringWithFileSystemRepresentation("/a\xc3").isNull());
    EXPECT_TRUE(stringWithFileSystemRepresentation("\xed\xa0\x80").isNull());
    EXPECT_EQ(stringWithFileSystemRepresentation("/\xef\xbf\xbd"), QStringLiteral("/\ufffd"));
    EXPECT_EQ(stringWithFileSystemRepresentation("\xef\xbb\xbfx"), QStringLiteral("\ufeffx"));
    EXPECT_FALSE(stringWithFileSystemRepresentation("").isNull());
}

TEST(NSPathUtilitiesTest, TakesHugePaths)
{
    const QString huge = QStringLiteral("/a").repeated(500'000);
    EXPECT_EQ(stringByStandardizingPath(huge + QStringLiteral("/")), huge);
    EXPECT_EQ(lastPathComponent(huge), QStringLiteral("a"));
    EXPECT_EQ(pathComponents(huge).size(), 500'001);
}

} // namespace
} // namespace KVBase
