#include <KVBase/CSRegex.h>
#include <KVBase/Email.h>
#include <KVBase/KVLog.h>

#include "Text/CSRegexBytes.h"
#include "Text/EmailReasons.h"

#include <QtCore/QVarLengthArray>

namespace KVBase
{

namespace
{

// The characters that are named when they make a part of an address invalid. The letters are common to all
// parts.
#define KV_LETTERS                                                                                           \
    u"\u00e4\u00f6\u00fc\u00df\u00c4\u00d6\u00dc"                                                            \
    u"\u00e1\u00e0\u00e2\u00e9\u00e8\u00ea\u00ed\u00ec\u00ee\u00f3\u00f2\u00f4\u00fa\u00f9\u00fb"            \
    u"\u00c1\u00c0\u00c2\u00c9\u00c8\u00ca\u00cd\u00cc\u00ce\u00d3\u00d2\u00d4\u00da\u00d9\u00db"            \
    u"\u00f1\u00d1\u00e5\u00c5\u00f8\u00d8\u00e7\u00c7\u0131\u0152\u00c6\u00e6\u0153"
#define KV_DOMAIN_CHARACTERS                                                                                 \
    u"+_%\u00b1()/"                                                                                          \
    u"=<>[]{}*\u2211\u2202" KV_LETTERS u"!\"\u00a7$&'|#\u00b4`^\u00b0!?\u00a1\u00bf\u2260\u00b6\u00a2~"

constexpr char16_t kMailboxCharacters[] =
    u"\u00b1()<>[]\u2211\u2202" KV_LETTERS u"!\"\u00a7|\u00b4\u00b0\u00a1\u00bf\u2260\u00b6\u00a2";
constexpr char16_t kDomainCharacters[] = KV_DOMAIN_CHARACTERS;
constexpr char16_t kTopLevelCharacters[] = u".-" KV_DOMAIN_CHARACTERS;
#undef KV_DOMAIN_CHARACTERS
#undef KV_LETTERS

static_assert(std::size(kMailboxCharacters) - 1 == 70);
static_assert(std::size(kDomainCharacters) - 1 == 87);
static_assert(std::size(kTopLevelCharacters) - 1 == 89);

/// The expressions are compiled once and never freed, so that threads may ask until the process ends. The
/// escaped parentheses at their ends stand for those that a part is wrapped in.
struct Expressions {
    CSRegex address{
        QStringLiteral(
            "\\({1}[A-Za-z0-9.!#$%&'*+-/=?^_`{|}~]{1,}@[A-Za-z0-9.-]{1,}\\.{1}[A-Za-z]{2,6}\\){1}"),
        0};
    CSRegex mailbox{QStringLiteral("\\({1}[A-Za-z0-9._%-]{1,}\\){1}"), 0};
    CSRegex domain{QStringLiteral("\\({1}[A-Za-z0-9.-]{1,}\\){1}"), 0};
    CSRegex topLevel{QStringLiteral("\\({1}[A-Za-z]{2,6}\\){1}"), 0};
    CSRegex digits{QStringLiteral("[0-9]+"), 0};
};

const Expressions &expressions()
{
    static const Expressions &made = *new Expressions;
    return made;
}

/// Whether `expression`, which asks for the parentheses, matches the whole of `part`. The expressions know
/// ASCII characters alone, so that any other one decides without them, and no memory is needed for a usual
/// part.
bool matchesWhole(const CSRegex &expression, QStringView part)
{
    QVarLengthArray<char, 256> wrapped(part.size() + 3);
    char *next = wrapped.data();
    *next++ = '(';
    for (const QChar unit : part) {
        if (unit.unicode() == 0 || unit.unicode() > 0x7f)
            return false;
        *next++ = static_cast<char>(unit.unicode());
    }
    *next++ = ')';
    *next = 0;
    const NSRange range = CSRegexBytes::rangeOfMatch(expression, wrapped.constData());
    return range.location == 0 && range.length == static_cast<std::size_t>(part.size()) + 2;
}

bool holdsWhitespace(const QString &part)
{
    return part.contains(QLatin1Char(' ')) || part.contains(QLatin1Char('\t'));
}

struct Finding {
    std::int32_t code;
    QChar character = {};
};

/// What is wrong with a part that its expression refuses. The codes for a blank, for a character of the set
/// and for any other follow each other, `firstCode` being that for a blank.
Finding findingInPart(const QString &part, QStringView characters, std::int32_t firstCode)
{
    if (holdsWhitespace(part))
        return {firstCode};
    for (const QChar unit : part) {
        if (characters.contains(unit))
            return {firstCode + 1, unit};
    }
    return {firstCode + 2};
}

Finding findingInTopLevel(const QString &topLevel)
{
    if (topLevel.size() <= 1)
        return {1305};
    if (topLevel.size() >= 7)
        return {1306};
    if (expressions().digits.matchesString(topLevel))
        return {1302};
    return findingInPart(topLevel, kTopLevelCharacters, 1310);
}

/// What is wrong with an address whose mailbox name, of `at` characters, is fine.
Finding findingBehindMailbox(const QString &text, qsizetype at)
{
    const qsizetype dot = text.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return {1002};
    if (dot < at)
        return {1003};
    if (dot == text.size() - 1)
        return {1301};
    const QString topLevel = text.sliced(dot + 1);
    KVLog("toplevel name: %@", topLevel);
    if (!matchesWhole(expressions().topLevel, topLevel))
        return findingInTopLevel(topLevel);
    if (dot - at < 2)
        return {1201};
    const QString domain = text.sliced(at + 1, dot - at - 1);
    KVLog("domain name: %@", domain);
    if (matchesWhole(expressions().domain, domain))
        return {1000};
    return findingInPart(domain, kDomainCharacters, 1210);
}

Finding finding(const QString &text)
{
    const qsizetype at = text.indexOf(QLatin1Char('@'));
    if (at == 0)
        return {1101};
    if (at < 0)
        return {1001};
    const QString mailbox = text.first(at);
    KVLog("mailbox name: %@", mailbox);
    if (!matchesWhole(expressions().mailbox, mailbox))
        return findingInPart(mailbox, kMailboxCharacters, 1110);
    return findingBehindMailbox(text, at);
}

} // namespace

bool Email::isValidEmailAddress(const QString &text)
{
    const QStringView trimmed = QStringView(text).trimmed();
    return !trimmed.isEmpty() && matchesWhole(expressions().address, trimmed);
}

bool Email::isValidEmailAddressWithError(const QString &text, NSError *error)
{
    if (isValidEmailAddress(text))
        return true;
    if (error != nullptr) {
        const Finding found = finding(text);
        *error = emailValidationError(found.code, found.character);
    }
    return false;
}

} // namespace KVBase
