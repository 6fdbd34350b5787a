#include "Platform/PropertyLists/BinaryPropertyList.h"
#include "Platform/PropertyLists/PropertyListDates.h"
#include "Platform/PropertyLists/PropertyListLimits.h"

#include <QtCore/QDateTime>
#include <QtCore/QStringConverter>
#include <QtCore/QtEndian>

#include <bit>
#include <cmath>
#include <optional>
#include <vector>

namespace KVBase::PropertyLists
{

namespace
{

constexpr qsizetype kHeaderSize = 8;
constexpr qsizetype kTrailerSize = 32;

/// Reads a list of objects that refer to each other by number. Each object is turned into a value once and
/// shared from then on, so that memory stays in proportion to the file; what it would be when written out is
/// counted.
class Reader {
public:
    explicit Reader(const QByteArray &bytes) : data(bytes) {}

    QVariant readDocument()
    {
        if (!readTrailer())
            return fail(QStringLiteral("a damaged trailer"));
        objects.resize(static_cast<std::size_t>(objectCount));
        return object(topObject, 1);
    }

    QString error() const
    {
        return QStringLiteral("The binary property list is unreadable: %1.").arg(reason);
    }

private:
    struct Object {
        QVariant value;
        quint64 expandedCount = 0;
        int height = 0;
        bool open = false;
    };

    /// The bytes of an object behind its marker.
    struct Span {
        quint64 offset = 0;
        quint64 count = 0;
    };

    QVariant fail(const QString &text)
    {
        if (reason.isEmpty())
            reason = text;
        return {};
    }

    quint64 number(quint64 offset, quint64 width) const
    {
        quint64 result = 0;
        for (quint64 index = 0; index < width; ++index)
            result = result << 8 | static_cast<quint8>(data[static_cast<qsizetype>(offset + index)]);
        return result;
    }

    bool readTrailer()
    {
        if (data.size() < kHeaderSize + kTrailerSize)
            return false;
        tableEnd = static_cast<quint64>(data.size() - kTrailerSize);
        offsetWidth = number(tableEnd + 6, 1);
        referenceWidth = number(tableEnd + 7, 1);
        objectCount = number(tableEnd + 8, 8);
        topObject = number(tableEnd + 16, 8);
        table = number(tableEnd + 24, 8);
        const bool widthsFit =
            offsetWidth >= 1 && offsetWidth <= 8 && referenceWidth >= 1 && referenceWidth <= 8;
        if (!widthsFit || table < kHeaderSize || table > tableEnd)
            return false;
        return objectCount >= 1 && objectCount <= (tableEnd - table) / offsetWidth && topObject < objectCount;
    }

    QVariant object(quint64 index, int depth)
    {
        if (index >= objectCount)
            return fail(QStringLiteral("a reference to nothing"));
        Object &entry = objects[static_cast<std::size_t>(index)];
        if (entry.open)
            return fail(QStringLiteral("a cycle"));
        if (depth + entry.height > kMaximumDepth)
            return fail(QStringLiteral("too many levels"));
        if (!entry.value.isValid()) {
            entry.open = true;
            Object *const outer = std::exchange(current, &entry);
            entry.expandedCount = 1;
            entry.value = readObject(index, depth);
            current = outer;
            entry.open = false;
        }
        return countInto(current, entry);
    }

    QVariant countInto(Object *outer, const Object &inner)
    {
        if (!inner.value.isValid())
            return {};
        if (outer != nullptr) {
            outer->expandedCount += inner.expandedCount;
            outer->height = std::max(outer->height, inner.height + 1);
        }
        if (outer != nullptr && outer->expandedCount > kMaximumValues)
            return fail(QStringLiteral("too many values"));
        return inner.value;
    }

    QVariant readObject(quint64 index, int depth)
    {
        const quint64 offset = number(table + index * offsetWidth, offsetWidth);
        if (offset < kHeaderSize || offset >= table)
            return fail(QStringLiteral("an offset outside the objects"));
        const auto marker = static_cast<quint8>(data[static_cast<qsizetype>(offset)]);
        const quint8 low = marker & 0x0f;
        switch (marker >> 4) {
        case 0x0:
            return readConstant(low);
        case 0x1:
            return readInteger(offset + 1, low);
        case 0x2:
            return readReal(offset + 1, low);
        case 0x3:
            return marker == 0x33 ? readDate(offset + 1) : fail(QStringLiteral("an unknown kind of object"));
        case 0xa:
            return readArray(offset, depth);
        case 0xd:
            return readDictionary(offset, depth);
        default:
            return readBytes(marker >> 4, offset);
        }
    }

    QVariant readConstant(quint8 low)
    {
        if (low == 8 || low == 9)
            return low == 9;
        return fail(QStringLiteral("an unknown constant"));
    }

    bool holds(quint64 offset, quint64 count) const { return offset <= table && count <= table - offset; }

    QVariant readInteger(quint64 offset, quint8 power)
    {
        const quint64 width = quint64{1} << power;
        if (power > 4 || !holds(offset, width))
            return fail(QStringLiteral("a damaged integer"));
        if (width < 8)
            return static_cast<qlonglong>(number(offset, width));
        if (width == 8)
            return static_cast<qlonglong>(number(offset, 8));
        return wideInteger(number(offset, 8), number(offset + 8, 8));
    }

    QVariant wideInteger(quint64 high, quint64 low)
    {
        const bool lowIsNegative = low >> 63 != 0;
        if (high == ~quint64{0} && lowIsNegative)
            return static_cast<qlonglong>(low);
        if (high != 0)
            return fail(QStringLiteral("an integer out of range"));
        return lowIsNegative ? QVariant(static_cast<qulonglong>(low)) : QVariant(static_cast<qlonglong>(low));
    }

    QVariant readReal(quint64 offset, quint8 power)
    {
        if (power == 2 && holds(offset, 4))
            return static_cast<double>(std::bit_cast<float>(static_cast<quint32>(number(offset, 4))));
        if (power == 3 && holds(offset, 8))
            return std::bit_cast<double>(number(offset, 8));
        return fail(QStringLiteral("a damaged real number"));
    }

    QVariant readDate(quint64 offset)
    {
        if (!holds(offset, 8))
            return fail(QStringLiteral("a damaged date"));
        const double seconds = std::bit_cast<double>(number(offset, 8));
        // In milliseconds this nearly fills 64 bits; a comparison with NaN is false.
        if (!(std::abs(seconds) < 9.0e15))
            return fail(QStringLiteral("a date out of range"));
        const QDateTime date = QDateTime::fromMSecsSinceEpoch(
            static_cast<qint64>(std::llround(seconds * 1000.0)) + kReferenceSeconds * 1000, Qt::UTC);
        return date.isValid() ? QVariant(date) : fail(QStringLiteral("a date out of range"));
    }

    /// How many elements an object has, and where they begin.
    std::optional<Span> spanAt(quint64 offset) const
    {
        const quint64 low = number(offset, 1) & 0x0f;
        if (low != 0x0f)
            return Span{offset + 1, low};
        if (!holds(offset + 1, 1))
            return std::nullopt;
        const quint64 marker = number(offset + 1, 1);
        const quint64 width = quint64{1} << (marker & 0x0f);
        if (marker >> 4 != 1 || width > 8 || !holds(offset + 2, width))
            return std::nullopt;
        return Span{offset + 2 + width, number(offset + 2, width)};
    }

    /// The span at `offset` if its elements of `width` bytes lie within the objects.
    std::optional<Span> elementsAt(quint64 offset, quint64 width) const
    {
        const std::optional<Span> span = spanAt(offset);
        if (!span || span->offset > table || span->count > (table - span->offset) / width)
            return std::nullopt;
        return span;
    }

    QVariant readBytes(int kind, quint64 offset)
    {
        if (kind != 0x4 && kind != 0x5 && kind != 0x6)
            return fail(QStringLiteral("an unknown kind of object"));
        const std::optional<Span> span = elementsAt(offset, kind == 0x6 ? 2 : 1);
        if (!span)
            return fail(QStringLiteral("a damaged text or data"));
        const char *const start = data.constData() + span->offset;
        const auto count = static_cast<qsizetype>(span->count);
        if (kind == 0x4)
            return QByteArray(start, count);
        if (kind == 0x5)
            return count == 0 ? QStringLiteral("") : QString::fromLatin1(start, count);
        QString text(count, Qt::Uninitialized);
        qFromBigEndian<char16_t>(start, count, text.data());
        return text.isNull() ? QStringLiteral("") : text;
    }

    quint64 reference(quint64 start, quint64 index) const
    {
        return number(start + index * referenceWidth, referenceWidth);
    }

    QVariant readArray(quint64 offset, int depth)
    {
        const std::optional<Span> span = elementsAt(offset, referenceWidth);
        if (!span)
            return fail(QStringLiteral("a damaged array"));
        QVariantList list;
        for (quint64 index = 0; index < span->count; ++index) {
            list.append(object(reference(span->offset, index), depth + 1));
            if (!list.constLast().isValid())
                return {};
        }
        return list;
    }

    QVariant readDictionary(quint64 offset, int depth)
    {
        const std::optional<Span> span = elementsAt(offset, 2 * referenceWidth);
        if (!span)
            return fail(QStringLiteral("a damaged dictionary"));
        QVariantMap map;
        for (quint64 index = 0; index < span->count; ++index) {
            const QVariant key = object(reference(span->offset, index), depth + 1);
            const QVariant value = object(reference(span->offset, span->count + index), depth + 1);
            if (key.typeId() != QMetaType::QString)
                return fail(QStringLiteral("a key that is no text"));
            if (!value.isValid())
                return {};
            map.insert(key.toString(), value);
        }
        return map;
    }

    const QByteArray data;
    quint64 tableEnd = 0;
    quint64 offsetWidth = 0;
    quint64 referenceWidth = 0;
    quint64 objectCount = 0;
    quint64 topObject = 0;
    quint64 table = 0;
    std::vector<Object> objects;
    Object *current = nullptr;
    QString reason;
};

} // namespace

QVariant readBinary(const QByteArray &data, QString *errorText)
{
    Reader reader(data);
    QVariant plist = reader.readDocument();
    if (!plist.isValid())
        *errorText = reader.error();
    return plist;
}

} // namespace KVBase::PropertyLists
