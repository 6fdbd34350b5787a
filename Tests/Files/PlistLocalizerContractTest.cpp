#include <KVBase/KVPlistLocalizer.h>
#include <KVBase/Platform/KVNil.h>

#include "Support/StubBundles.h"

#include <QtCore/QDateTime>
#include <QtCore/QUrl>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

class KVPlistLocalizerTreeTest : public testing::Test {
protected:
    KVPlistLocalizerTreeTest() : folder({{"CFBundleIdentifier", "com.kelvo.presets"}})
    {
        folder.addResource("Presets.strings",
                           "\"Hello\" = \"Hallo\"; \"World\" = \"Welt\"; \"5\" = \"five\";"
                           "\"Blank\" = \"\"; \"Hallo\" = \"twice\"; \"true\" = \"wahr\";");
        folder.addResource("Localizable.strings", "\"Hello\" = \"from the default table\";");
        bundle = folder.bundle();
    }

    QVariant localized(const QVariant &plist) const
    {
        return KVPlistLocalizer::localizePlist(plist, "Presets", bundle);
    }

    BundleFolder folder;
    Ref<NSBundle> bundle;
};

TEST_F(KVPlistLocalizerTreeTest, StringsAreKeysOfTheTable)
{
    EXPECT_EQ(KVPlistLocalizer::localizeString("Hello", "Presets", bundle), "Hallo");
    EXPECT_EQ(KVPlistLocalizer::localizeString("Unknown", "Presets", bundle), "Unknown");
    EXPECT_EQ(KVPlistLocalizer::localizeString("hello", "Presets", bundle), "hello");
    EXPECT_EQ(KVPlistLocalizer::localizeString("Hello", "No such table", bundle), "Hello");
    EXPECT_EQ(KVPlistLocalizer::localizeString("Hello", QString(), bundle), "from the default table");
    EXPECT_EQ(KVPlistLocalizer::localizeString("Hello", "Presets", nullptr), "Hello");
    EXPECT_EQ(KVPlistLocalizer::localizeString("", "Presets", bundle), "");
    EXPECT_FALSE(isNil(KVPlistLocalizer::localizeString("", "Presets", bundle)));
    EXPECT_EQ(KVPlistLocalizer::localizeString("Blank", "Presets", bundle), "");
}

TEST_F(KVPlistLocalizerTreeTest, OtherLeavesStayWhatTheyAre)
{
    QObject object;
    for (const QVariant &leaf :
         {QVariant(5), QVariant(qlonglong(5)), QVariant(5.0), QVariant(true), QVariant(QByteArray("Hello")),
          QVariant(QUrl(QStringLiteral("Hello"))), QVariant(QDateTime({2009, 8, 28}, {1, 2, 3}, Qt::UTC)),
          QVariant::fromValue(&object), QVariant()}) {
        EXPECT_EQ(localized(leaf), leaf);
        EXPECT_EQ(localized(leaf).typeId(), leaf.typeId());
        const QVariant inList = localized(QVariantList{leaf}).toList().at(0);
        EXPECT_EQ(inList, leaf);
        EXPECT_EQ(inList.typeId(), leaf.typeId());
        const QVariant inMap = localized(QVariantMap{{"Hello", leaf}}).toMap().value("Hello");
        EXPECT_EQ(inMap, leaf);
        EXPECT_EQ(inMap.typeId(), leaf.typeId());
    }
}

TEST_F(KVPlistLocalizerTreeTest, EveryDepthIsTranslatedAndTheInputKept)
{
    const QVariantList input{
        QVariantMap{
            {"World", QVariantList{"Hello", QVariantMap{{"Hello", "World"}, {"n", 5}}, QVariantList{}}},
            {"map", QVariantMap{}}},
        "Hello", "Hallo"};
    const QVariantList before = input;
    const QVariantList expected{
        QVariantMap{
            {"World", QVariantList{"Hallo", QVariantMap{{"Hello", "Welt"}, {"n", 5}}, QVariantList{}}},
            {"map", QVariantMap{}}},
        "Hallo", "twice"};
    EXPECT_EQ(KVPlistLocalizer::localizeArray(input, "Presets", bundle), expected);
    EXPECT_EQ(localized(input), QVariant(expected));
    EXPECT_EQ(input, before);
}

TEST_F(KVPlistLocalizerTreeTest, EmptyContainersStayContainers)
{
    EXPECT_TRUE(KVPlistLocalizer::localizeArray({}, "Presets", bundle).isEmpty());
    EXPECT_TRUE(KVPlistLocalizer::localizeDictionary({}, "Presets", bundle).isEmpty());
    EXPECT_EQ(localized(QVariantList{}).typeId(), QMetaType::QVariantList);
    EXPECT_EQ(localized(QVariantMap{}).typeId(), QMetaType::QVariantMap);
}

TEST_F(KVPlistLocalizerTreeTest, DictionaryKeysAreNeverTranslated)
{
    const QVariantMap result = KVPlistLocalizer::localizeDictionary(
        {{"Hello", "Hello"}, {"World", 5}, {"", "World"}, {"Blank", "Blank"}}, "Presets", bundle);
    EXPECT_EQ(result, (QVariantMap{{"Hello", "Hallo"}, {"World", 5}, {"", "Welt"}, {"Blank", ""}}));
}

TEST_F(KVPlistLocalizerTreeTest, WithoutABundleNothingIsTranslated)
{
    const QVariantMap input{{"a", QVariantList{"Hello", 5}}, {"b", "World"}};
    EXPECT_EQ(KVPlistLocalizer::localizeDictionary(input, "Presets", nullptr), input);
    EXPECT_EQ(KVPlistLocalizer::localizePlist(input, QString(), nullptr), QVariant(input));
}

} // namespace
} // namespace KVBase
