#include "Platform/PropertyLists/PropertyListValue.h"

#include "Platform/PropertyLists/PropertyListLimits.h"

#include <KVBase/Platform/KVNil.h>

#include <QtCore/QDateTime>

namespace KVBase::PropertyLists
{

namespace
{

class Converter {
public:
    QVariant convert(const QVariant &value, int depth)
    {
        if (depth > kMaximumDepth)
            return refuse(QStringLiteral("The property list has too many levels."));
        switch (value.typeId()) {
        case QMetaType::QVariantList:
            return convertList(value.toList(), depth);
        case QMetaType::QStringList:
            return convertStrings(value.toStringList());
        case QMetaType::QVariantMap:
            return convertMap(value.toMap(), depth);
        case QMetaType::QVariantHash:
            return convertHash(value.toHash(), depth);
        default:
            return convertLeaf(value);
        }
    }

    QString error() const { return text; }

private:
    QVariant refuse(const QString &reason)
    {
        text = reason;
        return {};
    }

    QVariant convertList(const QVariantList &list, int depth)
    {
        QVariantList result;
        result.reserve(list.size());
        for (const QVariant &element : list) {
            result.append(convert(element, depth + 1));
            if (!result.constLast().isValid())
                return {};
        }
        return result;
    }

    QVariant convertStrings(const QStringList &list)
    {
        QVariantList result;
        result.reserve(list.size());
        for (const QString &element : list) {
            if (element.isNull())
                return refuse(QStringLiteral("A property list cannot hold nil."));
            result.append(element);
        }
        return result;
    }

    QVariant convertMap(const QVariantMap &map, int depth)
    {
        QVariantMap result;
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
            const QVariant value = convert(entry.value(), depth + 1);
            if (!value.isValid())
                return {};
            result.insert(result.cend(), entry.key(), value);
        }
        return result;
    }

    QVariant convertHash(const QVariantHash &hash, int depth)
    {
        QVariantMap map;
        for (auto entry = hash.cbegin(); entry != hash.cend(); ++entry)
            map.insert(entry.key(), entry.value());
        return convertMap(map, depth);
    }

    QVariant convertLeaf(const QVariant &value)
    {
        if (isNil(value))
            return refuse(QStringLiteral("A property list cannot hold nil."));
        switch (value.typeId()) {
        case QMetaType::QString:
        case QMetaType::Bool:
        case QMetaType::LongLong:
        case QMetaType::Double:
        case QMetaType::QByteArray:
            return value;
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
            return value.toLongLong();
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return convertUnsigned(value.toULongLong());
        case QMetaType::Float:
            return value.toDouble();
        case QMetaType::QDateTime:
            return convertDate(value.toDateTime());
        default:
            return refuse(
                QStringLiteral("A property list cannot hold a %1.").arg(QLatin1StringView(value.typeName())));
        }
    }

    static QVariant convertUnsigned(qulonglong number)
    {
        if (number <= static_cast<qulonglong>(std::numeric_limits<qlonglong>::max()))
            return static_cast<qlonglong>(number);
        return number;
    }

    QVariant convertDate(const QDateTime &date)
    {
        if (!date.isValid())
            return refuse(QStringLiteral("A property list cannot hold an invalid date."));
        return date.toUTC();
    }

    QString text;
};

} // namespace

QVariant propertyListValue(const QVariant &value, QString *errorText)
{
    Converter converter;
    QVariant result = converter.convert(value, 1);
    if (errorText != nullptr)
        *errorText = converter.error();
    return result;
}

} // namespace KVBase::PropertyLists
