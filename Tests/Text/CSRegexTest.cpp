#include <KVBase/CSRegex.h>
#include <KVBase/Platform/NSException.h>

#include <QtCore/QElapsedTimer>

#include <gtest/gtest.h>

#include <clocale>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

NSException exceptionOf(const QString &pattern, std::int32_t options = 0)
{
    try {
        const CSRegex regex(pattern, options);
    } catch (const NSException &exception) {
        return exception;
    }
    return {QStringLiteral("none"), QString()};
}

struct EscapeRow {
    const char *text;
    const char *expected;
};

TEST(CSRegexTest, EscapesTheTwelveSpecialCharactersAlone)
{
    const EscapeRow rows[] = {
        {"a.b*c", "a\\.b\\*c"},
        {"[x]", "\\[x]"},
        {"{1}", "\\{1}"},
        {"a-b", "a-b"},
        {"", ""},
        {"$()*+.?[\\^{|", "\\$\\(\\)\\*\\+\\.\\?\\[\\\\\\^\\{\\|"},
        {"]}-/&\"", "]}-/&\""},
        {"\xc3\xa4\xe8\x80\x80", "\xc3\xa4\xe8\x80\x80"},
    };
    for (const EscapeRow &row : rows)
        EXPECT_EQ(CSRegex::escapedPattern(QString::fromUtf8(row.text)), QString::fromUtf8(row.expected))
            << row.text;
    EXPECT_TRUE(CSRegex::escapedPattern(QString()).isNull());
    EXPECT_FALSE(CSRegex::escapedPattern(QStringLiteral("")).isNull());
}

TEST(CSRegexTest, AnEscapedTextMatchesItself)
{
    const QString text = QStringLiteral("a.b*c[1]{2}(3)|^$+?\\-");
    const NSRange whole{0, static_cast<std::uint32_t>(text.size())};
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(text, CSRegex::escapedPattern(text)), whole);
}

TEST(CSRegexTest, EscapingKeepsSurrogatesAndNul)
{
    const QString text = QString(QChar(0xd83d)) + QChar(0) + QChar(0xdc00);
    EXPECT_EQ(CSRegex::escapedPattern(text), text);
}

struct ListRow {
    const char *text;
    const char *pattern;
    QStringList expected;
};

TEST(CSRegexTest, SplitsIntoThePiecesBetweenMatches)
{
    const ListRow rows[] = {
        {"a,b,,c", ",", {"a", "b", "", "c"}},
        {",a,", ",", {"", "a", ""}},
        {"abc", ",", {"abc"}},
        {"", ",", {""}},
        {",", ",", {"", ""}},
        {"a1b22c", "[0-9]+", {"a", "b", "c"}},
        {"aaab", "^a", {"", "", "", "b"}},
    };
    for (const ListRow &row : rows)
        EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QLatin1String(row.text), QLatin1String(row.pattern)),
                  row.expected)
            << row.text;
}

TEST(CSRegexTest, FindsAllMatchesInOrder)
{
    const ListRow rows[] = {
        {"a1b22c333", "[0-9]+", {"1", "22", "333"}},
        {"abc", "[0-9]+", {}},
        {"aaab", "^a", {"a", "a", "a"}},
        {"aAa", "a", {"a", "a"}},
    };
    for (const ListRow &row : rows)
        EXPECT_EQ(CSRegex::allSubstringsMatchedByPattern(QLatin1String(row.text), QLatin1String(row.pattern)),
                  row.expected)
            << row.text;
    EXPECT_EQ(CSRegex::allSubstringsMatchedByPattern(QStringLiteral("aAa"), QStringLiteral("a"), REG_ICASE),
              QStringList({"a", "A", "a"}));
}

TEST(CSRegexTest, AnswersTheFirstMatch)
{
    EXPECT_EQ(CSRegex::substringMatchedByPattern(QStringLiteral("x12y345"), QStringLiteral("[0-9]+")),
              QStringLiteral("12"));
    EXPECT_TRUE(CSRegex::substringMatchedByPattern(QStringLiteral("xyz"), QStringLiteral("[0-9]+")).isNull());
    const QString empty = CSRegex::substringMatchedByPattern(QStringLiteral("xyz"), QStringLiteral("[0-9]*"));
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_FALSE(empty.isNull());
    EXPECT_EQ(CSRegex::substringMatchedByPattern(QStringLiteral("xABy"), QStringLiteral("ab"), REG_ICASE),
              QStringLiteral("AB"));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("x12y345"), QStringLiteral("[0-9]+")),
              (NSRange{1, 2}));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("xyz"), QStringLiteral("[0-9]+")),
              (NSRange{0x7fffffff, 0}));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("a\nb"), QStringLiteral("^b"), REG_NEWLINE),
              (NSRange{2, 1}));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("a\nb"), QStringLiteral("^b")),
              (NSRange{NSNotFound, 0}));
}

TEST(CSRegexTest, CapturesTheWholeMatchAndEachGroup)
{
    const auto captured = [](const char *text, const char *pattern) {
        return CSRegex::substringsCapturedByPattern(QString::fromUtf8(text), QString::fromUtf8(pattern));
    };
    EXPECT_EQ(captured("b", "(a)|(b)"), QStringList({"b", "", "b"}));
    EXPECT_EQ(captured("key = value", "([a-z]+) *= *([a-z]+)"), QStringList({"key = value", "key", "value"}));
    EXPECT_EQ(captured("xay", "a"), QStringList({"a"}));
    EXPECT_FALSE(captured("c", "(a)|(b)").has_value());
    EXPECT_FALSE(captured("b", "(a)|(b)")->at(1).isNull());
    EXPECT_EQ(CSRegex::substringsCapturedByPattern(QStringLiteral("B"), QStringLiteral("(a)|(b)"), REG_ICASE),
              QStringList({"B", "", "B"}));
}

TEST(CSRegexTest, CapturesNonASCIITextWhole)
{
    EXPECT_EQ(CSRegex::substringsCapturedByPattern(QStringLiteral("xäöü=ß"), QStringLiteral("([^=]+)=(.*)")),
              QStringList({QStringLiteral("xäöü=ß"), QStringLiteral("xäöü"), QStringLiteral("ß")}));
}

TEST(CSRegexTest, AGroupThatStartsInsideACharacterReadsAsReplacementCharacters)
{
    const auto captures = CSRegex::substringsCapturedByPattern(QStringLiteral("ä"), QStringLiteral("^.(.)$"));
    EXPECT_EQ(captures, QStringList({QStringLiteral("ä"), QString(QChar(0xfffd))}));
}

TEST(CSRegexTest, RangesCountBytesAndSubstringsAreCutByUnits)
{
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("äbcd"), QStringLiteral("b")), (NSRange{2, 1}));
    EXPECT_EQ(CSRegex::substringMatchedByPattern(QStringLiteral("äbcd"), QStringLiteral("b")),
              QStringLiteral("c"));
    EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("äb,cdef"), QStringLiteral(",")),
              QStringList({QStringLiteral("äb,"), QStringLiteral("def")}));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("😀x"), QStringLiteral("x")), (NSRange{4, 1}));
}

TEST(CSRegexTest, ARangePastTheEndThrows)
{
    const QString text = QStringLiteral("äöüx");
    for (const auto &function :
         {+[](const QString &t) {
              return QStringList(CSRegex::substringMatchedByPattern(t, QStringLiteral("x")));
          },
          +[](const QString &t) { return CSRegex::allSubstringsMatchedByPattern(t, QStringLiteral("x")); },
          +[](const QString &t) { return CSRegex::componentsSeparatedByPattern(t, QStringLiteral("x")); }}) {
        try {
            function(text);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const NSException &exception) {
            EXPECT_EQ(exception.name(), QStringLiteral("NSRangeException"));
        }
    }
}

TEST(CSRegexTest, APatternThatDoesNotCompileThrows)
{
    const NSException exception = exceptionOf(QStringLiteral("("));
    EXPECT_EQ(exception.name(), QStringLiteral("CSRegexException"));
    EXPECT_TRUE(exception.reason().startsWith(QStringLiteral("Could not compile regex \"(\": ")));
    EXPECT_GT(exception.reason().size(), 29);
    for (const char *pattern : {"[", "a\\", "[b-a]", "a{2,1}", "[[:nonsense:]]", "*{"})
        EXPECT_NE(exceptionOf(QLatin1String(pattern)).name(), QStringLiteral("crashed")) << pattern;
    EXPECT_EQ(exceptionOf(QStringLiteral("[[:nonsense:]]")).name(), QStringLiteral("CSRegexException"));
    EXPECT_EQ(exceptionOf(QStringLiteral("[ä%1%@")).reason().left(34),
              QStringLiteral("Could not compile regex \"[ä%1%@\": "));
}

TEST(CSRegexTest, APatternThatWouldNeedTooMuchThrows)
{
    const auto repeated = [](const char *part, int times) {
        return QString::fromLatin1(QByteArray(part).repeated(times));
    };
    const QString patterns[] = {
        repeated("(", 20000) + repeated(")", 20000),
        repeated("(", 251) + QLatin1Char('a') + repeated(")", 251),
        QStringLiteral("((a{1,200}){1,200}){1,20}"),
        repeated("(", 200) + QLatin1Char('a') + repeated(")+", 200),
        repeated("a?", 20000),
        repeated("a|", 30000),
        repeated("()", 20000),
        repeated("a", 1000000),
        QLatin1Char('a') + repeated("*", 60000),
        QStringLiteral("a{1,99999999999999999999}"),
    };
    for (const QString &pattern : patterns) {
        const NSException exception = exceptionOf(pattern);
        EXPECT_EQ(exception.name(), QStringLiteral("CSRegexException")) << qPrintable(pattern.left(20));
        EXPECT_TRUE(exception.reason().startsWith(QStringLiteral("Could not compile regex \"") + pattern +
                                                  QStringLiteral("\": ")));
    }
}

TEST(CSRegexTest, PatternsWithinTheLimitsAreNotRefused)
{
    const auto repeated = [](const char *part, int times) {
        return QString::fromLatin1(QByteArray(part).repeated(times));
    };
    const QString patterns[] = {
        repeated("(", 250) + QLatin1Char('a') + repeated(")", 250),
        repeated("a", 30000),
        repeated("\\(", 20000),
        QStringLiteral("[(((]") + repeated("[[:alpha:](]", 500),
        repeated("[](]", 500),
        QStringLiteral("a{255}"),
        QStringLiteral("(ab{1,20}c){1,20}"),
    };
    for (const QString &pattern : patterns)
        EXPECT_EQ(exceptionOf(pattern).name(), QStringLiteral("none")) << qPrintable(pattern.left(20));
}

TEST(CSRegexTest, MatchesWithoutItsGroups)
{
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("xab"), QStringLiteral("(a)(b)")));
    EXPECT_FALSE(CSRegex::matchedByPattern(QStringLiteral("xba"), QStringLiteral("(a)(b)")));
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("xAB"), QStringLiteral("(a)(b)"), REG_ICASE));
    EXPECT_FALSE(CSRegex::matchedByPattern(QStringLiteral("xAB"), QStringLiteral("(a)(b)"), 0));
    // The line break is an ordinary character unless the caller asks for REG_NEWLINE.
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("a\nb"), QStringLiteral("a.b")));
    EXPECT_FALSE(CSRegex::matchedByPattern(QStringLiteral("a\nb"), QStringLiteral("a.b"), REG_NEWLINE));
}

TEST(CSRegexTest, TheSyntaxIsAlwaysExtended)
{
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("ab"), QStringLiteral("^(a|x)b+$")));
    EXPECT_TRUE(CSRegex(QStringLiteral("^(a|x)b+$"), 0).matchesString(QStringLiteral("ab")));
    EXPECT_TRUE(CSRegex::regexWithPattern(QStringLiteral("^(a|x)b+$"))->matchesString(QStringLiteral("ab")));
}

TEST(CSRegexTest, NullIsTheEmptyText)
{
    EXPECT_EQ(CSRegex::null(), QStringLiteral(""));
    EXPECT_FALSE(CSRegex::null().isNull());
}

TEST(CSRegexTest, NilMatchesNothingAndIsNoPattern)
{
    const CSRegex regex(QStringLiteral("x*"), 0);
    EXPECT_FALSE(regex.matchesString(QString()));
    EXPECT_EQ(regex.rangeOfMatchInString(QString()), (NSRange{NSNotFound, 0}));
    EXPECT_TRUE(regex.matchedSubstringOfString(QString()).isNull());
    EXPECT_TRUE(regex.allMatchedSubstringsOfString(QString()).isEmpty());
    EXPECT_EQ(regex.splitString(QString()), QStringList(QString()));
    EXPECT_FALSE(regex.capturedSubstringsOfString(QString()).has_value());
    EXPECT_TRUE(regex.matchesString(QStringLiteral("")));
    EXPECT_EQ(exceptionOf(QString()).name(), QStringLiteral("NSInvalidArgumentException"));
    EXPECT_FALSE(CSRegex::matchedByPattern(QString(), QStringLiteral("x*")));
    EXPECT_TRUE(CSRegex::componentsSeparatedByPattern(QString(), QStringLiteral("x*")).isEmpty());
}

TEST(CSRegexTest, PatternsAndTextsEndAtANul)
{
    const QString pattern = QStringLiteral("a") + QChar(0) + QStringLiteral("(");
    const QString text = QStringLiteral("x") + QChar(0) + QStringLiteral("a");
    EXPECT_EQ(exceptionOf(pattern).name(), QStringLiteral("none"));
    EXPECT_FALSE(CSRegex::matchedByPattern(text, pattern));
    EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("a"), pattern));
}

TEST(CSRegexTest, ALoneSurrogateIsNoQuestionMark)
{
    const QString text = QLatin1Char('a') + QString(QChar(0xd800));
    EXPECT_FALSE(CSRegex::matchedByPattern(text, QStringLiteral("[?]")));
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(text, QStringLiteral("a.*")), (NSRange{0, 4}));
}

TEST(CSRegexTest, WithoutGroupsEveryMatchIsTheEmptyOneAtTheStart)
{
    const CSRegex regex(QStringLiteral("b(c)"), REG_NOSUB);
    EXPECT_EQ(regex.rangeOfMatchInString(QStringLiteral("abc")), (NSRange{0, 0}));
    EXPECT_EQ(regex.rangeOfMatchInString(QStringLiteral("xyz")), (NSRange{NSNotFound, 0}));
}

TEST(CSRegexTest, TheProgramsLocaleChangesNothing)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(QStringLiteral("ä"), QStringLiteral(".")), (NSRange{0, 1}));
    EXPECT_FALSE(CSRegex::matchedByPattern(QStringLiteral("Ä"), QStringLiteral("ä"), REG_ICASE));
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
    std::setlocale(LC_ALL, before.c_str());
}

TEST(CSRegexTest, ALongTextIsSearched)
{
    const QString text = QString(1000000, QLatin1Char('a')) + QLatin1Char('b');
    EXPECT_EQ(CSRegex::rangeMatchedByPattern(text, QStringLiteral("b")), (NSRange{1000000, 1}));
}

/// How a child ends that runs `work` with little time and memory.
template <class Work>
int signalOfBoundedChild(Work work)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit time{1, 1};
        setrlimit(RLIMIT_CPU, &time);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST(CSRegexTest, SplittingAtAnExpressionThatMatchesNothingDoesNotEnd)
{
    const int expected = signalOfBoundedChild([] {
        for (volatile bool forEver = true; forEver;) {
        }
    });
    ASSERT_NE(expected, 0);
    // No list grows without bound here: the child stops the same loop by time before it has used much memory.
    EXPECT_EQ(signalOfBoundedChild(
                  [] { CSRegex::componentsSeparatedByPattern(QStringLiteral("a"), QStringLiteral("x*")); }),
              expected);
    EXPECT_EQ(signalOfBoundedChild(
                  [] { CSRegex::allSubstringsMatchedByPattern(QStringLiteral("a"), QStringLiteral("$")); }),
              expected);
}

TEST(CSRegexThreads, OneExpressionServesManyThreads)
{
    const CSRegex regex(QStringLiteral("([a-z]+)@([a-z]+)"), 0);
    std::vector<std::thread> threads;
    std::vector<int> right(4);
    for (std::size_t i = 0; i < right.size(); ++i) {
        threads.emplace_back([&regex, &right, i] {
            for (int round = 0; round < 200; ++round) {
                if (regex.capturedSubstringsOfString(QStringLiteral("--ab@cd--")) ==
                    QStringList({"ab@cd", "ab", "cd"}))
                    ++right[i];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(right, std::vector<int>(4, 200));
}

} // namespace
} // namespace KVBase
