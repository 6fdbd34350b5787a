#include "Platform/PropertyLists/BinaryPropertyList.h"
#include "Platform/PropertyLists/PropertyListDates.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>

#include <bit>
#include <vector>

namespace KVBase::PropertyLists
{

namespace
{

/// How many bytes `number` takes: 1, 2, 4 or 8.
int byteWidth(quint64 number)
{
    if (number <= 0xff)
        return 1;
    if (number <= 0xffff)
        return 2;
    return number <= 0xffffffff ? 4 : 8;
}

void appendNumber(QByteArray &bytes, quint64 number, int width)
{
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes.append(static_cast<char>(number >> shift & 0xff));
}

bool isASCII(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar unit) { return unit.unicode() < 0x80; });
}

/// Numbers every value first, because the width of a reference depends on how many there are.
class Writer {
public:
    QByteArray write(const QVariant &plist)
    {
        number(plist);
        referenceWidth = byteWidth(entries.size() - 1);
        bytes = "bplist00";
        std::vector<quint64> offsets;
        offsets.reserve(entries.size());
        for (const Entry &entry : entries) {
            offsets.push_back(static_cast<quint64>(bytes.size()));
            writeEntry(entry);
        }
        writeTable(offsets);
        return bytes;
    }

private:
    struct Entry {
        QVariant value;
        std::vector<quint64> references;
    };

    quint64 add(const QVariant &value)
    {
        entries.push_back({value, {}});
        return entries.size() - 1;
    }

    quint64 numberText(const QString &text)
    {
        const auto known = texts.constFind(text);
        if (known != texts.cend())
            return *known;
        return *texts.insert(text, add(text));
    }

    quint64 number(const QVariant &value)
    {
        if (value.typeId() == QMetaType::QString)
            return numberText(value.toString());
        const quint64 index = add(value);
        std::vector<quint64> references;
        if (value.typeId() == QMetaType::QVariantList) {
            for (const QVariant &element : value.toList())
                references.push_back(number(element));
        } else if (value.typeId() == QMetaType::QVariantMap) {
            const QVariantMap map = value.toMap();
            for (auto entry = map.keyBegin(); entry != map.keyEnd(); ++entry)
                references.push_back(numberText(*entry));
            for (const QVariant &element : map)
                references.push_back(number(element));
        }
        entries[index].references = std::move(references);
        return index;
    }

    void writeCount(quint8 kind, quint64 count)
    {
        if (count < 0x0f) {
            bytes.append(static_cast<char>(kind << 4 | static_cast<quint8>(count)));
            return;
        }
        bytes.append(static_cast<char>(kind << 4 | 0x0f));
        writeInteger(count);
    }

    void writeInteger(quint64 magnitude)
    {
        const int width = byteWidth(magnitude);
        bytes.append(static_cast<char>(0x10 | std::countr_zero(static_cast<unsigned>(width))));
        appendNumber(bytes, magnitude, width);
    }

    void writeSigned(qlonglong value)
    {
        if (value >= 0)
            return writeInteger(static_cast<quint64>(value));
        bytes.append('\x13');
        appendNumber(bytes, static_cast<quint64>(value), 8);
    }

    /// Eight bytes are read as signed, so a number above their range takes sixteen.
    void writeUnsigned(qulonglong value)
    {
        bytes.append('\x14');
        appendNumber(bytes, 0, 8);
        appendNumber(bytes, value, 8);
    }

    void writeDouble(char marker, double value)
    {
        bytes.append(marker);
        appendNumber(bytes, std::bit_cast<quint64>(value), 8);
    }

    void writeText(const QString &text)
    {
        writeCount(isASCII(text) ? 0x5 : 0x6, static_cast<quint64>(text.size()));
        if (isASCII(text)) {
            bytes.append(text.toLatin1());
            return;
        }
        for (const QChar unit : text)
            appendNumber(bytes, unit.unicode(), 2);
    }

    void writeDate(const QDateTime &date)
    {
        const qint64 milliseconds = date.toMSecsSinceEpoch() - kReferenceSeconds * 1000;
        writeDouble('\x33', static_cast<double>(milliseconds) / 1000.0);
    }

    void writeReferences(quint8 kind, quint64 count, const std::vector<quint64> &references)
    {
        writeCount(kind, count);
        for (const quint64 reference : references)
            appendNumber(bytes, reference, referenceWidth);
    }

    void writeEntry(const Entry &entry)
    {
        const QVariant &value = entry.value;
        switch (value.typeId()) {
        case QMetaType::QVariantMap:
            return writeReferences(0xd, entry.references.size() / 2, entry.references);
        case QMetaType::QVariantList:
            return writeReferences(0xa, entry.references.size(), entry.references);
        case QMetaType::QString:
            return writeText(value.toString());
        case QMetaType::Bool:
            bytes.append(value.toBool() ? '\x09' : '\x08');
            return;
        case QMetaType::Double:
            return writeDouble('\x23', value.toDouble());
        case QMetaType::QByteArray:
            writeCount(0x4, static_cast<quint64>(value.toByteArray().size()));
            bytes.append(value.toByteArray());
            return;
        case QMetaType::QDateTime:
            return writeDate(value.toDateTime());
        case QMetaType::ULongLong:
            return writeUnsigned(value.toULongLong());
        default:
            return writeSigned(value.toLongLong());
        }
    }

    void writeTable(const std::vector<quint64> &offsets)
    {
        const auto table = static_cast<quint64>(bytes.size());
        const int width = byteWidth(table);
        for (const quint64 offset : offsets)
            appendNumber(bytes, offset, width);
        bytes.append(6, '\0').append(static_cast<char>(width)).append(static_cast<char>(referenceWidth));
        appendNumber(bytes, offsets.size(), 8);
        appendNumber(bytes, 0, 8);
        appendNumber(bytes, table, 8);
    }

    std::vector<Entry> entries;
    QHash<QString, quint64> texts;
    QByteArray bytes;
    int referenceWidth = 1;
};

} // namespace

QByteArray writeBinary(const QVariant &plist) { return Writer().write(plist); }

} // namespace KVBase::PropertyLists
