#include "Platform/PropertyLists/OldStylePropertyList.h"

#include "Platform/PropertyLists/OldStyleScanner.h"
#include "Platform/PropertyLists/PropertyListLimits.h"

namespace KVBase::PropertyLists
{

namespace
{

class Reader {
public:
    explicit Reader(QStringView source) : scanner(source) {}

    QVariant readDocument()
    {
        scanner.skipBlanks();
        if (scanner.atEnd())
            return {};
        QVariant value = scanner.startsWithText() ? readBarePairs() : readValue(1);
        scanner.skipBlanks();
        return scanner.atEnd() ? value : QVariant();
    }

    /// Hands each pair to `sink`, a text as a `QString` and any other value as a `QVariant`; answers whether
    /// the pairs end at the closing brace or at the end of the text.
    template <class Sink>
    bool readPairs(int depth, Sink &&sink)
    {
        for (;;) {
            scanner.skipBlanks();
            if (scanner.atEnd() || scanner.peek() == u'}')
                return true;
            if (!readPair(depth, sink))
                return false;
        }
    }

    qsizetype line() const { return scanner.line(); }

private:
    template <class Sink>
    bool readPair(int depth, Sink &sink)
    {
        QString key;
        if (!scanner.readText(&key))
            return false;
        if (!scanner.take(u'=')) {
            const bool whole = scanner.take(u';');
            if (whole)
                sink(key, key);
            return whole;
        }
        scanner.skipBlanks();
        return scanner.startsWithText() ? readTextOfPair(key, depth, sink) : readTreeOfPair(key, depth, sink);
    }

    template <class Sink>
    bool readTextOfPair(const QString &key, int depth, Sink &sink)
    {
        QString text;
        if (depth > kMaximumDepth || !scanner.readText(&text) || !scanner.take(u';'))
            return false;
        sink(key, text);
        return true;
    }

    template <class Sink>
    bool readTreeOfPair(const QString &key, int depth, Sink &sink)
    {
        const QVariant value = readValue(depth);
        if (!value.isValid() || !scanner.take(u';'))
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
        if (scanner.atEnd() || depth > kMaximumDepth)
            return {};
        switch (scanner.peek()) {
        case u'{':
            return readDictionary(depth);
        case u'(':
            return readArray(depth);
        case u'<':
            return readData();
        default: {
            QString text;
            return scanner.readText(&text) ? QVariant(text) : QVariant();
        }
        }
    }

    QVariant readDictionary(int depth)
    {
        scanner.take(u'{');
        QVariantMap map;
        const bool whole = readPairs(
            depth + 1, [&map](const QString &key, const QVariant &value) { map.insert(key, value); });
        return whole && scanner.take(u'}') ? QVariant(map) : QVariant();
    }

    QVariant readArray(int depth)
    {
        scanner.take(u'(');
        QVariantList list;
        while (!scanner.take(u')')) {
            list.append(readValue(depth + 1));
            if (!list.constLast().isValid())
                return {};
            if (!scanner.take(u',')) {
                return scanner.take(u')') ? QVariant(list) : QVariant();
            }
        }
        return list;
    }

    QVariant readData()
    {
        scanner.take(u'<');
        QByteArray bytes;
        while (!scanner.take(u'>')) {
            char byte = 0;
            if (!scanner.readByte(&byte))
                return {};
            bytes.append(byte);
        }
        return bytes;
    }

    OldStyleScanner scanner;
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
