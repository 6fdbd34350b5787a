#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <QtCore/QVariant>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>

namespace KVBase
{

/// A dictionary's key as a value that compares and hashes. Numbers of any type that are equal are the same
/// key.
class DictionaryKey {
public:
    /// Nothing for nil and for a kind that cannot be a key.
    static std::optional<DictionaryKey> fromObject(const QVariant &object);

    friend bool operator==(const DictionaryKey &, const DictionaryKey &) = default;
    std::size_t hash() const;

private:
    /// A number that is no integer of 64 bits, by its bits, so that a NaN finds itself again.
    struct Fraction {
        std::uint64_t bits;
        bool operator==(const Fraction &) const = default;
    };
    using Value =
        std::variant<QString, QByteArray, std::int64_t, std::uint64_t, Fraction, QDateTime, QUrl, QUuid>;

    explicit DictionaryKey(Value given) : value(std::move(given)) {}

    static std::optional<DictionaryKey> fromNumber(const QVariant &number);
    static DictionaryKey fromUnsigned(std::uint64_t number);
    static DictionaryKey fromDouble(double number);

    Value value;
};

} // namespace KVBase
