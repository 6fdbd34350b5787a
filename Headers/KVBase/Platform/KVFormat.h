#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVFormatArgument.h>
#include <KVBase/Platform/KVFormatConversion.h>

#include <QtCore/QString>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace KVBase
{

namespace KVFormatDetail
{

// Calls of these make a check at compile time fail; the compiler shows their names.
void aPercentSignStartsNoKnownConversion();
void theFormatHasMoreConversionsThanArguments();
void theFormatHasFewerConversionsThanArguments();
void anArgumentDoesNotFitItsConversion();

/// Whether `literal` takes exactly arguments that offer `offers`, in their order.
template <std::size_t Count>
consteval void checkLiteral(const char *literal, std::size_t size, const std::array<unsigned, Count> &offers)
{
    std::array<bool, Count + 1> used{};
    std::size_t next = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (literal[i] != '%')
            continue;
        if (i + 1 < size && literal[i + 1] == '%') {
            ++i;
            continue;
        }
        const KVFormatConversion found = readConversion(literal + i, size - i);
        if (found.length == 0)
            aPercentSignStartsNoKnownConversion();
        const std::size_t index = found.position > 0 ? static_cast<std::size_t>(found.position - 1) : next++;
        if (index >= Count)
            theFormatHasMoreConversionsThanArguments();
        if constexpr (Count > 0) {
            if ((offers[index] & found.need) == 0)
                anArgumentDoesNotFitItsConversion();
            used[index] = true;
        }
        i += found.length - 1;
    }
    for (std::size_t index = 0; index < Count; ++index) {
        if (!used[index])
            theFormatHasFewerConversionsThanArguments();
    }
}

} // namespace KVFormatDetail

/// A format without its argument types; borrows its text.
struct KVFormatView {
    /// UTF-8, or null when `text` holds the format.
    const char *literal = nullptr;
    std::size_t size = 0;
    const QString *text = nullptr;
};

/// A format for arguments of the types `A`. From a literal it is checked when compiled: a wrong type, too
/// many or too few arguments, a stray percent sign and `%n` are errors. From a text that is known only at run
/// time nothing is refused: what cannot be filled is printed as it stands.
///
/// | Conversion | Takes |
/// |---|---|
/// | `%@` | anything with a description; nil prints (null) |
/// | `%d %i %u %x %X %o` | any integer or unscoped enumeration, at its own width |
/// | `%f %g %e %F %G %E` | floating point |
/// | `%p` | any pointer, 0x0 for null |
/// | `%s` | `const char *`, `std::string`, `QByteArray` in UTF-8; null prints (null) |
/// | `%C`, `%%` | `char16_t` or `QChar`; a percent sign |
///
/// Flags, width and precision are those of C, up to 4096; `%2$@` names an argument by its number. A precision
/// of
/// `%s` counts bytes and limits what is read. No locale has a say. Immutable; safe on any thread.
template <class... A>
class KVFormatString {
public:
    template <std::size_t N>
    consteval KVFormatString(const char (&text)[N]) : literal(text), literalSize(N - 1)
    {
        KVFormatDetail::checkLiteral<sizeof...(A)>(
            text, N - 1, std::array<unsigned, sizeof...(A)>{KVFormatDetail::offerOf<A>()...});
    }

    explicit KVFormatString(const QString &text) : owned(new QString(text)) {}

    /// So that a run-time text made without knowing the arguments works with any.
    template <class Other>
    requires(std::same_as<Other, KVFormatString<>> && sizeof...(A) > 0) KVFormatString(const Other &text)
        : literal(text.view().literal), literalSize(text.view().size),
          owned(text.view().text != nullptr ? new QString(*text.view().text) : nullptr)
    {}

    constexpr KVFormatString(const KVFormatString &other)
        : literal(other.literal), literalSize(other.literalSize),
          owned(other.owned != nullptr ? new QString(*other.owned) : nullptr)
    {}

    KVFormatString &operator=(const KVFormatString &) = delete;
    constexpr ~KVFormatString() { delete owned; }

    KVFormatView view() const { return {literal, literalSize, owned}; }

private:
    const char *literal = nullptr;
    std::size_t literalSize = 0;
    // A pointer, because a class that is made at compile time cannot hold a QString.
    const QString *owned = nullptr;
};

namespace KVFormatDetail
{
KV_EXPORT QString format(const KVFormatView &format, const KVFormatArgument *arguments, std::size_t count);
}

/// The text of `format` with its arguments filled in. Never nil.
template <class... A>
QString stringWithFormat(KVFormatString<std::type_identity_t<A>...> format, const A &...args)
{
    const std::array<KVFormatArgument, sizeof...(A)> arguments{KVFormatArgument(args)...};
    return KVFormatDetail::format(format.view(), arguments.data(), arguments.size());
}

} // namespace KVBase
