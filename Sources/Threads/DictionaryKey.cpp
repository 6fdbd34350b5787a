#include "Threads/DictionaryKey.h"

#include <KVBase/Platform/KVNil.h>

#include <QtCore/QHashFunctions>

#include <bit>
#include <cmath>
#include <limits>

namespace KVBase
{

namespace
{

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

} // namespace

DictionaryKey DictionaryKey::fromUnsigned(std::uint64_t number)
{
    if (number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return DictionaryKey(static_cast<std::int64_t>(number));
    return DictionaryKey(number);
}

DictionaryKey DictionaryKey::fromDouble(double number)
{
    if (std::isnan(number))
        return DictionaryKey(
            Fraction{std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN())});
    if (number == std::trunc(number) && number >= -kTwoTo63 && number < kTwoTo63)
        return DictionaryKey(static_cast<std::int64_t>(number));
    if (number == std::trunc(number) && number >= kTwoTo63 && number < kTwoTo64)
        return DictionaryKey(static_cast<std::uint64_t>(number));
    return DictionaryKey(Fraction{std::bit_cast<std::uint64_t>(number)});
}

std::optional<DictionaryKey> DictionaryKey::fromNumber(const QVariant &number)
{
    switch (number.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        return fromDouble(number.toDouble());
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return fromUnsigned(number.toULongLong());
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::SChar:
    case QMetaType::Char:
        return DictionaryKey(static_cast<std::int64_t>(number.toLongLong()));
    default:
        return std::nullopt;
    }
}

std::optional<DictionaryKey> DictionaryKey::fromObject(const QVariant &object)
{
    if (isNil(object))
        return std::nullopt;
    switch (object.typeId()) {
    case QMetaType::QString:
        return DictionaryKey(object.toString());
    case QMetaType::QByteArray:
        return DictionaryKey(object.toByteArray());
    case QMetaType::QDateTime:
        return DictionaryKey(object.toDateTime());
    case QMetaType::QUrl:
        return DictionaryKey(object.toUrl());
    case QMetaType::QUuid:
        return DictionaryKey(object.toUuid());
    default:
        return fromNumber(object);
    }
}

std::size_t DictionaryKey::hash() const
{
    struct Hasher {
        std::size_t operator()(const Fraction &fraction) const { return ::qHash(fraction.bits); }
        std::size_t operator()(std::int64_t number) const { return ::qHash(static_cast<qlonglong>(number)); }
        std::size_t operator()(std::uint64_t number) const
        {
            return ::qHash(static_cast<qulonglong>(number));
        }
        std::size_t operator()(const QString &text) const { return ::qHash(text); }
        std::size_t operator()(const QByteArray &data) const { return ::qHash(data); }
        std::size_t operator()(const QDateTime &date) const { return qHash(date); }
        std::size_t operator()(const QUrl &url) const { return qHash(url); }
        std::size_t operator()(const QUuid &uuid) const { return qHash(uuid); }
    };
    return std::visit(Hasher{}, value);
}

} // namespace KVBase
