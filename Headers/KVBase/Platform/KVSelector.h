#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QHashFunctions>
#include <QtCore/QMetaType>
#include <QtCore/QString>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace KVBase
{

/// The name of a method, colons included: "refreshDisplay:". An immutable value that compares and hashes by
/// its text. The text before the first colon is the method's name, the number of colons its number of
/// arguments. A default-constructed selector is nil. Safe on any thread.
class KVSelector {
public:
    KVSelector() = default;

    template <std::size_t N>
    KVSelector(const char (&literal)[N]) : text(QString::fromUtf8(literal))
    {}

    explicit KVSelector(QString selectorText) : text(std::move(selectorText)) {}

    /// The text as it was given.
    QString name() const { return text; }

    /// How many arguments the selector takes.
    std::int32_t colonCount() const { return static_cast<std::int32_t>(text.count(u':')); }

    bool isNil() const { return text.isNull(); }

    friend bool operator==(const KVSelector &, const KVSelector &) = default;
    friend std::size_t qHash(const KVSelector &selector, std::size_t seed = 0) noexcept
    {
        return ::qHash(selector.text, seed);
    }

private:
    QString text;
};

} // namespace KVBase

/// The same hash for the standard containers.
template <>
struct std::hash<KVBase::KVSelector> {
    std::size_t operator()(const KVBase::KVSelector &selector) const noexcept { return qHash(selector); }
};

Q_DECLARE_METATYPE(KVBase::KVSelector)
