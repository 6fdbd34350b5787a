#include <KVBase/KVPathUtils.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/UPath.h>

#include "Support/FileFixtures.h"

#include <QtCore/QDir>

#include <gtest/gtest.h>

#include <pwd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString nil;

struct Joined {
    const char *description;
    QString base;
    QString relative;
    QString result;
};

class KVPathJoining : public testing::TestWithParam<Joined> {};

TEST_P(KVPathJoining, YieldsTheStandardisedPath)
{
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath(GetParam().base, GetParam().relative), GetParam().result);
    EXPECT_EQ(UPath::GetAbsolutePath(GetParam().base, GetParam().relative), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, KVPathJoining,
    testing::Values(Joined{"a sibling", "/a/b", "../c", "/a/c"}, Joined{"a child", "/a/b", "c", "/a/b/c"},
                    Joined{"an absolute relative path is appended all the same", "/a/b", "/c", "/a/b/c"},
                    Joined{"a base that ends in a separator", "/a/b/", "c", "/a/b/c"},
                    Joined{"the root as base", "/", "a", "/a"},
                    Joined{"single points", "/a/./b", "./c/.", "/a/b/c"},
                    Joined{"doubled separators", "/a//b", "c//d", "/a/b/c/d"},
                    Joined{"a trailing separator", "/a", "b/", "/a/b"},
                    Joined{"past the root", "/a", "../../../b", "/b"},
                    Joined{"up to the root", "/a", "..", "/"},
                    Joined{"a tilde that does not begin the path", "/a", "~/b", "/a/~/b"},
                    Joined{"an empty relative path", "/a/b", "", "/a/b"},
                    Joined{"three points are a name", "/a", "...", "/a/..."},
                    Joined{"names that begin with points", "/a", "..b/.c", "/a/..b/.c"},
                    Joined{"line breaks and blanks", "/a b", "c\nd", "/a b/c\nd"}));

TEST(KVPathJoiningSpecialTest, TheTildeIsTheHomeFolder)
{
    const QString home = QString::fromLocal8Bit(qgetenv("HOME"));
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath("~", "x"), home + "/x");
    EXPECT_EQ(UPath::GetAbsolutePath("~/y", "x"), home + "/y/x");
    EXPECT_EQ(UPath::GetAbsolutePath("~root", "x"),
              QString::fromLocal8Bit(::getpwnam("root")->pw_dir) + "/x");
    EXPECT_EQ(UPath::GetAbsolutePath("~no-such-user-here", "x"), "~no-such-user-here/x");
}

TEST(KVPathJoiningSpecialTest, NilStaysNil)
{
    EXPECT_TRUE(isNil(KVPathUtils::absolutePathWithBasePath(nil, "x")));
    EXPECT_TRUE(isNil(UPath::GetAbsolutePath(nil, "x")));
    EXPECT_TRUE(isNil(UPath::GetAbsolutePath(nil, nil)));
    EXPECT_EQ(KVPathUtils::absolutePathWithBasePath("/a", nil), UPath::GetAbsolutePath("/a", nil));
}

TEST(KVPathJoiningSpecialTest, AMegabyteOfPathIsJoined)
{
    const QString longBase = "/" + QString(1'000'000, u'a');
    EXPECT_EQ(UPath::GetAbsolutePath(longBase, "../b"), "/b");
    EXPECT_EQ(UPath::GetAbsolutePath("/" + QString("x/").repeated(300'000), QString("../").repeated(299'999)),
              "/x");
}

struct Cut {
    const char *description;
    QString base;
    QString absolute;
    QString result;
};

class KVPathRelative : public testing::TestWithParam<Cut> {};

TEST_P(KVPathRelative, IsPlainStringArithmetic)
{
    const QString result = KVPathUtils::relativePathWithBasePath(GetParam().base, GetParam().absolute);
    EXPECT_EQ(result, GetParam().result);
    EXPECT_EQ(result.isNull(), GetParam().result.isNull());
    const QString twin = UPath::GetRelativePath(GetParam().base, GetParam().absolute);
    EXPECT_EQ(twin, GetParam().result);
    EXPECT_EQ(twin.isNull(), GetParam().result.isNull());
}

INSTANTIATE_TEST_SUITE_P(
    Paths, KVPathRelative,
    testing::Values(Cut{"inside", "/a/b", "/a/b/c/d", "c/d"}, Cut{"elsewhere", "/x", "/a/b", nil},
                    Cut{"no component boundary", "/a/b", "/a/bc/d", "/d"},
                    Cut{"a base with a separator at its end", "/a/b/", "/a/b/c/d", "/d"},
                    Cut{"the base itself", "/a/b", "/a/b", ""},
                    Cut{"the base and a separator", "/a/b", "/a/b/", ""},
                    Cut{"one character more than the base", "/a/b", "/a/bc", ""},
                    Cut{"the root", "/", "/a/b", "/b"}, Cut{"an empty base", "", "/a/b", "a/b"},
                    Cut{"both empty", "", "", ""}, Cut{"an empty path", "/a", "", nil},
                    Cut{"a base longer than the path", "/a/b/c", "/a/b", nil},
                    Cut{"another case", "/A/b", "/a/b/c", nil}, Cut{"nil base", nil, "/a", nil},
                    Cut{"nil path", "/a", nil, nil}, Cut{"nil and nil", nil, nil, nil},
                    Cut{"the separator is not inspected", "/a/b", "/a/bXYZ", "YZ"},
                    Cut{"points are not resolved", "/a", "/a/../b", "../b"},
                    Cut{"decomposed letters are other letters", QStringLiteral("/\u00e9"),
                        QStringLiteral("/e\u0301/x"), nil}));

TEST(KVPathKindTest, ALeadingSeparatorDecides)
{
    for (const char *path : {"/", "/a", "//a", "/a/..", "/ "}) {
        EXPECT_TRUE(KVPathUtils::isAbsolutePath(path) && UPath::IsAbsolutePath(path)) << path;
        EXPECT_FALSE(KVPathUtils::isRelativePath(path) || UPath::IsRelativePath(path)) << path;
    }
    for (const char *path : {"", "a", "a/b", "./a", "../a", " /a", "~", "~/a"}) {
        EXPECT_FALSE(KVPathUtils::isAbsolutePath(path) || UPath::IsAbsolutePath(path)) << path;
        EXPECT_TRUE(KVPathUtils::isRelativePath(path) && UPath::IsRelativePath(path)) << path;
    }
}

TEST(KVPathKindTest, AnythingThatCanBeReachedExists)
{
    const QString folder = freshFolder();
    putFile(folder + "/file", "x");
    putLink(folder + "/link", folder + "/file");
    putLink(folder + "/dangling", folder + "/nothing");
    putLink(folder + "/loop", folder + "/loop");
    for (const QString &there : {folder, folder + "/", folder + "/file", folder + "/link", QString("/")})
        EXPECT_TRUE(KVPathUtils::fileExists(there) && UPath::FileExists(there)) << there.toStdString();
    for (const QString &missing :
         {folder + "/dangling", folder + "/loop", folder + "/nothing", QString(""), folder + "/file/x",
          QString(folder + "/file") + QChar(0) + "x", folder + "/" + QString(1'000'000, u'n')})
        EXPECT_FALSE(KVPathUtils::fileExists(missing) || UPath::FileExists(missing))
            << missing.left(300).toStdString();
}

struct Name {
    QString name;
    QString cleaned;
};

class KVPathNames : public testing::TestWithParam<Name> {};

TEST_P(KVPathNames, AreCleanedAlikeByBothFunctions)
{
    EXPECT_EQ(UPath::ReplaceIllegalCharactersInFilename(GetParam().name), GetParam().cleaned);
    EXPECT_EQ(UPath::ReplacePathDelimitersInFileName(GetParam().name), GetParam().cleaned);
}

INSTANTIATE_TEST_SUITE_P(
    Names, KVPathNames,
    testing::Values(Name{"a/b:c\\d", "a-b-c-d"}, Name{"", ""}, Name{"/:\\", "---"},
                    Name{"//::\\\\", "------"}, Name{"plain.txt", "plain.txt"}, Name{"-a-", "-a-"},
                    Name{"..", ".."}, Name{"a\nb\t*?\"<>|", "a\nb\t*?\"<>|"},
                    Name{QStringLiteral("\u2215\uFF0F\uFF1A\u29F5"),
                         QStringLiteral("\u2215\uFF0F\uFF1A\u29F5")},
                    Name{QStringLiteral("e\u0301/\U0001F600:"), QStringLiteral("e\u0301-\U0001F600-")}));

TEST(KVPathNamesSpecialTest, NilStaysNilAndTheLengthNeverChanges)
{
    EXPECT_TRUE(isNil(UPath::ReplaceIllegalCharactersInFilename(nil)));
    EXPECT_TRUE(isNil(UPath::ReplacePathDelimitersInFileName(nil)));
    EXPECT_FALSE(isNil(UPath::ReplaceIllegalCharactersInFilename("")));
    EXPECT_FALSE(isNil(UPath::ReplacePathDelimitersInFileName("")));
    const QString name = QString("a/").repeated(500'000);
    EXPECT_EQ(UPath::ReplacePathDelimitersInFileName(name), QString("a-").repeated(500'000));
    const QString withNul = QString("a/") + QChar(0) + ":b";
    EXPECT_EQ(UPath::ReplaceIllegalCharactersInFilename(withNul), QString("a-") + QChar(0) + "-b");
}

} // namespace
} // namespace KVBase
