#include "Platform/PropertyLists/OldStyleScanner.h"

namespace KVBase::PropertyLists
{

namespace
{

bool isSpace(char16_t unit)
{
    return unit == u' ' || (unit >= u'\t' && unit <= u'\r') || unit == 0x2028 || unit == 0x2029 ||
           unit == 0xfeff;
}

bool isWordLetter(char16_t unit)
{
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
           (unit >= u'0' && unit <= u'9') || unit == u'_' || unit == u'$' || unit == u'/' || unit == u':' ||
           unit == u'.' || unit == u'-';
}

bool isQuote(char16_t unit) { return unit == u'"' || unit == u'\''; }

int hexDigit(char16_t unit)
{
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const char16_t lower = unit | 0x20;
    return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : -1;
}

/// What a backslash and this letter stand for.
char16_t escaped(char16_t letter)
{
    switch (letter) {
    case u'n':
        return u'\n';
    case u't':
        return u'\t';
    case u'r':
        return u'\r';
    case u'a':
        return u'\a';
    case u'b':
        return u'\b';
    case u'f':
        return u'\f';
    case u'v':
        return u'\v';
    default:
        return letter;
    }
}

/// Where `unit` is met first, at `stop` when it is not.
const char16_t *find(char16_t unit, const char16_t *from, const char16_t *stop)
{
    const qsizetype length = QStringView(from, stop).indexOf(QChar(unit));
    return length < 0 ? stop : from + length;
}

const QChar *characters(const char16_t *units) { return reinterpret_cast<const QChar *>(units); }

} // namespace

void OldStyleScanner::skipBlanks()
{
    while (next != end) {
        if (isSpace(*next))
            ++next;
        else if (startsWith(u'/', u'/'))
            skipLine();
        else if (startsWith(u'/', u'*'))
            skipComment();
        else
            return;
    }
}

bool OldStyleScanner::take(char16_t unit)
{
    skipBlanks();
    if (next == end || *next != unit)
        return false;
    ++next;
    return true;
}

bool OldStyleScanner::startsWithText() const
{
    return next != end && (isQuote(*next) || isWordLetter(*next));
}

bool OldStyleScanner::readText(QString *text)
{
    if (isQuote(*next))
        return readQuoted(text);
    const char16_t *const first = next;
    while (next != end && isWordLetter(*next))
        ++next;
    *text = QString(characters(first), next - first);
    return next != first;
}

bool OldStyleScanner::readByte(char *byte)
{
    const int high = end - next < 2 ? -1 : hexDigit(next[0]);
    const int low = high < 0 ? -1 : hexDigit(next[1]);
    if (low < 0)
        return false;
    *byte = static_cast<char>(high << 4 | low);
    next += 2;
    return true;
}

bool OldStyleScanner::startsWith(char16_t first, char16_t second) const
{
    return *next == first && end - next > 1 && next[1] == second;
}

void OldStyleScanner::skipLine()
{
    while (next != end && *next != u'\n' && *next != u'\r' && *next != 0x2028)
        ++next;
}

void OldStyleScanner::skipComment()
{
    next += 2;
    do {
        next = find(u'*', next, end);
        if (next == end)
            return;
        ++next;
    } while (next == end || *next != u'/');
    ++next;
}

/// What stands between two escapes is taken as a whole. The closing quote is looked for again only when an
/// escape stood for it, so that each character is looked at a fixed number of times.
bool OldStyleScanner::readQuoted(QString *text)
{
    const char16_t quote = *next++;
    const char16_t *closing = find(quote, next, end);
    const char16_t *plain = find(u'\\', next, closing);
    *text = QString(characters(next), plain - next);
    for (next = plain; next != closing; next = plain) {
        if (++next == end)
            return false;
        appendEscape(text);
        if (next > closing)
            closing = find(quote, next, end);
        plain = find(u'\\', next, closing);
        text->append(characters(next), plain - next);
    }
    if (next == end)
        return false;
    ++next;
    return true;
}

/// Reads what follows a backslash; `next` is not at the end.
void OldStyleScanner::appendEscape(QString *text)
{
    const bool isOctal = *next >= u'0' && *next <= u'7';
    const char16_t letter = isOctal ? u'0' : *next++;
    const bool isHexadecimal = (letter == u'u' || letter == u'U') && next != end && hexDigit(*next) >= 0;
    if (isOctal)
        text->append(QChar(readDigits(3, 8)));
    else
        text->append(QChar(isHexadecimal ? readDigits(4, 16) : escaped(letter)));
}

char16_t OldStyleScanner::readDigits(int most, int base)
{
    int value = 0;
    for (int count = 0; count < most && next != end; ++count, ++next) {
        const int digit = hexDigit(*next);
        if (digit < 0 || digit >= base)
            break;
        value = value * base + digit;
    }
    return static_cast<char16_t>(value);
}

} // namespace KVBase::PropertyLists
