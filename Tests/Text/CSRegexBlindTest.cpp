#include "Support/ChildProcess.h"

#include <KVBase/CSRegex.h>
#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <thread>
#include <vector>

#include <locale.h>
#include <regex.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

QString q(const char *utf8) { return QString::fromUtf8(utf8); }

constexpr NSRange none{NSNotFound, 0};

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

} // namespace

TEST(KVCSRegexBlindTest, EscapingPutsABackslashBeforeTwelveUnits)
{
    const std::pair<const char *, const char *> rows[] = {
        {"a.b*c", "a\\.b\\*c"},
        {"[x]", "\\[x]"},
        {"{1}", "\\{1}"},
        {"a-b", "a-b"},
        {"", ""},
        {"$()*+.?[\\^{|", "\\$\\(\\)\\*\\+\\.\\?\\[\\\\\\^\\{\\|"},
        {"]}-/\"'`~!@#%&=:;,<> \n\t", "]}-/\"'`~!@#%&=:;,<> \n\t"},
        {"ä.ö", "ä\\.ö"},
        {"\xf0\x9f\x98\x80|", "\xf0\x9f\x98\x80\\|"},
        {"\xef\xbc\x84\xe8\x80\xa4\xe2\xa4\xa4", "\xef\xbc\x84\xe8\x80\xa4\xe2\xa4\xa4"},
        {"%C%@%", "%C%@%"},
    };
    for (const auto &[text, escaped] : rows)
        EXPECT_EQ(CSRegex::escapedPattern(q(text)), q(escaped)) << text;
    EXPECT_FALSE(CSRegex::escapedPattern(QStringLiteral("")).isNull());
    EXPECT_TRUE(CSRegex::escapedPattern(QString()).isNull());
}

TEST(KVCSRegexBlindTest, EscapedTextMatchesItself)
{
    for (char16_t unit = 1; unit < 0x7f; ++unit) {
        const QString text = QStringLiteral("x") + QChar(unit) + QStringLiteral("y");
        EXPECT_EQ(CSRegex::rangeMatchedByPattern(text, CSRegex::escapedPattern(text)), (NSRange{0, 3}))
            << unit;
    }
}

TEST(KVCSRegexBlindTest, NullIsTheEmptyString)
{
    EXPECT_EQ(CSRegex::null(), QStringLiteral(""));
    EXPECT_FALSE(CSRegex::null().isNull());
}

TEST(KVCSRegexBlindTest, FirstMatch)
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

TEST(KVCSRegexBlindTest, NoMatch)
{
    const CSRegex regex(QStringLiteral("(x)y"), 0);
    for (const char *text : {"", "ab", "x", "XY"}) {
        EXPECT_FALSE(regex.matchesString(q(text)));
        EXPECT_EQ(regex.rangeOfMatchInString(q(text)), none);
        EXPECT_TRUE(regex.matchedSubstringOfString(q(text)).isNull());
        EXPECT_EQ(regex.capturedSubstringsOfString(q(text)), std::nullopt);
        EXPECT_EQ(regex.allMatchedSubstringsOfString(q(text)), QStringList());
        EXPECT_EQ(regex.splitString(q(text)), QStringList{q(text)});
        EXPECT_FALSE(CSRegex::matchedByPattern(q(text), QStringLiteral("(x)y")));
        EXPECT_EQ(CSRegex::rangeMatchedByPattern(q(text), QStringLiteral("(x)y")), none);
        EXPECT_TRUE(CSRegex::substringMatchedByPattern(q(text), QStringLiteral("(x)y")).isNull());
        EXPECT_EQ(CSRegex::substringsCapturedByPattern(q(text), QStringLiteral("(x)y")), std::nullopt);
        EXPECT_EQ(CSRegex::componentsSeparatedByPattern(q(text), QStringLiteral("(x)y")),
                  QStringList{q(text)});
    }
    EXPECT_EQ(NSNotFound, 0x7fffffffu);
}

TEST(KVCSRegexBlindTest, NilIsMatchedByNothing)
{
    const CSRegex regex(QStringLiteral("x*"), 0);
    EXPECT_FALSE(regex.matchesString(QString()));
    EXPECT_EQ(regex.rangeOfMatchInString(QString()), none);
    EXPECT_TRUE(regex.matchedSubstringOfString(QString()).isNull());
    EXPECT_EQ(regex.capturedSubstringsOfString(QString()), std::nullopt);
    EXPECT_EQ(regex.allMatchedSubstringsOfString(QString()), QStringList());
    EXPECT_TRUE(regex.matchesString(QStringLiteral("")));
    const QString argument = QStringLiteral("NSInvalidArgumentException");
    EXPECT_EQ(raisedName([] { CSRegex(QString(), 0); }), argument);
    EXPECT_EQ(raisedName([] { CSRegex::regexWithPattern(QString()); }), argument);
    EXPECT_EQ(raisedName([] { CSRegex::matchedByPattern(QStringLiteral("a"), QString()); }), argument);
}

TEST(KVCSRegexBlindTest, AllMatchesAndPieces)
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

TEST(KVCSRegexBlindTest, Captures)
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
        {"(ä+)(ß)?", "xää", {q("ää"), q("ää"), q("")}},
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

TEST(KVCSRegexBlindTest, OptionsArePassedThrough)
{
    const QString text = QStringLiteral("x\nAB");
    EXPECT_FALSE(CSRegex::matchedByPattern(text, QStringLiteral("ab")));
    EXPECT_TRUE(CSRegex::matchedByPattern(text, QStringLiteral("ab"), REG_ICASE));
    EXPECT_TRUE(CSRegex::matchedByPattern(text, QStringLiteral("(a)(b)"), REG_ICASE | REG_EXTENDED));
    EXPECT_FALSE(CSRegex::matchedByPattern(text, QStringLiteral("^AB$")));
    EXPECT_TRUE(CSRegex::matchedByPattern(text, QStringLiteral("^AB$"), REG_NEWLINE));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(text, QStringLiteral("b"), REG_ICASE), (NSRange{3, 1}));
    EXPECT_EQ(CSRegex::substringMatchedByPattern(text, QStringLiteral("^a"), REG_ICASE | REG_NEWLINE),
              QStringLiteral("A"));
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("1x2X3"), QStringLiteral("x"), REG_ICASE),
              (QStringList{q("1"), q("2"), q("3")}));
    EXPECT_EQ(CSRegex::allSubstringsMatchedByPattern(QStringLiteral("1x2X3"), QStringLiteral("x"), REG_ICASE),
              (QStringList{q("x"), q("X")}));
    EXPECT_EQ(
        CSRegex::substringsCapturedByPattern(QStringLiteral("1X"), QStringLiteral("([0-9])x"), REG_ICASE),
        (QStringList{q("1X"), q("1")}));
    EXPECT_TRUE(
        CSRegex::regexWithPattern(QStringLiteral("a+"), REG_ICASE)->matchesString(QStringLiteral("A")));
    EXPECT_FALSE(CSRegex::regexWithPattern(QStringLiteral("a+"))->matchesString(QStringLiteral("A+")));
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("b"), QStringLiteral("(a)|(b)"), REG_NOSUB));
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("xaa"), QStringLiteral("(a)\\1")));
    EXPECT_FALSE(CSRegex::matchedByPattern(QStringLiteral("xab"), QStringLiteral("(a)\\1")));
}

TEST(KVCSRegexBlindTest, WithoutSubexpressionsTheSlotsStayZero)
{
    const CSRegex regex(QStringLiteral("(b)c"), REG_NOSUB);
    EXPECT_TRUE(regex.matchesString(QStringLiteral("abc")));
    EXPECT_FALSE(regex.matchesString(QStringLiteral("ab")));
    EXPECT_EQ(regex.rangeOfMatchInString(QStringLiteral("abc")), (NSRange{0, 0}));
    EXPECT_EQ(regex.rangeOfMatchInString(QStringLiteral("ab")), none);
    EXPECT_EQ(regex.matchedSubstringOfString(QStringLiteral("abc")), QStringLiteral(""));
    const auto captured = regex.capturedSubstringsOfString(QStringLiteral("abc"));
    ASSERT_TRUE(captured.has_value());
    for (const QString &text : *captured)
        EXPECT_EQ(text, QStringLiteral(""));
}

TEST(KVCSRegexBlindTest, PatternsThatDoNotCompile)
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

TEST(KVCSRegexBlindTest, HostilePatternsAreRefusedInTime)
{
    EXPECT_FALSE(refusal(QString(20000, u'(')).isNull());
    EXPECT_FALSE(refusal(QString(20000, u'(') + QString(20000, u')')).isNull());
    EXPECT_FALSE(refusal(QStringLiteral("((a{1,200}){1,200}){1,20}")).isNull());
    EXPECT_TRUE(refusal(QString(100, u'(') + u'a' + QString(100, u')')).isNull());
    EXPECT_TRUE(refusal(QStringLiteral("(a{1,20}){1,20}")).isNull());
}

TEST(KVCSRegexBlindTest, TextsEndAtANul)
{
    const QChar nul(0);
    EXPECT_TRUE(refusal(QStringLiteral("a") + nul + QStringLiteral("(")).isNull());
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("a"), QStringLiteral("a") + nul + u'b'));
    EXPECT_FALSE(CSRegex::matchedByPattern(QStringLiteral("a") + nul + u'b', QStringLiteral("b")));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("ab") + nul + u'b', QStringLiteral("b$")),
              (NSRange{1, 1}));
    const QString rest = QStringLiteral("b") + nul + QStringLiteral(",c");
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("a,") + rest, QStringLiteral(",")),
              (QStringList{q("a"), rest}));
}

TEST(KVCSRegexBlindTest, RangesPastTheEndRaise)
{
    const CSRegex regex(QStringLiteral("b"), 0);
    const QString shifted = q("\xc3\xa4"
                              "b");
    const QString range = QStringLiteral("NSRangeException");
    EXPECT_EQ(regex.rangeOfMatchInString(shifted), (NSRange{2, 1}));
    EXPECT_EQ(raisedName([&] { regex.matchedSubstringOfString(shifted); }), range);
    EXPECT_EQ(raisedName([&] { regex.allMatchedSubstringsOfString(shifted); }), range);
    EXPECT_EQ(raisedName([&] { regex.splitString(shifted); }), range);
    EXPECT_EQ(regex.capturedSubstringsOfString(shifted), QStringList{QStringLiteral("b")});
    EXPECT_TRUE(regex.matchesString(shifted));
}

TEST(KVCSRegexBlindTest, TheLocaleDoesNotMatterAndIsKept)
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

TEST(KVCSRegexBlindTest, EmptyMatchesNeverEndTheLoops)
{
    for (const bool split : {false, true}) {
        for (const char *pattern : {"x*", "$"}) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                const rlimit seconds{1, 1};
                const rlimit bytes{std::size_t(2) << 30, std::size_t(2) << 30};
                const rlimit noCore{0, 0};
                ::setrlimit(RLIMIT_CPU, &seconds);
                ::setrlimit(RLIMIT_AS, &bytes);
                ::setrlimit(RLIMIT_CORE, &noCore);
                std::set_terminate([] { ::_exit(42); });
                try {
                    if (split)
                        CSRegex(q(pattern), 0).splitString(QStringLiteral("abc"));
                    else
                        CSRegex(q(pattern), 0).allMatchedSubstringsOfString(QStringLiteral("abc"));
                } catch (const std::bad_alloc &) {
                    ::_exit(42);
                }
                ::_exit(0);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 42) << pattern << split;
        }
    }
}

TEST(KVCSRegexBlindThreads, OneExpressionServesSeveralThreads)
{
    const Ref<CSRegex> regex = CSRegex::regexWithPattern(QStringLiteral("([a-z]+)([0-9]+)"));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            const QString text = QStringLiteral("--abc%1").arg(thread);
            for (int round = 0; round < 200; ++round)
                wrong += regex->rangeOfMatchInString(text) == NSRange{2, 4} ? 0 : 1;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}
