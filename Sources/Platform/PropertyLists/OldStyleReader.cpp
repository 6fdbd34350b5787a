#include "Platform/PropertyLists/OldStylePropertyList.h"

#include "Platform/PropertyLists/PropertyListLimits.h"

#include <optional>

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

int hexDigit(char16_t unit)
{
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const char16_t lower = unit | 0x20;
    return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : -1;
}

class Reader {
public:
    explicit Reader(QStringView source) : next(source.utf16()), end(next + source.size()), start(next) {}

    QVariant readDocument()
    {
        skipBlanks();
        if (next == end)
            return {};
        QVariant value = startsWithText() ? readBarePairs() : readValue(1);
        skipBlanks();
        return next == end ? value : QVariant();
    }

    /// Hands each pair to `sink`, a text as a `QString` and any other value as a `QVariant`; answers whether
    /// the pairs end at the closing brace or at the end of the text.
    template <class Sink>
    bool readPairs(int depth, Sink &&sink)
    {
        for (;;) {
            skipBlanks();
            if (next == end || *next == u'}')
                return true;
            if (!readPair(depth, sink))
                return false;
        }
    }

    qsizetype line() const { return QStringView(start, next).count(u'\n') + 1; }

private:
    template <class Sink>
    bool readPair(int depth, Sink &sink)
    {
        QString key;
        if (!readText(key))
            return false;
        if (!take(u'=')) {
            const bool whole = take(u';');
            if (whole)
                sink(key, key);
            return whole;
        }
        skipBlanks();
        return startsWithText() ? readTextOfPair(key, depth, sink) : readTreeOfPair(key, depth, sink);
    }

    template <class Sink>
    bool readTextOfPair(const QString &key, int depth, Sink &sink)
    {
        QString text;
        if (depth > kMaximumDepth || !readText(text) || !take(u';'))
            return false;
        sink(key, text);
        return true;
    }

    template <class Sink>
    bool readTreeOfPair(const QString &key, int depth, Sink &sink)
    {
        const QVariant value = readValue(depth);
        if (!value.isValid() || !take(u';'))
            return false;
        sink(key, value);
        return true;
    }

    QVariant readBarePairs()
    {
        QVariantMap map;
        const bool whole =
            readPairs(2, [&map](const QString &key, const QVariant &value) { map.insert(key, value); });
        return whole ? QVariant(map) : QVariant();
    }

    QVariant readValue(int depth)
    {
        if (next == end || depth > kMaximumDepth)
            return {};
        switch (*next) {
        case u'{':
            return readDictionary(depth);
        case u'(':
            return readArray(depth);
        case u'<':
            return readData();
        default: {
            QString text;
            return readText(text) ? QVariant(text) : QVariant();
        }
        }
    }

    QVariant readDictionary(int depth)
    {
        ++next;
        QVariantMap map;
        const bool whole = readPairs(
            depth + 1, [&map](const QString &key, const QVariant &value) { map.insert(key, value); });
        return whole && take(u'}') ? QVariant(map) : QVariant();
    }

    QVariant readArray(int depth)
    {
        ++next;
        QVariantList list;
        while (!take(u')')) {
            list.append(readValue(depth + 1));
            if (!list.constLast().isValid())
                return {};
            if (!take(u',')) {
                return take(u')') ? QVariant(list) : QVariant();
            }
        }
        return list;
    }

    QVariant readData()
    {
        ++next;
        QByteArray bytes;
        while (!take(u'>')) {
            if (end - next < 2)
                return {};
            const int high = hexDigit(next[0]);
            const int low = hexDigit(next[1]);
            if (high < 0 || low < 0)
                return {};
            bytes.append(static_cast<char>(high << 4 | low));
            next += 2;
        }
        return bytes;
    }

    /// Skips blanks and comments. A comment that is not closed reaches to the end.
    void skipBlanks()
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

    bool startsWith(char16_t first, char16_t second) const
    {
        return *next == first && end - next > 1 && next[1] == second;
    }

    bool startsWithText() const
    {
        return next != end && (*next == u'"' || *next == u'\'' || isWordLetter(*next));
    }

    /// Where `unit` is met first, at `stop` when it is not.
    static const char16_t *find(char16_t unit, const char16_t *from, const char16_t *stop)
    {
        const qsizetype length = QStringView(from, stop).indexOf(QChar(unit));
        return length < 0 ? stop : from + length;
    }

    void skipLine()
    {
        while (next != end && *next != u'\n' && *next != u'\r' && *next != 0x2028)
            ++next;
    }

    void skipComment()
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

    /// Takes `unit` behind blanks, if it comes next.
    bool take(char16_t unit)
    {
        skipBlanks();
        if (next == end || *next != unit)
            return false;
        ++next;
        return true;
    }

    bool readText(QString &text)
    {
        if (*next == u'"' || *next == u'\'')
            return readQuoted(text);
        const char16_t *const first = next;
        while (next != end && isWordLetter(*next))
            ++next;
        text = QString(reinterpret_cast<const QChar *>(first), next - first);
        return next != first;
    }

    bool readQuoted(QString &text)
    {
        const char16_t quote = *next++;
        const char16_t *closing = find(quote, next, end);
        const char16_t *plain = find(u'\\', next, closing);
        text = QString(reinterpret_cast<const QChar *>(next), plain - next);
        for (next = plain; next != closing; next = plain) {
            if (++next == end)
                return false;
            appendEscape(text);
            if (next > closing)
                closing = find(quote, next, end);
            plain = find(u'\\', next, closing);
            text.append(reinterpret_cast<const QChar *>(next), plain - next);
        }
        if (next == end)
            return false;
        ++next;
        return true;
    }

    /// Reads what follows a backslash; `next` is not at the end.
    void appendEscape(QString &text)
    {
        const char16_t unit = *next;
        if (unit >= u'0' && unit <= u'7')
            return text.append(QChar(readDigits(3, 8))), void();
        ++next;
        switch (unit) {
        case u'n':
            return text.append(u'\n'), void();
        case u't':
            return text.append(u'\t'), void();
        case u'r':
            return text.append(u'\r'), void();
        case u'a':
            return text.append(u'\a'), void();
        case u'b':
            return text.append(u'\b'), void();
        case u'f':
            return text.append(u'\f'), void();
        case u'v':
            return text.append(u'\v'), void();
        case u'u':
        case u'U':
            if (next != end && hexDigit(*next) >= 0)
                return text.append(QChar(readDigits(4, 16))), void();
            [[fallthrough]];
        default:
            text.append(QChar(unit));
        }
    }

    char16_t readDigits(int most, int base)
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

    const char16_t *next;
    const char16_t *const end;
    const char16_t *const start;
};

} // namespace

QVariant readOldStyle(const QString &text, QString *errorText)
{
    Reader reader(text);
    QVariant plist = reader.readDocument();
    if (!plist.isValid())
        *errorText = QStringLiteral("The property list is unreadable at line %1.").arg(reader.line());
    return plist;
}

QHash<QString, QString> readStringPairs(const QString &text)
{
    QHash<QString, QString> pairs;
    struct Sink {
        QHash<QString, QString> &pairs;
        void operator()(const QString &key, const QString &value) { pairs.insert(key, value); }
        void operator()(const QString &, const QVariant &) {}
    };
    Reader(text).readPairs(1, Sink{pairs});
    return pairs;
}

} // namespace KVBase::PropertyLists
