#include <KVBase/KVMutableInfoPlist.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

#include "Support/FileFixtures.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

class KVInfoPlistEditingTest : public testing::Test {
protected:
    KVInfoPlistEditingTest() : folder(freshFolder()), bundle(folder + "/A b#%20?ü.app")
    {
        putFolder(bundle + "/Contents");
        plist = bundle + "/Contents/Info.plist";
    }

    void put(const QVariant &content, NSPropertyListFormat format = NSPropertyListFormat::XML) const
    {
        putFile(plist, NSPropertyListSerialization::dataFromPropertyList(content, format, nullptr).value());
    }

    static std::uint32_t modeOf(const QString &path)
    {
        struct stat status = {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        return status.st_mode;
    }

    void expectUnreadable() const
    {
        const QByteArray before = contentOf(plist);
        KVMutableInfoPlist editor(bundle);
        EXPECT_TRUE(isNil(editor.valueForKey("Key")));
        editor.setValue(5, "Key");
        EXPECT_TRUE(isNil(editor.valueForKey("Key"))) << "setting does nothing";
        EXPECT_FALSE(editor.commit());
        EXPECT_EQ(contentOf(plist), before);
    }

    QString folder;
    QString bundle;
    QString plist;
};

TEST_F(KVInfoPlistEditingTest, FurtherChangesAndCommitsAreAllowed)
{
    put(QVariantMap{});
    KVMutableInfoPlist editor(QUrl::fromLocalFile(bundle));
    editor.setValue(1, "A");
    EXPECT_TRUE(editor.commit());
    editor.setValue(2, "B");
    EXPECT_TRUE(editor.commit());
    EXPECT_EQ(NSPropertyListSerialization::dictionaryWithContentsOfFile(plist),
              (QVariantMap{{"A", qlonglong(1)}, {"B", qlonglong(2)}}));
    ASSERT_TRUE(QFile::remove(plist));
    EXPECT_TRUE(editor.commit()) << "the file is written whole, whether it was there or not";
    EXPECT_TRUE(QFileInfo::exists(plist));
}

TEST_F(KVInfoPlistEditingTest, TwoEditorsOverwriteEachOther)
{
    put(QVariantMap{});
    KVMutableInfoPlist first(bundle);
    KVMutableInfoPlist second(bundle);
    first.setValue(true, "First");
    second.setValue(true, "Second");
    EXPECT_TRUE(first.commit());
    EXPECT_TRUE(second.commit());
    EXPECT_EQ(NSPropertyListSerialization::dictionaryWithContentsOfFile(plist),
              (QVariantMap{{"Second", true}}));
}

TEST_F(KVInfoPlistEditingTest, KeysArePlainTexts)
{
    put(QVariantMap{{"A", QVariantMap{{"b", "inner"}}}, {"A.b", "outer"}});
    KVMutableInfoPlist editor(bundle);
    EXPECT_EQ(editor.valueForKey("A.b"), QVariant(QString("outer")));
    EXPECT_TRUE(isNil(editor.valueForKey("a")));
    EXPECT_TRUE(isNil(editor.valueForKey(QString())));
    editor.setValue("new", "A.c");
    EXPECT_EQ(editor.valueForKey("A"), QVariant(QVariantMap{{"b", "inner"}}));
    EXPECT_TRUE(editor.commit());
}

TEST_F(KVInfoPlistEditingTest, ValuesKeepTheirTypesInBothFormats)
{
    const QVariantMap values{{"text", "a\nb"},
                             {"empty", ""},
                             {"yes", true},
                             {"no", false},
                             {"integer", qlonglong(-5)},
                             {"large", qlonglong(9007199254740993)},
                             {"fraction", 0.1},
                             {"data", QByteArray("\0\xff", 2)},
                             {"date", QDateTime({2009, 8, 28}, {1, 2, 3}, Qt::UTC)},
                             {"list", QVariantList{qlonglong(1), "x", QVariantMap{{"k", false}}}}};
    for (const NSPropertyListFormat format : {NSPropertyListFormat::XML, NSPropertyListFormat::Binary}) {
        put(QVariantMap{{"start", "x"}}, format);
        KVMutableInfoPlist editor(bundle);
        for (auto value = values.begin(); value != values.end(); ++value)
            editor.setValue(value.value(), value.key());
        ASSERT_TRUE(editor.commit());
        const KVMutableInfoPlist again(bundle);
        for (auto value = values.begin(); value != values.end(); ++value) {
            EXPECT_EQ(again.valueForKey(value.key()).typeId(), value.value().typeId())
                << value.key().toStdString();
            EXPECT_EQ(again.valueForKey(value.key()), value.value()) << value.key().toStdString();
        }
        EXPECT_EQ(contentOf(plist).startsWith("bplist00"), format == NSPropertyListFormat::Binary)
            << "a binary file stays binary";
        EXPECT_EQ(contentOf(plist).startsWith("<?xml"), format == NSPropertyListFormat::XML);
    }
}

TEST_F(KVInfoPlistEditingTest, UnreadableFilesHaveNoValues)
{
    expectUnreadable();
    EXPECT_FALSE(QFileInfo::exists(plist)) << "and none is made";
    for (const QByteArray &content :
         {QByteArray(""), QByteArray("<?xml version=\"1.0\"?><plist><dict><key>Key</key>"),
          QByteArray("bplist00\0\0", 10), QByteArray("no list at all")}) {
        putFile(plist, content);
        expectUnreadable();
    }
    put(QVariantList{"Key", "value"});
    expectUnreadable();
    put(QString("Key"));
    expectUnreadable();
}

TEST_F(KVInfoPlistEditingTest, AFileThatAppearsLaterIsNotWritten)
{
    KVMutableInfoPlist editor(bundle);
    put(QVariantMap{{"Key", "x"}});
    const QByteArray before = contentOf(plist);
    EXPECT_FALSE(editor.commit());
    EXPECT_EQ(contentOf(plist), before);
}

TEST_F(KVInfoPlistEditingTest, AValueThatNoListCanHoldFailsTheCommit)
{
    put(QVariantMap{{"Key", "old"}});
    const QByteArray before = contentOf(plist);
    QObject object;
    for (const QVariant &value : {QVariant::fromValue(&object), QVariant(QVariantList{1, QVariant()})}) {
        KVMutableInfoPlist editor(bundle);
        editor.setValue(value, "Bad");
        EXPECT_FALSE(editor.commit());
        EXPECT_EQ(contentOf(plist), before);
        EXPECT_EQ(namesIn(bundle + "/Contents"), QStringList{"Info.plist"});
    }
}

TEST_F(KVInfoPlistEditingTest, AFailedWriteAnswersNoAndLeavesNothing)
{
    put(QVariantMap{{"Key", "old"}});
    KVMutableInfoPlist editor(bundle);
    ASSERT_TRUE(QFile::remove(plist));
    putFolder(plist);
    EXPECT_FALSE(editor.commit());
    EXPECT_EQ(namesIn(bundle + "/Contents"), QStringList{"Info.plist"});
    ASSERT_EQ(::rmdir(QFile::encodeName(plist).constData()), 0);
    ASSERT_EQ(::rmdir(QFile::encodeName(bundle + "/Contents").constData()), 0);
    EXPECT_FALSE(editor.commit());
    EXPECT_FALSE(QFileInfo::exists(bundle + "/Contents"));
}

TEST(KVMutableInfoPlistArgumentTest, NoBundleIsNoList)
{
    for (const Ref<KVMutableInfoPlist> &editor :
         {KVMutableInfoPlist::mutableInfoPlistWithBundleAtPath(QString()),
          KVMutableInfoPlist::mutableInfoPlistWithBundleAtPath("/no/such/bundle.app"),
          KVMutableInfoPlist::mutableInfoPlistWithBundleAtURL(QUrl()),
          KVMutableInfoPlist::mutableInfoPlistWithBundleAtURL(
              QUrl(QStringLiteral("http://example.com/x.app")))}) {
        ASSERT_NE(editor, nullptr);
        EXPECT_TRUE(isNil(editor->valueForKey("CFBundleName")));
        editor->setValue(1, "Key");
        EXPECT_FALSE(editor->commit());
    }
}

} // namespace
} // namespace KVBase
