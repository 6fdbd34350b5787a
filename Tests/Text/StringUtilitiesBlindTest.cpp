#include <KVBase/KVAffixes.h>
#include <KVBase/KVComparison.h>
#include <KVBase/Ptr.h>
#include <KVBase/UUID.h>

#include <gtest/gtest.h>

#include <QtCore/QSet>

#include <clocale>

using namespace KVBase;

namespace
{

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

struct SuffixRow {
    QString receiver;
    QStringList suffixes;
    QString expected;
};

TEST(KVAffixesBlindTest, removesTheFirstSuffixThatFits)
{
    const std::vector<SuffixRow> rows = {
        {text("report.txt"), {text(".txt"), text(".text")}, text("report")},
        {text("report.text"), {text(".txt"), text(".text")}, text("report")},
        {text("report.txt"), {text(".TXT")}, text("report.txt")},
        {text("boxes"), {text("s"), text("es")}, text("boxe")},
        {text("boxes"), {text("es"), text("s")}, text("box")},
        {text("a.txt.txt"), {text(".txt")}, text("a.txt")},
        {text("a.txt.txt"), {text(".txt"), text(".txt")}, text("a.txt")},
        {text("abc"), {text(""), text("c")}, text("abc")},
        {text("abc"), {text("x"), text(""), text("c")}, text("abc")},
        {text("abc"), {text("c"), text("")}, text("ab")},
        {text("abc"), {text("abc")}, text("")},
        {text("abc"), {text("xabc")}, text("abc")},
        {text("abc"), {}, text("abc")},
        {text(""), {text("a")}, text("")},
        {text(""), {text("")}, text("")},
        {text("Gr\u00F6\u00DFe"), {text("\u00DFe")}, text("Gr\u00F6")},
        {text("cafe\u0301"), {text("\u00E9")}, text("cafe\u0301")},
        {text("stra\u00DFe"), {text("sse")}, text("stra\u00DFe")},
        {text("a\U0001F600b"), {text("\U0001F600b")}, text("a")},
    };
    for (const SuffixRow &row : rows) {
        const QString got = KVAffixes::stringByRemovingFirstSuffixFromArray(row.receiver, row.suffixes);
        EXPECT_EQ(got, row.expected) << qPrintable(row.receiver);
        EXPECT_FALSE(got.isNull()) << qPrintable(row.receiver);
    }
    EXPECT_TRUE(KVAffixes::stringByRemovingFirstSuffixFromArray(QString(), {text("a")}).isNull());
    EXPECT_TRUE(KVAffixes::stringByRemovingFirstSuffixFromArray(QString(), {text("")}).isNull());
}

struct OrderRow {
    const char *first;
    const char *second;
};

TEST(KVComparisonBlindTest, putsTheFirstBeforeTheSecond)
{
    const std::vector<OrderRow> rows = {
        {"file9", "file10"},
        {"Item 2", "item 10"},
        {"item 2", "Item 10"},
        {"ITEM 9", "item 10"},
        {"file2.txt", "FILE10.txt"},
        {"1.9", "1.10"},
        {"x99999999999999999999", "x100000000000000000000"},
        {"x9007199254740993", "x9007199254740994"},
        {"x18446744073709551615", "x18446744073709551616"},
        {"", "a"},
        {"a", "ab"},
        {"apple", "Banana"},
        {"Apple", "banana"},
        {"\uFF46\uFF49\uFF4C\uFF45"
         "2",
         "file10"},
        {"file2", "\uFF46\uFF49\uFF4C\uFF45"
                  "10"},
        {"file\uFF12", "file10"},
        {"file2", "file\uFF11\uFF10"},
        {"A", "a"},
        {"FILE", "file"},
        {"e", "\u00E9"},
        {"\u00E9", "f"},
        {"9", "10a"},
        {"2", "a"},
    };
    for (const OrderRow &row : rows) {
        EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(text(row.first), text(row.second)), -1)
            << row.first << " " << row.second;
        EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(text(row.second), text(row.first)), 1)
            << row.second << " " << row.first;
    }
}

TEST(KVComparisonBlindTest, is0OnlyForEqualTexts)
{
    const QStringList texts = {text(""),
                               text("a"),
                               text("A"),
                               text("\uFF41"),
                               text("1"),
                               text("01"),
                               text("001"),
                               text("\uFF11"),
                               text("a\u0301"),
                               text("\u00E1"),
                               text("stra\u00DFe"),
                               text("strasse"),
                               text("x 1"),
                               text("x1"),
                               text("x-1"),
                               text("\uFF71"),
                               text("\u30A2"),
                               text("a\u200B"),
                               text("\u00AD"),
                               text("\u0001"),
                               text("12345678901234567890123"),
                               text("012345678901234567890123")};
    for (const QString &first : texts)
        for (const QString &second : texts)
            EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(first, second) == 0, first == second)
                << qPrintable(first) << " " << qPrintable(second);
    QString zero = text("ab");
    zero.insert(1, QChar(u'\0'));
    EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(zero, zero), 0);
    EXPECT_NE(KVComparison::caseInsensitiveNumericCompare(zero, text("ab")), 0);
    EXPECT_NE(KVComparison::caseInsensitiveNumericCompare(zero, text("a")), 0);
}

TEST(KVComparisonBlindTest, isATotalOrder)
{
    const QStringList texts = {
        text("a1"),  text("A1"),           text("a01"), text("A01"),    text("a001"), text("a2"),
        text("A10"), text("a10"),          text("b"),   text("\uFF42"), text("B"),    text("\u00E4"),
        text("ae"),  text("\uFF41\uFF11"), text("a 1"), text("a-1"),    text("")};
    const auto compare = KVComparison::caseInsensitiveNumericCompare;
    for (const QString &a : texts)
        for (const QString &b : texts) {
            EXPECT_EQ(compare(a, b), -compare(b, a));
            for (const QString &c : texts) {
                const bool inOrder = compare(a, b) < 0 && compare(b, c) < 0;
                EXPECT_TRUE(!inOrder || compare(a, c) == -1)
                    << qPrintable(a) << " " << qPrintable(b) << " " << qPrintable(c);
            }
        }
}

TEST(KVComparisonBlindTest, staysNumericInTheCLocale)
{
    const QByteArray before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(text("file9"), text("FILE10")), -1);
    EXPECT_EQ(KVComparison::caseInsensitiveNumericCompare(text("apple"), text("Banana")), -1);
    std::setlocale(LC_ALL, before.constData());
}

TEST(KVPtrBlindTest, writesPointersAsTheSystemDoes)
{
    EXPECT_EQ(Ptr::stringWithPtr(nullptr), text("0x0"));
    EXPECT_EQ(Ptr::stringWithPtr(reinterpret_cast<void *>(std::uintptr_t{0x1f})), text("0x1f"));
    EXPECT_EQ(Ptr::stringWithPtr(reinterpret_cast<void *>(std::uintptr_t{0xDEADBEEF})), text("0xdeadbeef"));
    EXPECT_EQ(Ptr::stringWithPtr(reinterpret_cast<void *>(~std::uintptr_t{0})), text("0xffffffffffffffff"));
}

struct PointerRow {
    QString text;
    std::uintptr_t expected;
};

TEST(KVPtrBlindTest, readsHexadecimalDigits)
{
    QString withZero = text("12-34");
    withZero[2] = QChar(u'\0');
    const std::vector<PointerRow> rows = {
        {text("0x1f"), 31},
        {text("1F"), 31},
        {text("1f"), 31},
        {text("0x1F"), 31},
        {text("0X1f"), 0},
        {text(""), 0},
        {QString(), 0},
        {text("zz"), 0},
        {text("0x"), 0},
        {text("0xg"), 0},
        {text("0x0x1"), 0},
        {text("x1"), 0},
        {text(" 1f"), 0},
        {text("-1"), 0},
        {text("+1"), 0},
        {text("1g2"), 1},
        {text("12 34"), 0x12},
        {withZero, 0x12},
        {text("DEADbeef"), 0xDEADBEEF},
        {text("0x7fffffffffff"), 0x7fffffffffff},
        {text("0xffffffffffffffff"), ~std::uintptr_t{0}},
        {text("0x1000000000000001f"), 0x1f},
        {text("123456789abcdef01"), 0x23456789abcdef01},
        {text("000000000000000000000001"), 1},
        {text("\uFF11"), 0},
        {text("1\u00E9"), 1},
        {text("1f") + QChar(0xD800), 0},
        {QChar(0xD800) + text("1f"), 0},
    };
    for (const PointerRow &row : rows)
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Ptr::ptrValue(row.text)), row.expected)
            << qPrintable(row.text);
}

TEST(KVPtrBlindTest, readsBackWhatItWrote)
{
    int local = 0;
    static int global = 0;
    for (void *pointer :
         {static_cast<void *>(&local), static_cast<void *>(&global), static_cast<void *>(nullptr)})
        EXPECT_EQ(Ptr::ptrValue(Ptr::stringWithPtr(pointer)), pointer);
}

TEST(KVUUIDBlindTest, makesANewOneEachTime)
{
    QSet<QString> seen;
    for (int round = 0; round < 2000; ++round) {
        const QString made = UUID::UUIDString();
        EXPECT_EQ(made.size(), 36);
        for (qsizetype index = 0; index < made.size(); ++index) {
            const bool hyphen = index == 8 || index == 13 || index == 18 || index == 23;
            EXPECT_EQ(made.at(index) == QLatin1Char('-'), hyphen) << qPrintable(made);
            EXPECT_TRUE(hyphen || text("0123456789ABCDEF").contains(made.at(index))) << qPrintable(made);
        }
        seen.insert(made);
    }
    EXPECT_EQ(seen.size(), 2000);
}

} // namespace
