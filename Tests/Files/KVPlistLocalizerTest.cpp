#include <KVBase/KVPlistLocalizer.h>

#include "Support/StubBundles.h"

#include <gtest/gtest.h>

#include <QtCore/QDateTime>

using namespace KVBase;
using namespace KVBase::Tests;

class KVPlistLocalizerTest : public testing::Test {
protected:
    KVPlistLocalizerTest() : folder({})
    {
        folder.addResource("en.lproj/T.strings",
                           "hello = hallo; key = Schluessel; blank = \"\"; \"\" = \"from empty\";");
        folder.addResource("en.lproj/Localizable.strings", "hello = \"default hallo\";");
        bundle = folder.bundle();
    }

    QVariant localized(const QVariant &plist) const
    {
        return KVPlistLocalizer::localizePlist(plist, "T", bundle);
    }

    BundleFolder folder;
    Ref<NSBundle> bundle;
};

TEST_F(KVPlistLocalizerTest, DispatchesOnTheKind)
{
    const QDateTime date(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC);
    const struct {
        QVariant value;
        QVariant expected;
    } rows[] = {
        {"hello", "hallo"},
        {"unknown", "unknown"},
        {"blank", ""},
        {"", "from empty"},
        {7LL, 7LL},
        {1.5, 1.5},
        {true, true},
        {QByteArray("hello"), QByteArray("hello")},
        {date, date},
        {QVariant(), QVariant()},
        {QVariantList{}, QVariantList{}},
        {QVariantMap{}, QVariantMap{}},
        {QVariantList{"hello", 1LL, "hello", "x"}, QVariantList{"hallo", 1LL, "hallo", "x"}},
        {QStringList{"hello", "x"}, QVariantList{"hallo", "x"}},
        {QVariantMap{{"key", "key"}, {"hello", 2LL}}, QVariantMap{{"key", "Schluessel"}, {"hello", 2LL}}},
        {QVariantList{QVariantMap{{"hello", QVariantList{QVariantMap{{"k", "hello"}}, "hello"}}},
                      QVariantList{}},
         QVariantList{QVariantMap{{"hello", QVariantList{QVariantMap{{"k", "hallo"}}, "hallo"}}},
                      QVariantList{}}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(localized(row.value), row.expected);
        EXPECT_EQ(localized(row.value).typeId(), row.expected.typeId());
    }
}

TEST_F(KVPlistLocalizerTest, EachKindHasItsOwnDoor)
{
    EXPECT_EQ(KVPlistLocalizer::localizeArray({"hello", 1LL}, "T", bundle), (QVariantList{"hallo", 1LL}));
    EXPECT_EQ(KVPlistLocalizer::localizeDictionary({{"hello", "hello"}}, "T", bundle),
              (QVariantMap{{"hello", "hallo"}}));
    EXPECT_EQ(KVPlistLocalizer::localizeString("hello", "T", bundle), QStringLiteral("hallo"));
    EXPECT_EQ(KVPlistLocalizer::localizeString("unknown", "T", bundle), QStringLiteral("unknown"));
    EXPECT_TRUE(KVPlistLocalizer::localizeString(QString(), "T", bundle).isNull());
    EXPECT_EQ(KVPlistLocalizer::localizeArray({}, "T", bundle), QVariantList());
    EXPECT_EQ(KVPlistLocalizer::localizeDictionary({}, "T", bundle), QVariantMap());
}

TEST_F(KVPlistLocalizerTest, TheInputStaysAsItWas)
{
    const QVariantList input{QVariantMap{{"k", "hello"}}};
    const QVariantList copy = input;
    KVPlistLocalizer::localizeArray(input, "T", bundle);
    EXPECT_EQ(input, copy);
}

TEST_F(KVPlistLocalizerTest, NilTableIsTheDefaultOneAndNilBundleTranslatesNothing)
{
    EXPECT_EQ(KVPlistLocalizer::localizeString("hello", QString(), bundle), QStringLiteral("default hallo"));
    EXPECT_EQ(KVPlistLocalizer::localizeArray({"hello"}, QString(), bundle), QVariantList{"default hallo"});
    EXPECT_EQ(KVPlistLocalizer::localizeArray({"hello"}, "Missing", bundle), QVariantList{"hello"});
    EXPECT_EQ(KVPlistLocalizer::localizePlist(QVariantList{"hello"}, "T", nullptr),
              QVariant(QVariantList{"hello"}));
    EXPECT_EQ(KVPlistLocalizer::localizePlist(QVariantMap{{"k", "hello"}}, "T", nullptr),
              QVariant(QVariantMap{{"k", "hello"}}));
    EXPECT_EQ(KVPlistLocalizer::localizeString("hello", "T", nullptr), QStringLiteral("hello"));
}

TEST_F(KVPlistLocalizerTest, TenThousandLevelsDeep)
{
    QVariant deep = QStringLiteral("hello");
    for (int level = 0; level < 10000; ++level) {
        if (level % 2 == 0)
            deep = QVariantList{deep};
        else
            deep = QVariantMap{{"hello", deep}};
    }
    QVariant walk = localized(deep);
    for (int level = 9999; level >= 0; --level) {
        const QVariant inner = level % 2 == 0 ? walk.toList().value(0) : walk.toMap().value("hello");
        walk = inner;
    }
    EXPECT_EQ(walk, QVariant("hallo"));
}

TEST_F(KVPlistLocalizerTest, OrderAndLengthAreKept)
{
    QVariantList input;
    QVariantList expected;
    for (qlonglong number = 0; number < 5000; ++number) {
        input << number << "hello" << QStringLiteral("text %1").arg(number);
        expected << number << "hallo" << QStringLiteral("text %1").arg(number);
    }
    EXPECT_EQ(KVPlistLocalizer::localizeArray(input, "T", bundle), expected);
}
