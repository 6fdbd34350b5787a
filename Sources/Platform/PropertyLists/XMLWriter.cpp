#include "Platform/PropertyLists/PropertyListDates.h"
#include "Platform/PropertyLists/XMLPropertyList.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

#include <cmath>

namespace KVBase::PropertyLists
{

namespace
{

constexpr char kHeader[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                           "<plist version=\"1.0\">\n";

/// Whether XML 1.0 has every character of `text`, and each surrogate its partner.
bool isXMLText(const QString &text)
{
    if (!text.isValidUtf16())
        return false;
    return std::none_of(text.cbegin(), text.cend(), [](QChar unit) {
        const char16_t code = unit.unicode();
        return (code < 0x20 && code != u'\t' && code != u'\n' && code != u'\r') || code >= 0xfffe;
    });
}

/// A carriage return is written as a reference: a reader would turn a plain one into a line feed.
QByteArray escaped(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    bytes.replace('&', "&amp;").replace('<', "&lt;").replace('>', "&gt;").replace('\r', "&#13;");
    return bytes;
}

QByteArray realText(double value)
{
    if (std::isinf(value))
        return value > 0 ? "+infinity" : "-infinity";
    return std::isnan(value) ? "nan" : QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

class Writer {
public:
    bool write(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::QVariantMap:
            return writeDictionary(value.toMap());
        case QMetaType::QVariantList:
            return writeArray(value.toList());
        case QMetaType::QString:
            return writeText("string", value.toString());
        case QMetaType::Bool:
            return line(value.toBool() ? "<true/>" : "<false/>");
        case QMetaType::Double:
            return line("<real>" + realText(value.toDouble()) + "</real>");
        case QMetaType::QByteArray:
            return line("<data>" + value.toByteArray().toBase64() + "</data>");
        case QMetaType::QDateTime:
            return line("<date>" + textFromDate(value.toDateTime()).toLatin1() + "</date>");
        default:
            return line("<integer>" + value.toString().toLatin1() + "</integer>");
        }
    }

    QByteArray document() const { return kHeader + bytes + "</plist>\n"; }

private:
    bool line(const QByteArray &text)
    {
        bytes.append(indent, '\t').append(text).append('\n');
        return true;
    }

    bool writeText(const QByteArray &element, const QString &text)
    {
        return isXMLText(text) && line('<' + element + '>' + escaped(text) + "</" + element + '>');
    }

    bool writeArray(const QVariantList &list)
    {
        if (list.isEmpty())
            return line("<array/>");
        line("<array>");
        ++indent;
        for (const QVariant &element : list) {
            if (!write(element))
                return false;
        }
        --indent;
        return line("</array>");
    }

    bool writeDictionary(const QVariantMap &map)
    {
        if (map.isEmpty())
            return line("<dict/>");
        line("<dict>");
        ++indent;
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
            if (!writeText("key", entry.key()) || !write(entry.value()))
                return false;
        }
        --indent;
        return line("</dict>");
    }

    QByteArray bytes;
    qsizetype indent = 0;
};

} // namespace

std::optional<QByteArray> writeXML(const QVariant &plist, QString *errorText)
{
    Writer writer;
    if (writer.write(plist))
        return writer.document();
    *errorText = QStringLiteral("A text holds a character that XML does not have.");
    return std::nullopt;
}

} // namespace KVBase::PropertyLists
