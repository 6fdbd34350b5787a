#include <KVBase/KVException.h>
#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/NSError.h>
#include <KVBase/Platform/NSException.h>

#include "Platform/KVFormatUtf8.h"

#include <QtCore/QTimeZone>

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace KVBase
{
namespace
{

enum Colour { Red = 3, Blue = -1 };

struct Named {
    QString description() const { return QStringLiteral("named"); }
};

/// A run-time text, which nothing checks.
KVFormatString<> runTime(const char *text) { return KVFormatString<>{QString::fromUtf8(text)}; }

TEST(KVFormatTest, PrintsIntegersAsTheCLibraryDoes)
{
    EXPECT_EQ(stringWithFormat("%d", 42), "42");
    EXPECT_EQ(stringWithFormat("%i", -42), "-42");
    EXPECT_EQ(stringWithFormat("%5d|%-5d|%05d|%+d|% d", 42, 42, -42, 42, 42), "   42|42   |-0042|+42| 42");
    EXPECT_EQ(stringWithFormat("%.3d|%8.3d|%08.3d|%-8.3d|", 7, 7, 7, -7), "007|     007|     007|-007    |");
    EXPECT_EQ(stringWithFormat("%.0d|%.d", 0, 0), "|");
    EXPECT_EQ(stringWithFormat("%x %X %#x %#X %#x %08X", 255, 255, 255, 255, 0, 0x1058),
              "ff FF 0xff 0XFF 0 00001058");
    EXPECT_EQ(stringWithFormat("%o %#o %#o", 8, 8, 0), "10 010 0");
    EXPECT_EQ(stringWithFormat("%u", 3000000000u), "3000000000");
    EXPECT_EQ(stringWithFormat("%u %x", -1, -1), "4294967295 ffffffff");
    EXPECT_EQ(stringWithFormat("%d", 4294967295u), "-1");
    EXPECT_EQ(stringWithFormat("%ld %lld %zu %hhd %hd", 1L, 2LL, std::size_t{3}, 257, 65537), "1 2 3 1 1");
    EXPECT_EQ(stringWithFormat("%'d", 1234567), "1234567");
}

TEST(KVFormatTest, PrintsIntegersAtTheirOwnWidth)
{
    EXPECT_EQ(stringWithFormat("%d", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(stringWithFormat("%u", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(stringWithFormat("%d", std::numeric_limits<std::int32_t>::min()), "-2147483648");
    EXPECT_EQ(stringWithFormat("%x", std::numeric_limits<std::uint64_t>::max()), "ffffffffffffffff");
    EXPECT_EQ(stringWithFormat("%d %d", static_cast<signed char>(-5), static_cast<unsigned char>(200)),
              "-5 200");
    EXPECT_EQ(stringWithFormat("%d %d", true, false), "1 0");
    EXPECT_EQ(stringWithFormat("%d %d", Red, Blue), "3 -1");
}

TEST(KVFormatTest, PrintsFloatingPointAsTheCLibraryDoes)
{
    EXPECT_EQ(stringWithFormat("%f %.2f %8.3f|%-8.1f|%08.1f", 1.5, 2.345, 3.14159, 2.25, -2.5),
              "1.500000 2.35    3.142|2.2     |-00002.5");
    EXPECT_EQ(stringWithFormat("%g %g %g", 0.0001, 1e20, 100000.0), "0.0001 1e+20 100000");
    EXPECT_EQ(stringWithFormat("%e %E %G", 12345.678, 12345.678, 1e-10), "1.234568e+04 1.234568E+04 1E-10");
    EXPECT_EQ(stringWithFormat("%f %f %F", std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN(),
                               -std::numeric_limits<double>::infinity()),
              "inf nan -INF");
    EXPECT_EQ(stringWithFormat("%.1f", 2.5f), "2.5");
    EXPECT_EQ(stringWithFormat("%.0f", 1e300).size(), 301);
    EXPECT_EQ(stringWithFormat("%.4096f", 1e308).size(), 4406);
}

TEST(KVFormatTest, HasNoLocale)
{
    const char *const previous = std::setlocale(LC_ALL, nullptr);
    const std::string kept = previous;
    for (const char *name : {"de_DE.UTF-8", "de_DE", "C.UTF-8"})
        if (std::setlocale(LC_ALL, name) != nullptr)
            break;
    EXPECT_EQ(stringWithFormat("%.2f %g %@ %'d", 1.5, 0.25, 2.5, 1000000), "1.50 0.25 2.5 1000000");
    std::setlocale(LC_ALL, kept.c_str());
}

TEST(KVFormatTest, PrintsObjectsByTheirDescription)
{
    const QString text = QStringLiteral("Zürich");
    EXPECT_EQ(stringWithFormat("%@", text), QStringLiteral("Zürich"));
    EXPECT_EQ(stringWithFormat("%@ %@", QLatin1StringView("latin"), QStringView(u"view")), "latin view");
    EXPECT_EQ(stringWithFormat("%@", QVariant(text)), QStringLiteral("Zürich"));
    EXPECT_EQ(stringWithFormat("%@ %@ %@ %@", QVariant(5), QVariant(0.1), QVariant(true), QVariant(false)),
              "5 0.1 1 0");
    EXPECT_EQ(stringWithFormat("%@", QVariant(std::numeric_limits<qlonglong>::min())),
              "-9223372036854775808");
    EXPECT_EQ(stringWithFormat("%@", QUrl(QStringLiteral("http://a.example/b%20c?d=e"))),
              "http://a.example/b%20c?d=e");
    EXPECT_EQ(stringWithFormat("%@", NSError(QStringLiteral("domain"), 5, {})),
              "Error Domain=domain Code=5 \"The operation could not be completed. (domain error 5.)\"");
    EXPECT_EQ(stringWithFormat("%@", NSException(QStringLiteral("name"), QStringLiteral("reason"))),
              "reason");
    EXPECT_EQ(stringWithFormat("%@", KVException("name", "message")), "message");
    EXPECT_EQ(stringWithFormat("%@ %@", Named(), std::make_shared<Named>()), "named named");
    EXPECT_EQ(stringWithFormat("%@ %@", 7, 2.5), "7 2.5");
    EXPECT_EQ(stringWithFormat("%@", QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")})),
              "(a, b)");
    EXPECT_EQ(stringWithFormat("%@", QVariantList{1, QVariant(), QStringLiteral("x")}), "(1, (null), x)");
    EXPECT_EQ(stringWithFormat(
                  "%@", QVariantMap{{QStringLiteral("k"), 1}, {QStringLiteral("l"), QStringLiteral("m")}}),
              "{k = 1; l = m}");
    EXPECT_EQ(stringWithFormat("%@", QByteArray("\x01\x02\x03\x04\xff")), "<01020304 ff>");
}

TEST(KVFormatTest, PrintsDatesInTheLocalZone)
{
    // The tests run at UTC+5:30.
    const QDateTime date(QDate(2024, 3, 1), QTime(18, 45, 9), Qt::UTC);
    EXPECT_EQ(stringWithFormat("%@", date), "2024-03-02 00:15:09 +0530");
    EXPECT_EQ(stringWithFormat("%@", QVariant(date)), "2024-03-02 00:15:09 +0530");
}

TEST(KVFormatTest, PrintsObjectsOfUnknownKindsByClassAndAddress)
{
    QObject object;
    const QString text = stringWithFormat("%@", &object);
    EXPECT_TRUE(text.startsWith(QStringLiteral("<QObject: 0x"))) << text.toStdString();
    EXPECT_EQ(stringWithFormat("%@", QVariant::fromValue(&object)), text);
}

TEST(KVFormatTest, PrintsNilAsNull)
{
    EXPECT_EQ(stringWithFormat("%@ %@", QString(), QVariant()), "(null) (null)");
    EXPECT_EQ(stringWithFormat("%@ %@ %@", QUrl(), QDateTime(), NSError()), "(null) (null) (null)");
    EXPECT_EQ(stringWithFormat("%@ %@", static_cast<QObject *>(nullptr), std::shared_ptr<Named>()),
              "(null) (null)");
    EXPECT_EQ(stringWithFormat("%@ %@", std::optional<QString>(), nullptr), "(null) (null)");
    EXPECT_EQ(stringWithFormat("%s", static_cast<const char *>(nullptr)), "(null)");
    EXPECT_EQ(stringWithFormat("%@|%s", QStringLiteral(""), ""), "|");
    EXPECT_EQ(stringWithFormat("%@", QVariant(QString())), "(null)");
}

TEST(KVFormatTest, PrintsPointers)
{
    EXPECT_EQ(stringWithFormat("%p", static_cast<void *>(nullptr)), "0x0");
    EXPECT_EQ(stringWithFormat("%p", nullptr), "0x0");
    EXPECT_EQ(stringWithFormat("%p|%10p|%-8p|", reinterpret_cast<void *>(0xabc),
                               reinterpret_cast<int *>(0xabc), reinterpret_cast<const char *>(0xabc)),
              "0xabc|     0xabc|0xabc   |");
}

TEST(KVFormatTest, PrintsByteTextsAsUtf8)
{
    EXPECT_EQ(stringWithFormat("%s %s %s", "a", std::string("b"), QByteArray("c")), "a b c");
    EXPECT_EQ(stringWithFormat("%s", "Z\xc3\xbcrich"), QStringLiteral("Zürich"));
    EXPECT_EQ(stringWithFormat("%s", "a\xff"
                                     "b"),
              QStringLiteral("a\uFFFDb"));
    EXPECT_EQ(stringWithFormat("%5s|%-5s|%.2s|%5.1s|", "abc", "abc", "abc", "abc"), "  abc|abc  |ab|    a|");
    EXPECT_EQ(stringWithFormat("%.1s|%.2s|%.3s", "a\xc3\xbc", "a\xc3\xbc", "a\xc3\xbc"),
              QStringLiteral("a|a|aü"));
}

TEST(KVFormatTest, ReadsNoFurtherThanItIsGiven)
{
    const char noEnd[3] = {'a', 'b', 'c'};
    EXPECT_EQ(stringWithFormat("%s", noEnd), "abc");
    const std::vector<char> heap{'a', 'b', 'c'};
    EXPECT_EQ(stringWithFormat("%.3s", heap.data()), "abc");
    EXPECT_EQ(stringWithFormat("%.2s", heap.data()), "ab");
}

TEST(KVFormatTest, CutsObjectsAtThePrecisionBetweenCharacters)
{
    EXPECT_EQ(
        stringWithFormat("%.2@|%5@|%-5@|", QStringLiteral("abc"), QStringLiteral("ab"), QStringLiteral("ab")),
        "ab|   ab|ab   |");
    EXPECT_EQ(stringWithFormat("%.2@", QStringLiteral("a😀b")), "a");
}

TEST(KVFormatTest, PrintsCharactersAndPercentSigns)
{
    EXPECT_EQ(stringWithFormat("%C%C", u'ä', QChar(u'ß')), QStringLiteral("äß"));
    EXPECT_EQ(stringWithFormat("%3C|%-3C|", u'a', u'b'), "  a|b  |");
    EXPECT_EQ(stringWithFormat("100%%"), "100%");
    EXPECT_EQ(stringWithFormat("%d", u'A'), "65");
}

TEST(KVFormatTest, TakesArgumentsByNumber)
{
    EXPECT_EQ(stringWithFormat("%2$@ of %1$@", QStringLiteral("a"), QStringLiteral("b")), "b of a");
    EXPECT_EQ(stringWithFormat("%1$d%1$d", 4), "44");
}

TEST(KVFormatTest, IsNeverNil)
{
    EXPECT_FALSE(stringWithFormat("").isNull());
    EXPECT_FALSE(stringWithFormat(KVFormatString<>{QString()}).isNull());
    EXPECT_EQ(stringWithFormat(KVFormatString<>{QString()}), "");
}

struct RunTimeCase {
    const char *name;
    const char *format;
    const char *expected;
};

class KVFormatRunTimeTest : public testing::TestWithParam<RunTimeCase> {};

TEST_P(KVFormatRunTimeTest, PrintsWhatItCannotFillAsItStands)
{
    // One integer and one object are given.
    EXPECT_EQ(stringWithFormat(runTime(GetParam().format), 5, QStringLiteral("x")).toStdString(),
              GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, KVFormatRunTimeTest,
    testing::Values(
        RunTimeCase{"BothFit", "%d %@", "5 x"}, RunTimeCase{"SurplusArgumentsAreIgnored", "%d", "5"},
        RunTimeCase{"AMissingArgument", "%d %@ %s|%5d", "5 x %s|%5d"},
        RunTimeCase{"AWrongType", "%s %d", "%s %d"},
        RunTimeCase{"AWrongTypeTakesItsArgument", "%f %@", "%f x"},
        RunTimeCase{"NIsNoConversion", "%n%d", "%n5"}, RunTimeCase{"AStarIsNoConversion", "%*d %d", "%*d 5"},
        RunTimeCase{"AStrayPercentSign", "100% %d", "100% 5"},
        RunTimeCase{"APercentSignAtTheEnd", "%d%", "5%"}, RunTimeCase{"PercentSignsOnly", "%%%%%", "%%%"},
        RunTimeCase{"AFlagBeforeAPercentSign", "%-%d", "%-5"},
        RunTimeCase{"AHugeWidth", "%99999999999d %d", "%99999999999d 5"},
        RunTimeCase{"AHugePrecision", "%.4097d %d", "%.4097d 5"},
        RunTimeCase{"AnUnknownNumber", "%3$@ %2$@", "%3$@ x"}, RunTimeCase{"NumberZero", "%0$@", "%0$@"},
        RunTimeCase{"AnUnfinishedNumber", "%1$", "%1$"}, RunTimeCase{"UnknownLetters", "%y %Z %d", "%y %Z 5"},
        RunTimeCase{"ForeignLetters", "%ä %d", "%ä 5"}, RunTimeCase{"Nothing", "", ""}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(KVFormatTest, LeavesAFormatWithoutArgumentsButForPercentSigns)
{
    EXPECT_EQ(stringWithFormat(runTime("50%% of <b>%@</b>\n%s %d %")), "50% of <b>%@</b>\n%s %d %");
}

TEST(KVFormatTest, TakesARunTimeTextWithAnyArguments)
{
    const KVFormatString<> kept = runTime("%@!");
    EXPECT_EQ(stringWithFormat(kept, QStringLiteral("a")), "a!");
    EXPECT_EQ(stringWithFormat(kept, 5), "5!");
    const KVFormatString<int> typed{QStringLiteral("%d?")};
    EXPECT_EQ(stringWithFormat<int>(typed, 5), "5?");
}

/// What `KVFormatUtf8` makes of two characters that reach it one by one.
QByteArray utf8OfTwo(char16_t first, char16_t second, bool *broken)
{
    KVFormatUtf8 output;
    const KVFormatArgument arguments[] = {KVFormatArgument(first), KVFormatArgument(second)};
    formatInto(output, {"%C%C", 4, nullptr}, arguments, 2);
    *broken = output.isBroken();
    return output.cString().toByteArray();
}

TEST(KVFormatUtf8Test, JoinsThePiecesOfAPair)
{
    bool broken = true;
    EXPECT_EQ(utf8OfTwo(u'\xd83d', u'\xde00', &broken), "\xf0\x9f\x98\x80");
    EXPECT_FALSE(broken);
    utf8OfTwo(u'\xde00', u'\xd83d', &broken);
    EXPECT_TRUE(broken);
    utf8OfTwo(u'\xd83d', u'a', &broken);
    EXPECT_TRUE(broken);
    utf8OfTwo(u'a', u'\xd83d', &broken);
    EXPECT_TRUE(broken);
}

TEST(KVFormatUtf8Test, SaysWhenHalfAPairStandsAlone)
{
    for (const char16_t *text : {u"\xd83d%d", u"\xd83d\x20", u"%d\xde00", u"\xd83d\xd83d\xde00"}) {
        KVFormatUtf8 output;
        const QString format = QString::fromUtf16(text);
        const KVFormatArgument argument(5);
        formatInto(output, {nullptr, 0, &format}, &argument, 1);
        EXPECT_TRUE(output.isBroken());
    }
}

TEST(KVFormatUtf8Test, HoldsTextsOfEveryLength)
{
    for (const qsizetype length : {0, 1, 1023, 1024, 1025, 100000}) {
        KVFormatUtf8 output;
        const QString text(length, u'é');
        const KVFormatArgument argument(text);
        formatInto(output, {"%@", 2, nullptr}, &argument, 1);
        EXPECT_FALSE(output.isBroken());
        const QByteArrayView line = output.line();
        ASSERT_EQ(line.size(), 2 * length + 1);
        EXPECT_TRUE(line.endsWith('\n'));
        EXPECT_EQ(line.toByteArray().count("\xc3\xa9"), length);
    }
}

TEST(KVFormatUtf8Test, EndsAtTheFirstNul)
{
    KVFormatUtf8 output;
    const QString text = QStringLiteral("ab") + QChar(u'\0') + QStringLiteral("cd");
    const KVFormatArgument argument(text);
    formatInto(output, {"%@", 2, nullptr}, &argument, 1);
    EXPECT_EQ(output.cString().toByteArray(), "ab");
    EXPECT_EQ(output.line().toByteArray(), "ab\n");
}

TEST(KVFormatUtf8Test, ReplacesBrokenBytes)
{
    KVFormatUtf8 output;
    const KVFormatArgument argument("a\xff"
                                    "b");
    formatInto(output, {"%s", 2, nullptr}, &argument, 1);
    EXPECT_EQ(output.cString().toByteArray(), "a\xef\xbf\xbd"
                                              "b");
}

} // namespace
} // namespace KVBase
