#include <KVBase/KVMutableInfoPlist.h>

#include "Support/StubBundles.h"

#include <KVBase/Platform/KVNil.h>

#include <gtest/gtest.h>

#include <QtCore/QDateTime>

#include <sys/stat.h>
#include <unistd.h>

using namespace KVBase;
using namespace KVBase::Tests;

TEST(KVMutableInfoPlistTest, CommittedChangesAreThereForTheNextOne)
{
    const BundleFolder folder({{"CFBundleName", "Tool"}, {"gone", 1}});
    const QDateTime date(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC);
    const auto plist = KVMutableInfoPlist::mutableInfoPlistWithBundleAtPath(folder.path());
    EXPECT_EQ(plist->valueForKey("CFBundleName"), QVariant("Tool"));
    EXPECT_TRUE(isNil(plist->valueForKey("missing")));
    EXPECT_TRUE(isNil(plist->valueForKey(QString())));
    plist->setValue("Renamed", "CFBundleName");
    plist->setValue(7, "number");
    plist->setValue(date, "date");
    plist->setValue(QVariant(), "gone");
    EXPECT_EQ(plist->valueForKey("CFBundleName"), QVariant("Renamed"));
    EXPECT_EQ(KVMutableInfoPlist(folder.path()).valueForKey("CFBundleName"), QVariant("Tool"));
    EXPECT_TRUE(plist->commit());

    const auto again =
        KVMutableInfoPlist::mutableInfoPlistWithBundleAtURL(QUrl::fromLocalFile(folder.path()));
    EXPECT_EQ(again->valueForKey("CFBundleName"), QVariant("Renamed"));
    EXPECT_EQ(again->valueForKey("number"), QVariant(7LL));
    EXPECT_EQ(again->valueForKey("date"), QVariant(date));
    EXPECT_TRUE(isNil(again->valueForKey("gone")));

    plist->setValue(8, "number");
    EXPECT_TRUE(plist->commit());
    EXPECT_EQ(KVMutableInfoPlist(QUrl::fromLocalFile(folder.path())).valueForKey("number"), QVariant(8LL));
}

TEST(KVMutableInfoPlistTest, ChangesWithoutACommitAreDiscarded)
{
    const BundleFolder folder({{"CFBundleName", "Tool"}});
    const QByteArray before = readFile(folder.infoPath());
    {
        KVMutableInfoPlist plist(folder.path());
        plist.setValue("Other", "CFBundleName");
    }
    EXPECT_EQ(readFile(folder.infoPath()), before);
}

TEST(KVMutableInfoPlistTest, AnUnreadableFileTakesNothing)
{
    const BundleFolder broken({});
    writeFile(broken.infoPath(), "<?xml version=\"1.0\"?><plist><dict>");
    const BundleFolder array({});
    NSPropertyListSerialization::writeToFile(QVariantList{1}, array.infoPath());
    for (const QString &path :
         {broken.path(), array.path(), QStringLiteral("/nowhere"), QStringLiteral(""), QString()}) {
        KVMutableInfoPlist plist(path);
        plist.setValue("value", "key");
        EXPECT_TRUE(isNil(plist.valueForKey("key")));
        EXPECT_FALSE(plist.commit());
    }
    KVMutableInfoPlist nil{QUrl()};
    EXPECT_FALSE(nil.commit());
    EXPECT_EQ(readFile(broken.infoPath()), "<?xml version=\"1.0\"?><plist><dict>");
}

TEST(KVMutableInfoPlistTest, ABinaryFileStaysBinaryAndAnyOtherBecomesXML)
{
    const BundleFolder folder({});
    const QVariantMap info{{"CFBundleName", "Tool"}};
    writeFile(folder.infoPath(), *NSPropertyListSerialization::dataFromPropertyList(
                                     info, NSPropertyListFormat::Binary, nullptr));
    KVMutableInfoPlist binary(folder.path());
    binary.setValue("x", "y");
    EXPECT_TRUE(binary.commit());
    EXPECT_TRUE(readFile(folder.infoPath()).startsWith("bplist00"));
    EXPECT_EQ(KVMutableInfoPlist(folder.path()).valueForKey("y"), QVariant("x"));

    writeFile(folder.infoPath(), "{ CFBundleName = Old; }");
    KVMutableInfoPlist old(folder.path());
    EXPECT_EQ(old.valueForKey("CFBundleName"), QVariant("Old"));
    EXPECT_TRUE(old.commit());
    EXPECT_TRUE(readFile(folder.infoPath()).startsWith("<?xml"));
}

TEST(KVMutableInfoPlistTest, AValueThatNoListHoldsLeavesTheFileAlone)
{
    const BundleFolder folder({{"CFBundleName", "Tool"}});
    const QByteArray before = readFile(folder.infoPath());
    KVMutableInfoPlist plist(folder.path());
    plist.setValue(QUrl(QStringLiteral("http://x")), "url");
    EXPECT_FALSE(plist.commit());
    EXPECT_EQ(readFile(folder.infoPath()), before);
    plist.setValue(QString(), "url");
    EXPECT_TRUE(plist.commit());
}

TEST(KVMutableInfoPlistTest, PermissionsAndLinksAreKept)
{
    const BundleFolder folder({{"CFBundleName", "Tool"}});
    const QString target = folder.path() + QStringLiteral("/Contents/real.plist");
    ASSERT_TRUE(QFile::rename(folder.infoPath(), target));
    ASSERT_TRUE(QFile::link(target, folder.infoPath()));
    ::chmod(QFile::encodeName(target).constData(), 0640);
    KVMutableInfoPlist plist(folder.path());
    plist.setValue("Renamed", "CFBundleName");
    EXPECT_TRUE(plist.commit());
    EXPECT_TRUE(QFileInfo(folder.infoPath()).isSymLink());
    EXPECT_EQ(NSPropertyListSerialization::dictionaryWithContentsOfFile(target)->value("CFBundleName"),
              QVariant("Renamed"));
    struct stat status = {};
    ::stat(QFile::encodeName(target).constData(), &status);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0640});
    EXPECT_EQ(QDir(folder.path() + QStringLiteral("/Contents"))
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              (QStringList{"Info.plist", "real.plist"}));
}
