#include <KVBase/CSRegex.h>
#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <locale.h>
#include <regex.h>

namespace KVBase
{
namespace
{

QString q(const char *utf8) { return QString::fromUtf8(utf8); }

/// The reason with which a pattern is refused; empty when it compiles.
QString refusal(const QString &pattern)
{
    try {
        const CSRegex regex(pattern, 0);
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), QStringLiteral("CSRegexException"));
        return exception.reason();
    }
    return {};
}

template <class Work>
QString raisedName(Work work)
{
    try {
        work();
    } catch (const NSException &exception) {
        return exception.name();
    }
    return QStringLiteral("nothing");
}

TEST(CSRegexContractTest, EscapedTextMatchesItself)
{
    for (char16_t unit = 1; unit < 0x7f; ++unit) {
        const QString text = QStringLiteral("x") + QChar(unit) + QStringLiteral("y");
        EXPECT_EQ(CSRegex::rangeMatchedByPattern(text, CSRegex::escapedPattern(text)), (NSRange{0, 3}))
            << int(unit);
    }
}

TEST(CSRegexContractTest, FirstMatch)
{
    const struct {
        const char *pattern;
        const char *text;
        NSRange range;
        const char *substring;
    } rows[] = {
        {"b+", "abbbc", {1, 3}, "bbb"},
        {"a|ab", "xab", {1, 2}, "ab"},
        {"x*", "abc", {0, 0}, ""},
        {"$", "abc", {3, 0}, ""},
        {"^", "", {0, 0}, ""},
        {"c$", "abc", {2, 1}, "c"},
        {"a{2,3}", "aaaa", {0, 3}, "aaa"},
        {"(a)\\1", "baab", {1, 2}, "aa"},
        {"[[:digit:]]+", "ab12", {2, 2}, "12"},
        {"b", "äbc", {2, 1}, "c"},
        {".", "ä", {0, 1}, "ä"},
        {"b.*", "a\nb\nc", {2, 3}, "b\nc"},
    };
    for (const auto &row : rows) {
        const CSRegex regex(q(row.pattern), 0);
        EXPECT_TRUE(regex.matchesString(q(row.text))) << row.pattern;
        EXPECT_EQ(regex.rangeOfMatchInString(q(row.text)), row.range) << row.pattern;
        EXPECT_EQ(regex.matchedSubstringOfString(q(row.text)), q(row.substring)) << row.pattern;
        EXPECT_FALSE(regex.matchedSubstringOfString(q(row.text)).isNull()) << row.pattern;
        EXPECT_TRUE(CSRegex::matchedByPattern(q(row.text), q(row.pattern)));
        EXPECT_EQ(CSRegex::rangeMatchedByPattern(q(row.text), q(row.pattern)), row.range);
        EXPECT_EQ(CSRegex::substringMatchedByPattern(q(row.text), q(row.pattern)), q(row.substring));
    }
}

// The C library finds these in texts where it then finds no groups for them: its answers are not made better.
TEST(CSRegexContractTest, EachQuestionIsAnsweredAsTheLibraryAnswersIt)
{
    for (const char *pattern : {"$($).", "(())$($).", "$.", "(^a)+", "(^a|b)+", "(a)b"}) {
        regex_t plain;
        ASSERT_EQ(::regcomp(&plain, pattern, REG_EXTENDED), 0) << pattern;
        const CSRegex regex(q(pattern), 0);
        for (const char *text : {"\n", "\nab", "aab", "aba", "x", ""}) {
            EXPECT_EQ(regex.matchesString(q(text)), ::regexec(&plain, text, 0, nullptr, 0) == 0) << pattern;
            regmatch_t slots[3]{};
            const bool found = ::regexec(&plain, text, 1, slots, 0) == 0;
            EXPECT_EQ(regex.rangeOfMatchInString(q(text)).location,
                      found ? static_cast<std::uint32_t>(slots[0].rm_so) : NSNotFound)
                << pattern;
            EXPECT_EQ(regex.capturedSubstringsOfString(q(text)).has_value(),
                      ::regexec(&plain, text, plain.re_nsub + 1, slots, 0) == 0)
                << pattern;
        }
        ::regfree(&plain);
    }
}

TEST(CSRegexContractTest, AllMatchesAndPieces)
{
    const struct {
        const char *pattern;
        const char *text;
        QStringList matches;
        QStringList pieces;
    } rows[] = {
        {",", "a,b,,c", {q(","), q(","), q(",")}, {q("a"), q("b"), q(""), q("c")}},
        {",", ",a,", {q(","), q(",")}, {q(""), q("a"), q("")}},
        {",", ",", {q(",")}, {q(""), q("")}},
        {",", "", {}, {q("")}},
        {"[0-9]+", "a1b22c333", {q("1"), q("22"), q("333")}, {q("a"), q("b"), q("c"), q("")}},
        {"^a", "aaab", {q("a"), q("a"), q("a")}, {q(""), q(""), q(""), q("b")}},
        {"a$", "aa", {q("a")}, {q("a"), q("")}},
        {" *; *", "a ; b;c", {q(" ; "), q(";")}, {q("a"), q("b"), q("c")}},
        {"b", "äbc", {q("c")}, {q("äb"), q("")}},
    };
    for (const auto &row : rows) {
        const CSRegex regex(q(row.pattern), 0);
        EXPECT_EQ(regex.allMatchedSubstringsOfString(q(row.text)), row.matches) << row.pattern << row.text;
        EXPECT_EQ(regex.splitString(q(row.text)), row.pieces) << row.pattern << row.text;
        EXPECT_EQ(CSRegex::allSubstringsMatchedByPattern(q(row.text), q(row.pattern)), row.matches);
        EXPECT_EQ(CSRegex::componentsSeparatedByPattern(q(row.text), q(row.pattern)), row.pieces);
    }
    const QStringList pieces = CSRegex(QStringLiteral(","), 0).splitString(QStringLiteral(",x"));
    ASSERT_EQ(pieces.size(), 2);
    EXPECT_FALSE(pieces.first().isNull());
}

TEST(CSRegexContractTest, Captures)
{
    const struct {
        const char *pattern;
        const char *text;
        QStringList captured;
    } rows[] = {
        {"(a)|(b)", "b", {q("b"), q(""), q("b")}},
        {"(a)|(b)", "xa", {q("a"), q("a"), q("")}},
        {"abc", "xabcx", {q("abc")}},
        {"(x*)a", "a", {q("a"), q("")}},
        {"((a)(b(c)))", "abc", {q("abc"), q("abc"), q("a"), q("bc"), q("c")}},
        {"([0-9]+)-([0-9]+)", "tel 12-34", {q("12-34"), q("12"), q("34")}},
        {"(a)*", "aa", {q("aa"), q("a")}},
        {"^$", "", {q("")}},
        {"((ä)+)(ß)?", "xää", {q("ää"), q("ää"), q("ä"), q("")}},
        {"ä+", "xää", {q("ä")}},
        {"[(](.)[)]", "(x)", {q("(x)"), q("x")}},
        {"(.)", "ä", {QString(QChar(0xfffd)), QString(QChar(0xfffd))}},
        {"(.)(.)(.)(.)",
         "\xf0\x9f\x98\x80",
         {q("\xf0\x9f\x98\x80"), QString(QChar(0xfffd)), QString(QChar(0xfffd)), QString(QChar(0xfffd)),
          QString(QChar(0xfffd))}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(CSRegex(q(row.pattern), 0).capturedSubstringsOfString(q(row.text)), row.captured)
            << row.pattern;
        EXPECT_EQ(CSRegex::substringsCapturedByPattern(q(row.text), q(row.pattern)), row.captured);
    }
    const auto captured =
        CSRegex::substringsCapturedByPattern(QStringLiteral("b"), QStringLiteral("(a)|(b)"));
    ASSERT_TRUE(captured.has_value());
    EXPECT_FALSE(captured->at(1).isNull());
}

TEST(CSRegexContractTest, PatternsThatDoNotCompile)
{
    for (const char *pattern : {"(", "[", "a{2,1}", "[[:nope:]]", "a\\", "(%@%s%n", "[b-a]", "(ä", "(a"}) {
        const QString start =
            QStringLiteral("Could not compile regex \"") + q(pattern) + QStringLiteral("\": ");
        const QString reason = refusal(q(pattern));
        EXPECT_TRUE(reason.startsWith(start)) << qPrintable(reason);
        EXPECT_GT(reason.size(), start.size()) << pattern;
        EXPECT_EQ(raisedName([&] { CSRegex::regexWithPattern(q(pattern)); }),
                  QStringLiteral("CSRegexException"));
        EXPECT_EQ(raisedName([&] { CSRegex::matchedByPattern(QStringLiteral("a"), q(pattern)); }),
                  QStringLiteral("CSRegexException"));
    }
    regex_t compiled;
    char text[256];
    const int status = ::regcomp(&compiled, "(", REG_EXTENDED);
    ASSERT_NE(status, 0);
    ::regerror(status, &compiled, text, sizeof text);
    EXPECT_EQ(refusal(QStringLiteral("(")), QStringLiteral("Could not compile regex \"(\": ") + q(text));
}

TEST(CSRegexContractTest, TheLocaleDoesNotMatterAndIsKept)
{
    const locale_t utf8 = ::newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    ASSERT_NE(utf8, nullptr);
    const locale_t before = ::uselocale(utf8);
    EXPECT_FALSE(CSRegex::matchedByPattern(q("ä"), QStringLiteral("^.$")));
    EXPECT_TRUE(CSRegex::matchedByPattern(q("ä"), QStringLiteral("^..$")));
    EXPECT_FALSE(CSRegex::matchedByPattern(q("ä"), q("Ä"), REG_ICASE));
    EXPECT_FALSE(CSRegex::matchedByPattern(q("ä"), QStringLiteral("[[:alpha:]]")));
    EXPECT_FALSE(refusal(QStringLiteral("(")).isNull());
    EXPECT_EQ(::uselocale(nullptr), utf8);
    ::uselocale(before);
    ::freelocale(utf8);
}

TEST(CSRegexContractTest, OptionsReachEachOfTheListFunctions)
{
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("aXbxc"), QStringLiteral("x"), REG_ICASE),
              QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("aXbxc"), QStringLiteral("x")),
              QStringList({QStringLiteral("aXb"), QStringLiteral("c")}));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("..AB"), QStringLiteral("ab"), REG_ICASE),
              (NSRange{2, 2}));
    EXPECT_FALSE(CSRegex::substringsCapturedByPattern(QStringLiteral("B"), QStringLiteral("(b)")));
}

TEST(CSRegexContractTest, AnExpressionAnswersAgainAndAgain)
{
    const Ref<CSRegex> regex = CSRegex::regexWithPattern(QStringLiteral("([a-c])[0-9]+"), REG_ICASE);
    const QString subject = QStringLiteral("A1-b22-x3-C333");
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(regex->matchesString(subject));
        EXPECT_EQ(regex->rangeOfMatchInString(subject), (NSRange{0, 2}));
        EXPECT_EQ(regex->matchedSubstringOfString(subject), QStringLiteral("A1"));
        EXPECT_EQ(regex->allMatchedSubstringsOfString(subject),
                  QStringList({QStringLiteral("A1"), QStringLiteral("b22"), QStringLiteral("C333")}));
        EXPECT_EQ(regex->splitString(subject), QStringList({QStringLiteral(""), QStringLiteral("-"),
                                                            QStringLiteral("-x3-"), QStringLiteral("")}));
        EXPECT_EQ(regex->capturedSubstringsOfString(subject),
                  QStringList({QStringLiteral("A1"), QStringLiteral("A")}));
    }
    EXPECT_FALSE(regex->matchesString(QStringLiteral("x3")));
    EXPECT_EQ(regex->rangeOfMatchInString(QStringLiteral("x3")), (NSRange{0x7fffffff, 0}));
    EXPECT_TRUE(regex->matchedSubstringOfString(QStringLiteral("x3")).isNull());
    EXPECT_EQ(regex->allMatchedSubstringsOfString(QStringLiteral("x3")), QStringList());
    EXPECT_EQ(regex->splitString(QStringLiteral("x3")), QStringList(QStringLiteral("x3")));
    EXPECT_FALSE(regex->capturedSubstringsOfString(QStringLiteral("x3")).has_value());
}

TEST(CSRegexContractTest, AGroupThatMatchesNothingIsAnEmptyTextToo)
{
    const auto captures =
        CSRegex::substringsCapturedByPattern(QStringLiteral("aba"), QStringLiteral("(a)(x)?(b)*(z*)"));
    ASSERT_TRUE(captures.has_value());
    EXPECT_EQ(*captures, QStringList({QStringLiteral("ab"), QStringLiteral("a"), QStringLiteral(""),
                                      QStringLiteral("b"), QStringLiteral("")}));
    for (const QString &capture : *captures)
        EXPECT_FALSE(capture.isNull());
    const auto empty = CSRegex::substringsCapturedByPattern(QStringLiteral(""), QStringLiteral("x*"));
    ASSERT_TRUE(empty.has_value());
    EXPECT_EQ(*empty, QStringList(QStringLiteral("")));
    EXPECT_FALSE(empty->at(0).isNull());
}

TEST(CSRegexContractTest, WithoutSlotsEachCaptureIsTheEmptyTextAtTheStart)
{
    EXPECT_EQ(
        CSRegex::substringsCapturedByPattern(QStringLiteral("xab"), QStringLiteral("(a)(b)"), REG_NOSUB),
        QStringList({QStringLiteral(""), QStringLiteral(""), QStringLiteral("")}));
    EXPECT_FALSE(
        CSRegex::substringsCapturedByPattern(QStringLiteral("xb"), QStringLiteral("(a)(b)"), REG_NOSUB)
            .has_value());
}

TEST(CSRegexContractTest, SplittingLeavesATextAloneWhoseMatchLiesBehindANul)
{
    const QString text = QStringLiteral("a") + QChar(0) + QStringLiteral(",b");
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(text, QStringLiteral(",")), QStringList(text));
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("x,") + text, QStringLiteral(",")),
              QStringList({QStringLiteral("x"), text}));
}

TEST(CSRegexContractTest, EveryConvenienceThrowsForAPatternThatDoesNotCompile)
{
    const QString text = QStringLiteral("text");
    const QString pattern = QStringLiteral("a(b");
    const auto expectThrow = [](const auto &function) {
        try {
            function();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const NSException &exception) {
            EXPECT_EQ(exception.name(), QStringLiteral("CSRegexException"));
            EXPECT_TRUE(exception.reason().startsWith(QStringLiteral("Could not compile regex \"a(b\": ")));
        }
    };
    expectThrow([&] { CSRegex::matchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::substringMatchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::rangeMatchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::componentsSeparatedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::allSubstringsMatchedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::substringsCapturedByPattern(text, pattern); });
    expectThrow([&] { CSRegex::regexWithPattern(pattern); });
}

} // namespace
} // namespace KVBase
