#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVFormatConversion.h>

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace KVBase
{

namespace KVFormatDetail
{

/// What `%@` prints for platform values; a null text stands for nil.
KV_EXPORT QString describe(const QVariant &object);
KV_EXPORT QString describe(const QObject *object);
KV_EXPORT QString describe(const QUrl &url);
KV_EXPORT QString describe(const QDateTime &date);
KV_EXPORT QString describe(const QByteArray &data);
KV_EXPORT QString describe(const std::exception &exception);
inline QString describe(const QString &text) { return text; }
inline QString describe(QStringView text) { return text.toString(); }
inline QString describe(QLatin1StringView text) { return text; }

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;
template <class T>
inline constexpr bool isOptional<std::shared_ptr<T>> = true;

template <class T>
concept Describing = requires(const T &object)
{
    {
        object.description()
        } -> std::convertible_to<QString>;
};

template <class T>
concept PlatformValue = std::same_as<T, QVariant> || std::same_as<T, QUrl> || std::same_as<T, QDateTime> ||
    std::same_as<T, QByteArray> || std::same_as<T, QString> || std::same_as<T, QStringView> ||
    std::same_as<T, QLatin1StringView>;

template <class T>
concept PlatformContainer =
    std::same_as<T, QVariantList> || std::same_as<T, QVariantMap> || std::same_as<T, QStringList>;

template <class T>
consteval bool describable()
{
    if constexpr (isOptional<T>)
        return describable<std::remove_cv_t<std::remove_reference_t<decltype(*std::declval<T>())>>>();
    else if constexpr (std::is_pointer_v<T> && !std::is_void_v<std::remove_pointer_t<T>>)
        return describable<std::remove_cv_t<std::remove_pointer_t<T>>>();
    else
        return Describing<T> || PlatformValue<T> || PlatformContainer<T> ||
               std::derived_from<T, std::exception> || std::derived_from<T, QObject>;
}

template <class T>
QString describeTyped(const T &object)
{
    if constexpr (isOptional<T> || std::is_pointer_v<T>)
        return object ? describeTyped(*object) : QString();
    else if constexpr (Describing<T>)
        return object.description();
    else if constexpr (std::derived_from<T, QObject>)
        return describe(static_cast<const QObject *>(&object));
    else if constexpr (PlatformContainer<T>)
        return describe(QVariant(object));
    else
        return describe(object);
}

template <class T>
QString describeErased(const void *object)
{
    return describeTyped(*static_cast<const T *>(object));
}

template <class T>
concept IntegerLike = std::integral<T> ||(std::is_enum_v<T> &&std::is_convertible_v<T, std::int64_t>);

template <class T>
concept CharArray = std::is_array_v<T> && std::same_as < std::remove_cv_t<std::remove_extent_t<T>>,
char > ;

template <class T>
concept CharPointer = std::is_pointer_v<T> && std::same_as < std::remove_cv_t<std::remove_pointer_t<T>>,
char > ;

template <class T>
concept ByteText = std::same_as<T, std::string> || std::same_as<T, std::string_view> ||
    std::same_as<T, QByteArray> || std::same_as<T, QByteArrayView>;

/// The set of conversions that a type fits, as bits of `KVFormatConversion::Need`.
template <class T>
consteval unsigned offerOf()
{
    using C = KVFormatConversion;
    if constexpr (std::same_as<T, char16_t>)
        return C::Integer | C::Character | C::Object;
    else if constexpr (std::same_as<T, QChar>)
        return C::Character | C::Object;
    else if constexpr (IntegerLike<T>)
        return C::Integer | C::Object;
    else if constexpr (std::floating_point<T>)
        return C::Real | C::Object;
    else if constexpr (CharArray<T> || CharPointer<T> || std::same_as<T, std::nullptr_t>)
        return C::Bytes | C::Pointer | C::Object;
    else if constexpr (ByteText<T>)
        return C::Bytes | C::Object;
    else if constexpr (std::is_pointer_v<T>)
        return C::Pointer | (describable<T>() ? unsigned{C::Object} : 0u);
    else if constexpr (describable<T>())
        return C::Object;
    else
        return C::Nothing;
}

} // namespace KVFormatDetail

/// One argument of a format with its type erased. It borrows what it was made from, so it lives for one call.
class KVFormatArgument {
public:
    enum class Kind : std::uint8_t { Integer, Real, Pointer, Character, Bytes, Text, Object };

    template <class T>
    explicit KVFormatArgument(const T &value)
        : offers(static_cast<std::uint8_t>(KVFormatDetail::offerOf<T>()))
    {
        using namespace KVFormatDetail;
        static_assert(offerOf<T>() != KVFormatConversion::Nothing,
                      "no conversion prints a value of this type");
        if constexpr (std::same_as<T, QChar>)
            setInteger(value.unicode(), Kind::Character);
        else if constexpr (IntegerLike<T>)
            setInteger(value, std::same_as<T, char16_t> ? Kind::Character : Kind::Integer);
        else if constexpr (std::floating_point<T>)
            setReal(static_cast<double>(value));
        else if constexpr (CharArray<T>)
            setBytes(value, std::extent_v<T>, true);
        else if constexpr (CharPointer<T>)
            setBytes(value, SIZE_MAX, true);
        else if constexpr (std::same_as<T, std::nullptr_t>)
            setBytes(nullptr, 0, true);
        else if constexpr (std::same_as<T, QString>)
            setText(value);
        else
            setOther(value);
    }

    Kind kind = Kind::Object;
    /// Bits of `KVFormatConversion::Need`.
    std::uint8_t offers = 0;
    /// Of an integer: its size in bytes and whether it has a sign.
    std::uint8_t integerBytes = 0;
    bool integerSigned = false;
    /// Whether bytes end at their first NUL.
    bool terminated = false;
    union {
        /// Sign-extended when signed.
        std::uint64_t integer = 0;
        double real;
        /// The first of `size` bytes, or the address that `%p` prints.
        const void *address;
    };
    std::size_t size = 0;
    /// Null for what `%@` prints from the value above.
    QString (*describe)(const void *object) = nullptr;
    const void *object = nullptr;

private:
    template <class T>
    void setInteger(T value, Kind valueKind)
    {
        kind = valueKind;
        integerBytes = sizeof(T);
        if constexpr (std::is_enum_v<T>)
            integerSigned = std::is_signed_v<std::underlying_type_t<T>>;
        else
            integerSigned = std::is_signed_v<T>;
        integer = static_cast<std::uint64_t>(value);
    }

    void setReal(double value)
    {
        kind = Kind::Real;
        real = value;
    }

    void setBytes(const volatile char *bytes, std::size_t count, bool stopsAtNul)
    {
        kind = Kind::Bytes;
        address = const_cast<const char *>(bytes);
        size = count;
        terminated = stopsAtNul;
    }

    void setText(const QString &text)
    {
        kind = Kind::Text;
        object = &text;
    }

    template <class T>
    void setOther(const T &value)
    {
        using namespace KVFormatDetail;
        if constexpr (ByteText<T>)
            setBytes(value.data(), static_cast<std::size_t>(value.size()), false);
        if constexpr (std::is_pointer_v<T>) {
            kind = Kind::Pointer;
            if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
                address = reinterpret_cast<const void *>(value);
            else
                address = const_cast<const void *>(static_cast<const volatile void *>(value));
        }
        if constexpr (describable<T>()) {
            describe = &describeErased<T>;
            object = &value;
        }
    }
};

} // namespace KVBase
