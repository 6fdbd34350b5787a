#include <KVBase/KVAffixes.h>
#include <KVBase/KVComparison.h>
#include <KVBase/Ptr.h>
#include <KVBase/UUID.h>

#include <gtest/gtest.h>

#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>

#include <cstdint>
#include <vector>

namespace KVBase
{
namespace
{

struct SuffixRow {
    const char *text;
    QStringList suffixes;
    const char *result;
};

TEST(KVAffixesTest, RemovesTheFirstSuffixThatMatches)
{
    const SuffixRow rows[] = {
        {"report.txt", {".txt", ".text"}, "report"},
        {"report.txt", {".text", ".txt"}, "report"},
        {"report.txt", {".TXT"}, "report.txt"},
        {"boxes", {"s", "es"}, "boxe"},
        {"boxes", {"es", "s"}, "box"},
        {"boxes", {"", "es"}, "boxes"},
        {"boxes", {"x", "", "es"}, "boxes"},
        {"boxes", {}, "boxes"},
        {"a.txt.txt", {".txt"}, "a.txt"},
        {"txt", {"txt"}, ""},
        {"t", {"txt"}, "t"},
        {"", {"x"}, ""},
        {"", {""}, ""},
    };
    for (const SuffixRow &row : rows) {
        const QString result =
            KVAffixes::stringByRemovingFirstSuffixFromArray(QString::fromUtf8(row.text), row.suffixes);
        EXPECT_EQ(result.toStdString(), row.result) << row.text;
        EXPECT_FALSE(result.isNull());
    }
}

TEST(KVAffixesTest, AnswersNilForNil)
{
    EXPECT_TRUE(KVAffixes::stringByRemovingFirstSuffixFromArray(QString(), {QStringLiteral("x")}).isNull());
    EXPECT_TRUE(KVAffixes::stringByRemovingFirstSuffixFromArray(QString(), {QStringLiteral("")}).isNull());
    EXPECT_TRUE(KVAffixes::stringByRemovingFirstSuffixFromArray(QString(), {}).isNull());
}

TEST(KVAffixesTest, ASuffixIsComparedUnitByUnit)
{
    const auto cut = [](const char *text, const char *suffix) {
        return KVAffixes::stringByRemovingFirstSuffixFromArray(QString::fromUtf8(text),
                                                               {QString::fromUtf8(suffix)});
    };
    EXPECT_EQ(cut("Größe", "ße"), QStringLiteral("Grö"));
    EXPECT_EQ(cut("cafe\u0301", "\u00e9"), QStringLiteral("cafe\u0301"));
    EXPECT_EQ(cut("straße", "sse"), QStringLiteral("straße"));
    EXPECT_EQ(cut("a😀b", "😀b"), QStringLiteral("a"));
}

std::int32_t compareNames(const QString &a, const QString &b)
{
    return KVComparison::caseInsensitiveNumericCompare(a, b);
}

TEST(KVComparisonTest, OrdersNamesAsAUserDoes)
{
    const char *const pairs[][2] = {
        {"file9", "file10"},
        {"Item 2", "item 10"},
        {"item 2", "Item 10"},
        {"a", "B"},
        {"A", "b"},
        {"Zebra", "zebras"},
        {"x99999999999999999999", "x100000000000000000000"},
        {"a1b2", "a1b10"},
        {"", "a"},
        {"007", "8"},
        {"A", "a"},
        {"007", "7"},
        {"a2", "\xef\xbd\x81"
               "3"},
        {"resume", "r\xc3\xa9sum\xc3\xa9"},
    };
    for (const auto &pair : pairs) {
        const QString first = QString::fromUtf8(pair[0]);
        const QString second = QString::fromUtf8(pair[1]);
        EXPECT_EQ(compareNames(first, second), -1) << pair[0] << ' ' << pair[1];
        EXPECT_EQ(compareNames(second, first), 1) << pair[0] << ' ' << pair[1];
    }
}

TEST(KVComparisonTest, IsZeroForEqualTextsOnly)
{
    EXPECT_EQ(compareNames(QStringLiteral("Name 1"), QStringLiteral("Name 1")), 0);
    EXPECT_EQ(compareNames(QStringLiteral(""), QStringLiteral("")), 0);
    EXPECT_NE(compareNames(QStringLiteral("a"), QStringLiteral("A")), 0);
    // The full-width form differs in width alone; a control character is nothing to a collator.
    EXPECT_NE(compareNames(QStringLiteral("a"), QStringLiteral(u"\uff41")), 0);
    EXPECT_NE(compareNames(QStringLiteral("a"), QStringLiteral("a\x01")), 0);
    EXPECT_NE(compareNames(QStringLiteral("a") + QChar(0), QStringLiteral("a")), 0);
}

TEST(KVComparisonTest, AnswersZeroForANilReceiver)
{
    EXPECT_EQ(compareNames(QString(), QStringLiteral("a")), 0);
    EXPECT_EQ(compareNames(QString(), QString()), 0);
    EXPECT_EQ(compareNames(QStringLiteral("a"), QString()), 1);
    EXPECT_EQ(compareNames(QStringLiteral(""), QString()), 1);
}

TEST(KVComparisonTest, IsATotalOrder)
{
    std::vector<QString> names;
    for (const char *text : {"",
                             "0",
                             "00",
                             "1",
                             "01",
                             "001",
                             "10",
                             "9",
                             "a",
                             "A",
                             "a1",
                             "A01",
                             "a10",
                             "a9",
                             "\xc3\xa4",
                             "a\xcc\x88",
                             "b",
                             "B1",
                             "\xef\xbd\x81",
                             "\xef\xbc\x91",
                             "-1",
                             " 1",
                             "a-1",
                             "a.1",
                             "\xe3\x81\x82",
                             "\xe3\x82\xa2",
                             "99999999999999999999",
                             "099999999999999999999",
                             "100000000000000000000"})
        names.push_back(QString::fromUtf8(text));
    names.push_back(QString(QChar(0xd800)));
    names.push_back(QString(QChar(0)));
    for (const QString &a : names) {
        for (const QString &b : names) {
            const std::int32_t order = compareNames(a, b);
            EXPECT_EQ(order, -compareNames(b, a));
            EXPECT_EQ(order == 0, a == b);
            for (const QString &c : names) {
                if (order < 0 && compareNames(b, c) < 0) {
                    EXPECT_EQ(compareNames(a, c), -1);
                }
            }
        }
    }
}

TEST(KVComparisonTest, FollowsTheCurrentLocale)
{
    const QLocale previous;
    const QString zebra = QStringLiteral("zebra");
    const QString aRing = QStringLiteral(u"\u00e5ngstr\u00f6m");
    QLocale::setDefault(QLocale(QLocale::Swedish, QLocale::Sweden));
    EXPECT_EQ(compareNames(aRing, zebra), 1);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(compareNames(aRing, zebra), -1);
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(compareNames(QStringLiteral("file9"), QStringLiteral("FILE10")), -1);
    QLocale::setDefault(previous);
}

TEST(PtrTest, WritesAddresses)
{
    EXPECT_EQ(Ptr::stringWithPtr(nullptr), QStringLiteral("0x0"));
    EXPECT_EQ(Ptr::stringWithPtr(reinterpret_cast<void *>(std::uintptr_t{0x1f})), QStringLiteral("0x1f"));
    EXPECT_EQ(Ptr::stringWithPtr(reinterpret_cast<void *>(UINTPTR_MAX)),
              QStringLiteral("0xffffffffffffffff"));
}

struct PointerRow {
    const char *text;
    std::uintptr_t value;
};

TEST(PtrTest, ReadsAddresses)
{
    const PointerRow rows[] = {
        {"0x1f", 31},
        {"1F", 31},
        {"1f", 31},
        {"0X1f", 0},
        {"", 0},
        {"zz", 0},
        {"0x", 0},
        {"0xg1", 0},
        {"0x0x1", 0},
        {" 1f", 0},
        {"1f 2", 31},
        {"12g4", 18},
        {"\xc3\xa9", 0},
        {"a\xc3\xa9", 10},
        {"-1", 0},
        {"ffffffffffffffff", UINTPTR_MAX},
        {"0x10000000000000001", 1},
        {"0x123456789abcdef01", 0x23456789abcdef01},
        {"000000000000000000000000000000000000001", 1},
    };
    for (const PointerRow &row : rows)
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Ptr::ptrValue(QString::fromUtf8(row.text))), row.value)
            << row.text;
}

TEST(PtrTest, ReadsNothingFromNilNulAndBrokenText)
{
    EXPECT_EQ(Ptr::ptrValue(QString()), nullptr);
    EXPECT_EQ(Ptr::ptrValue(QStringLiteral("1f") + QChar(0xd800)), nullptr);
    EXPECT_EQ(Ptr::ptrValue(QStringLiteral("1f") + QChar(0) + QStringLiteral("2")),
              reinterpret_cast<void *>(std::uintptr_t{0x1f}));
}

TEST(PtrTest, GivesBackWhatItWrote)
{
    int local = 0;
    for (void *pointer :
         {static_cast<void *>(&local), static_cast<void *>(nullptr), reinterpret_cast<void *>(UINTPTR_MAX)})
        EXPECT_EQ(Ptr::ptrValue(Ptr::stringWithPtr(pointer)), pointer);
}

TEST(UUIDTest, MakesAFreshOneEachTime)
{
    static const QRegularExpression form(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));
    QSet<QString> seen;
    for (int i = 0; i < 1000; ++i) {
        const QString uuid = UUID::UUIDString();
        EXPECT_EQ(uuid.size(), 36);
        EXPECT_TRUE(form.match(uuid).hasMatch()) << uuid.toStdString();
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000);
}

} // namespace
} // namespace KVBase
