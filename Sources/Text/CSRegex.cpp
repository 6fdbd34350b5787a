#include <KVBase/CSRegex.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

#include "Platform/Utf8.h"
#include "Text/PatternLimits.h"

#include <array>
#include <string>
#include <vector>

#include <locale.h>

namespace KVBase
{

namespace
{

constexpr NSRange kNoMatch{NSNotFound, 0};

/// Puts the calling thread into the C locale while it lives: the C library's expressions depend on the
/// locale.
class CLocale {
public:
    CLocale() : previous(uselocale(shared())) {}
    ~CLocale() { uselocale(previous); }
    CLocale(const CLocale &) = delete;
    CLocale &operator=(const CLocale &) = delete;

private:
    static locale_t shared()
    {
        static const locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
        return made;
    }

    locale_t previous;
};

[[noreturn]] void throwCompileError(int status, const regex_t *expression, const QString &pattern)
{
    std::array<char, 256> message{};
    regerror(status, expression, message.data(), message.size());
    throw NSException(QStringLiteral("CSRegexException"), QStringLiteral("Could not compile regex \"") +
                                                              pattern + QStringLiteral("\": ") +
                                                              QString::fromUtf8(message.data()));
}

void compile(regex_t *expression, const QString &pattern, std::int32_t options)
{
    const std::string bytes(utf8(pattern).constData());
    *expression = {};
    if (!patternIsWithinLimits({bytes.data(), static_cast<qsizetype>(bytes.size())}))
        throwCompileError(REG_ESIZE, expression, pattern);
    const CLocale locale;
    if (const int status = regcomp(expression, bytes.c_str(), options | REG_EXTENDED); status != 0)
        throwCompileError(status, expression, pattern);
}

/// Whether `expression` matches, and where: the slots stay as they are where the library writes nothing.
bool execute(const regex_t *expression, const char *subject, std::size_t count, regmatch_t *slots)
{
    const CLocale locale;
    return regexec(expression, subject, count, slots, 0) == 0;
}

/// The text in `range`, which must lie in `text`.
QString substring(const QString &text, NSRange range)
{
    const qsizetype start = range.location;
    const qsizetype length = range.length;
    if (start > text.size() || length > text.size() - start)
        throw NSException(NSRangeException, QStringLiteral("Range {%1, %2} out of bounds; string length %3")
                                                .arg(start)
                                                .arg(length)
                                                .arg(text.size()));
    return text.sliced(start, length);
}

QString substringFrom(const QString &text, std::uint32_t location)
{
    if (location > text.size())
        throw NSException(
            NSRangeException,
            QStringLiteral("Index %1 out of bounds; string length %2").arg(location).arg(text.size()));
    return text.sliced(location);
}

bool isSpecialInPatterns(QChar unit) { return QStringView(u"$()*+.?[\\^{|").contains(unit); }

} // namespace

Ref<CSRegex> CSRegex::regexWithPattern(const QString &pattern, std::int32_t options)
{
    return std::make_shared<CSRegex>(pattern, options);
}

Ref<CSRegex> CSRegex::regexWithPattern(const QString &pattern) { return regexWithPattern(pattern, 0); }

QString CSRegex::null() { return QStringLiteral(""); }

CSRegex::CSRegex(const QString &pattern, std::int32_t options)
{
    if (isNil(pattern))
        throw NSException(NSInvalidArgumentException, QStringLiteral("A regular expression needs a pattern"));
    compile(&expression, pattern, options);
}

CSRegex::~CSRegex() { regfree(&expression); }

bool CSRegex::matchesString(const QString &string) const
{
    return !isNil(string) && execute(&expression, utf8(string).constData(), 0, nullptr);
}

NSRange CSRegex::rangeOfMatchInString(const QString &string) const
{
    return isNil(string) ? kNoMatch : rangeOfMatchInBytes(utf8(string).constData());
}

NSRange CSRegex::rangeOfMatchInBytes(const char *subject) const
{
    regmatch_t slot{};
    if (!execute(&expression, subject, 1, &slot))
        return kNoMatch;
    return {static_cast<std::uint32_t>(slot.rm_so), static_cast<std::uint32_t>(slot.rm_eo - slot.rm_so)};
}

QString CSRegex::matchedSubstringOfString(const QString &string) const
{
    const NSRange range = rangeOfMatchInString(string);
    return range.location == NSNotFound ? QString() : substring(string, range);
}

// The two loops go on from the end of a match and nowhere else: an empty match at the start changes nothing,
// and then they do not end. Callers rely on getting every match as it is found, so no step is put in.

QStringList CSRegex::allMatchedSubstringsOfString(const QString &string) const
{
    QStringList matches;
    matches.reserve(10);
    QString subject = string;
    for (NSRange range = rangeOfMatchInString(subject); range.location != NSNotFound;
         range = rangeOfMatchInString(subject)) {
        matches.append(substring(subject, range));
        subject = substringFrom(subject, range.location + range.length);
    }
    return matches;
}

QStringList CSRegex::splitString(const QString &string) const
{
    QStringList pieces;
    pieces.reserve(10);
    QString subject = string;
    for (NSRange range = rangeOfMatchInString(subject); range.location != NSNotFound;
         range = rangeOfMatchInString(subject)) {
        pieces.append(substring(subject, {0, range.location}));
        subject = substringFrom(subject, range.location + range.length);
    }
    pieces.append(subject);
    return pieces;
}

std::optional<QStringList> CSRegex::capturedSubstringsOfString(const QString &string) const
{
    std::vector<regmatch_t> slots(expression.re_nsub + 1);
    const QByteArray subject = utf8(string);
    if (isNil(string) || !execute(&expression, subject.constData(), slots.size(), slots.data()))
        return std::nullopt;
    QStringList captures;
    for (const regmatch_t &slot : slots) {
        if (slot.rm_so == -1 && slot.rm_eo == -1)
            captures.append(null());
        else
            captures.append(QString::fromUtf8(subject.sliced(slot.rm_so, slot.rm_eo - slot.rm_so)));
    }
    return captures;
}

bool CSRegex::matchedByPattern(const QString &text, const QString &pattern)
{
    return matchedByPattern(text, pattern, 0);
}

bool CSRegex::matchedByPattern(const QString &text, const QString &pattern, std::int32_t options)
{
    return !isNil(text) && regexWithPattern(pattern, options | REG_NOSUB)->matchesString(text);
}

QString CSRegex::substringMatchedByPattern(const QString &text, const QString &pattern)
{
    return substringMatchedByPattern(text, pattern, 0);
}

QString CSRegex::substringMatchedByPattern(const QString &text, const QString &pattern, std::int32_t options)
{
    return isNil(text) ? QString() : regexWithPattern(pattern, options)->matchedSubstringOfString(text);
}

NSRange CSRegex::rangeMatchedByPattern(const QString &text, const QString &pattern)
{
    return rangeMatchedByPattern(text, pattern, 0);
}

NSRange CSRegex::rangeMatchedByPattern(const QString &text, const QString &pattern, std::int32_t options)
{
    return isNil(text) ? kNoMatch : regexWithPattern(pattern, options)->rangeOfMatchInString(text);
}

QStringList CSRegex::componentsSeparatedByPattern(const QString &text, const QString &pattern)
{
    return componentsSeparatedByPattern(text, pattern, 0);
}

QStringList CSRegex::componentsSeparatedByPattern(const QString &text, const QString &pattern,
                                                  std::int32_t options)
{
    return isNil(text) ? QStringList() : regexWithPattern(pattern, options)->splitString(text);
}

QStringList CSRegex::allSubstringsMatchedByPattern(const QString &text, const QString &pattern)
{
    return allSubstringsMatchedByPattern(text, pattern, 0);
}

QStringList CSRegex::allSubstringsMatchedByPattern(const QString &text, const QString &pattern,
                                                   std::int32_t options)
{
    return isNil(text) ? QStringList()
                       : regexWithPattern(pattern, options)->allMatchedSubstringsOfString(text);
}

std::optional<QStringList> CSRegex::substringsCapturedByPattern(const QString &text, const QString &pattern)
{
    return substringsCapturedByPattern(text, pattern, 0);
}

std::optional<QStringList> CSRegex::substringsCapturedByPattern(const QString &text, const QString &pattern,
                                                                std::int32_t options)
{
    if (isNil(text))
        return std::nullopt;
    return regexWithPattern(pattern, options)->capturedSubstringsOfString(text);
}

QString CSRegex::escapedPattern(const QString &text)
{
    if (isNil(text))
        return {};
    QString escaped = null();
    escaped.reserve(text.size());
    for (const QChar unit : text) {
        if (isSpecialInPatterns(unit))
            escaped.append(u'\\');
        escaped.append(unit);
    }
    return escaped;
}

} // namespace KVBase
