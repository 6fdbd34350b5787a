#include "Platform/PropertyLists/PropertyListDates.h"
#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/PropertyLists/XMLPropertyList.h"

#include <QtCore/QDateTime>
#include <QtCore/QXmlStreamReader>

namespace KVBase::PropertyLists
{

namespace
{

/// Reads with Qt's streaming parser, which keeps no stack of its own per level, and checks each value's form.
class Reader {
public:
    explicit Reader(const QByteArray &data) : xml(data) {}

    QVariant readDocument()
    {
        if (!nextElement() || xml.name() != QLatin1StringView("plist"))
            return fail(QStringLiteral("no plist element"));
        if (!nextElement())
            return fail(QStringLiteral("an empty plist element"));
        QVariant value = readValue(1);
        if (!value.isValid())
            return {};
        if (nextElement())
            return fail(QStringLiteral("more than one value"));
        while (!xml.atEnd())
            xml.readNext();
        return failed() ? QVariant() : value;
    }

    QString error() const
    {
        const QString reason = reasonText.isEmpty() ? xml.errorString() : reasonText;
        return QStringLiteral("The XML property list is unreadable at line %1: %2.")
            .arg(xml.lineNumber())
            .arg(reason);
    }

private:
    QVariant fail(const QString &reason)
    {
        if (reasonText.isEmpty() && !xml.hasError())
            reasonText = reason;
        return {};
    }

    /// Goes to the next start tag; false at an end tag, at the end and at anything that has no place there.
    bool nextElement()
    {
        while (!xml.atEnd() && reasonText.isEmpty()) {
            switch (xml.readNext()) {
            case QXmlStreamReader::StartElement:
                return true;
            case QXmlStreamReader::EndElement:
                return false;
            case QXmlStreamReader::Characters:
                if (!xml.isWhitespace())
                    fail(QStringLiteral("text between values"));
                break;
            case QXmlStreamReader::DTD:
                if (!xml.entityDeclarations().isEmpty())
                    fail(QStringLiteral("an entity declaration"));
                break;
            case QXmlStreamReader::EntityReference:
                fail(QStringLiteral("an unknown entity"));
                break;
            default:
                break;
            }
        }
        return false;
    }

    bool failed() const { return xml.hasError() || !reasonText.isEmpty(); }

    QVariant readValue(int depth)
    {
        if (depth > kMaximumDepth)
            return fail(QStringLiteral("too many levels"));
        if (++values > kMaximumValues)
            return fail(QStringLiteral("too many values"));
        const QStringView name = xml.name();
        if (name == QLatin1StringView("dict"))
            return readDictionary(depth);
        if (name == QLatin1StringView("array"))
            return readArray(depth);
        return readLeaf(name.toString());
    }

    QVariant readArray(int depth)
    {
        QVariantList list;
        while (nextElement()) {
            list.append(readValue(depth + 1));
            if (!list.constLast().isValid())
                return {};
        }
        return failed() ? QVariant() : QVariant(list);
    }

    QVariant readDictionary(int depth)
    {
        QVariantMap map;
        while (nextElement()) {
            if (xml.name() != QLatin1StringView("key"))
                return fail(QStringLiteral("a value without a key"));
            const QString key = readText();
            if (failed() || !nextElement())
                return fail(QStringLiteral("a key without a value"));
            const QVariant value = readValue(depth + 1);
            if (!value.isValid())
                return {};
            map.insert(key, value);
        }
        return failed() ? QVariant() : QVariant(map);
    }

    /// Never nil.
    QString readText()
    {
        const QString text = xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        return text.isNull() ? QStringLiteral("") : text;
    }

    QVariant readLeaf(const QString &name)
    {
        const QString text = readText();
        if (failed())
            return {};
        if (name == QLatin1StringView("string"))
            return text;
        const QVariant value = leafValue(name, text);
        return value.isValid() ? value : fail(QStringLiteral("a %1 that is none").arg(name.left(40)));
    }

    static QVariant leafValue(const QString &name, const QString &text)
    {
        if (name == QLatin1StringView("true") || name == QLatin1StringView("false"))
            return text.trimmed().isEmpty() ? QVariant(name == QLatin1StringView("true")) : QVariant();
        if (name == QLatin1StringView("integer"))
            return integerValue(text.trimmed());
        if (name == QLatin1StringView("real"))
            return realValue(text.trimmed());
        if (name == QLatin1StringView("date"))
            return dateValue(text.trimmed());
        if (name == QLatin1StringView("data"))
            return dataValue(text);
        return {};
    }

    static QVariant integerValue(const QString &text)
    {
        const bool negative = text.startsWith(u'-');
        QStringView digits = QStringView(text).mid(negative || text.startsWith(u'+') ? 1 : 0);
        const bool hexadecimal = digits.startsWith(QLatin1StringView("0x"), Qt::CaseInsensitive);
        if (hexadecimal)
            digits = digits.mid(2);
        if (digits.isEmpty() || digits.front() == u'-' || digits.front() == u'+')
            return {};
        bool understood = false;
        const qulonglong magnitude = digits.toULongLong(&understood, hexadecimal ? 16 : 10);
        if (!understood)
            return {};
        return signedValue(magnitude, negative);
    }

    static QVariant signedValue(qulonglong magnitude, bool negative)
    {
        constexpr qulonglong highest = std::numeric_limits<qlonglong>::max();
        if (negative) {
            if (magnitude > highest + 1)
                return {};
            return static_cast<qlonglong>(~magnitude + 1);
        }
        if (magnitude > highest)
            return magnitude;
        return static_cast<qlonglong>(magnitude);
    }

    static QVariant realValue(const QString &text)
    {
        const QString lower = text.toLower();
        if (lower == QLatin1StringView("+infinity") || lower == QLatin1StringView("infinity"))
            return qInf();
        if (lower == QLatin1StringView("-infinity"))
            return -qInf();
        bool understood = false;
        const double value = lower.toDouble(&understood);
        return understood ? QVariant(value) : QVariant();
    }

    static QVariant dateValue(const QString &text)
    {
        const QDateTime date = dateFromText(text);
        return date.isValid() ? QVariant(date) : QVariant();
    }

    static QVariant dataValue(const QString &text)
    {
        QByteArray letters = text.toLatin1();
        letters.removeIf(
            [](char letter) { return letter == ' ' || letter == '\t' || letter == '\n' || letter == '\r'; });
        const auto decoded = QByteArray::fromBase64Encoding(letters, QByteArray::AbortOnBase64DecodingErrors);
        return decoded ? QVariant(*decoded) : QVariant();
    }

    QXmlStreamReader xml;
    QString reasonText;
    quint64 values = 0;
};

} // namespace

QVariant readXML(const QByteArray &data, QString *errorText)
{
    Reader reader(data);
    QVariant plist = reader.readDocument();
    if (!plist.isValid())
        *errorText = reader.error();
    return plist;
}

} // namespace KVBase::PropertyLists
