#include "Platform/KVFormatField.h"

#include "Platform/KVFormatOutput.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QLocale>
#include <QtCore/QString>

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <locale.h>

namespace KVBase
{

namespace
{

constexpr QByteArrayView kNil = "(null)";

/// Puts `prefix` and `digits` into the field: blanks before or behind, or zeros between the two.
void putNumber(KVFormatOutput &output, const KVFormatConversion &conversion, QByteArrayView prefix,
               QByteArrayView digits, bool zeroPadded)
{
    const auto used = static_cast<std::size_t>(prefix.size() + digits.size());
    const auto width = static_cast<std::size_t>(conversion.width);
    const std::size_t missing = width > used ? width - used : 0;
    if (missing > 0 && !conversion.leftAligned && !zeroPadded)
        output.putBlanks(missing, ' ');
    output.putAscii(prefix);
    if (missing > 0 && !conversion.leftAligned && zeroPadded)
        output.putBlanks(missing, '0');
    output.putAscii(digits);
    if (missing > 0 && conversion.leftAligned)
        output.putBlanks(missing, ' ');
}

/// What is left of an integer in a field of `bytes` bytes, with or without a sign.
std::uint64_t narrowed(std::uint64_t value, std::size_t bytes, bool asSigned)
{
    if (bytes >= sizeof value)
        return value;
    const auto dropped = static_cast<int>(8 * (sizeof value - bytes));
    const std::uint64_t raised = value << dropped;
    return asSigned ? static_cast<std::uint64_t>(static_cast<std::int64_t>(raised) >> dropped)
                    : raised >> dropped;
}

const char *signPrefix(const KVFormatConversion &conversion, bool negative)
{
    if (negative)
        return "-";
    if (conversion.plusSign)
        return "+";
    return conversion.blankSign ? " " : "";
}

/// Digits with the zeros that a precision asks for in front. Room for the largest precision.
class Digits {
public:
    Digits(std::uint64_t value, int base, bool upperCase, std::int32_t precision)
    {
        std::array<char, 24> plain;
        char *const end = std::to_chars(plain.data(), plain.data() + plain.size(), value, base).ptr;
        auto size = static_cast<std::size_t>(end - plain.data());
        if (value == 0 && precision == 0)
            size = 0;
        const auto wanted = static_cast<std::size_t>(std::max(precision, 0));
        const std::size_t zeros = wanted > size ? wanted - size : 0;
        std::memset(text.data(), '0', zeros);
        std::memcpy(text.data() + zeros, plain.data(), size);
        length = zeros + size;
        if (upperCase)
            std::transform(text.data(), text.data() + length, text.data(), [](char c) {
                return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
            });
    }

    void leadWithZero()
    {
        if (length > 0 && text[0] == '0')
            return;
        std::memmove(text.data() + 1, text.data(), length);
        text[0] = '0';
        ++length;
    }

    QByteArrayView view() const { return {text.data(), static_cast<qsizetype>(length)}; }

private:
    std::array<char, KVFormatConversion::kMaxFieldSize + 32> text;
    std::size_t length = 0;
};

void putInteger(KVFormatOutput &output, const KVFormatConversion &conversion,
                const KVFormatArgument &argument)
{
    const bool asSigned = conversion.type == 'd' || conversion.type == 'i';
    std::size_t bytes = argument.integerBytes;
    if (conversion.keptBytes != 0)
        bytes = std::min<std::size_t>(bytes, conversion.keptBytes);
    const std::uint64_t value =
        narrowed(argument.integer, bytes, asSigned && (argument.integerSigned || bytes >= 4));
    const bool negative = asSigned && static_cast<std::int64_t>(value) < 0;
    const bool hexadecimal = conversion.type == 'x' || conversion.type == 'X';
    const int base = hexadecimal ? 16 : conversion.type == 'o' ? 8 : 10;

    Digits digits(negative ? 0 - value : value, base, conversion.type == 'X', conversion.precision);
    QByteArrayView prefix = asSigned ? signPrefix(conversion, negative) : "";
    if (conversion.alternative && hexadecimal && value != 0)
        prefix = conversion.type == 'X' ? "0X" : "0x";
    if (conversion.alternative && base == 8)
        digits.leadWithZero();
    putNumber(output, conversion, prefix, digits.view(), conversion.zeroPadded && conversion.precision < 0);
}

/// Makes the C library print numbers with a point in this thread, whatever locale the application chose.
class CLocaleGuard {
public:
    CLocaleGuard() : previous(uselocale(plain())) {}
    ~CLocaleGuard() { uselocale(previous); }
    CLocaleGuard(const CLocaleGuard &) = delete;
    CLocaleGuard &operator=(const CLocaleGuard &) = delete;

private:
    static locale_t plain()
    {
        static const locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
        return made;
    }

    locale_t previous;
};

void putReal(KVFormatOutput &output, const KVFormatConversion &conversion, const KVFormatArgument &argument)
{
    std::array<char, 16> format;
    char *next = format.data();
    *next++ = '%';
    for (const auto &[set, letter] :
         {std::pair(conversion.leftAligned, '-'), std::pair(conversion.plusSign, '+'),
          std::pair(conversion.blankSign, ' '), std::pair(conversion.alternative, '#'),
          std::pair(conversion.zeroPadded, '0')}) {
        if (set)
            *next++ = letter;
    }
    for (const char c : {'*', '.', '*', conversion.type, '\0'})
        *next++ = c;

    // Room for the widest field, or the longest number with the longest fraction.
    std::array<char, KVFormatConversion::kMaxFieldSize + 512> text;
    const CLocaleGuard guard;
    const int length = std::snprintf(text.data(), text.size(), format.data(), conversion.width,
                                     conversion.precision, argument.real);
    output.putAscii({text.data(), std::clamp<qsizetype>(length, 0, static_cast<qsizetype>(text.size()) - 1)});
}

void putAddress(KVFormatOutput &output, const KVFormatConversion &conversion,
                const KVFormatArgument &argument)
{
    const Digits digits(reinterpret_cast<std::uintptr_t>(argument.address), 16, false, -1);
    putNumber(output, conversion, "0x", digits.view(), conversion.zeroPadded);
}

void putText(KVFormatOutput &output, const KVFormatConversion &conversion, QStringView text)
{
    const qsizetype missing = std::max<qsizetype>(conversion.width - text.size(), 0);
    if (missing > 0 && !conversion.leftAligned)
        output.putBlanks(static_cast<std::size_t>(missing), ' ');
    output.putUtf16(text);
    if (missing > 0 && conversion.leftAligned)
        output.putBlanks(static_cast<std::size_t>(missing), ' ');
}

void putBytes(KVFormatOutput &output, const KVFormatConversion &conversion, const KVFormatArgument &argument)
{
    const QByteArrayView bytes = formatBytes(argument, conversion.precision);
    if (conversion.width == 0)
        output.putUtf8(bytes);
    else
        putText(output, conversion, QString::fromUtf8(bytes));
}

/// What `%@` prints for a value that is no object.
QString describeValue(const KVFormatArgument &argument)
{
    switch (argument.kind) {
    case KVFormatArgument::Kind::Integer:
        return argument.integerSigned ? QString::number(static_cast<qlonglong>(argument.integer))
                                      : QString::number(static_cast<qulonglong>(argument.integer));
    case KVFormatArgument::Kind::Real:
        return QString::number(argument.real, 'g', QLocale::FloatingPointShortest);
    case KVFormatArgument::Kind::Character:
        return QString(QChar(static_cast<char16_t>(argument.integer)));
    case KVFormatArgument::Kind::Bytes:
        return QString::fromUtf8(formatBytes(argument, -1));
    case KVFormatArgument::Kind::Text:
        return *static_cast<const QString *>(argument.object);
    default:
        return {};
    }
}

void putObject(KVFormatOutput &output, const KVFormatConversion &conversion, const KVFormatArgument &argument)
{
    const QString described =
        argument.describe != nullptr ? argument.describe(argument.object) : describeValue(argument);
    QStringView text = described;
    if (described.isNull())
        text = u"(null)";
    if (conversion.precision >= 0 && text.size() > conversion.precision) {
        text.truncate(conversion.precision);
        if (!text.empty() && text.back().isHighSurrogate())
            text.chop(1);
    }
    putText(output, conversion, text);
}

} // namespace

QByteArrayView formatBytes(const KVFormatArgument &argument, std::int32_t precision)
{
    const auto *const bytes = static_cast<const char *>(argument.address);
    if (bytes == nullptr)
        return argument.terminated ? kNil : QByteArrayView("");
    std::size_t limit = argument.size;
    if (precision >= 0)
        limit = std::min(limit, static_cast<std::size_t>(precision));
    std::size_t size = limit;
    if (argument.terminated)
        size = limit == SIZE_MAX ? std::strlen(bytes) : strnlen(bytes, limit);
    if (precision < 0 || size < static_cast<std::size_t>(precision))
        return {bytes, static_cast<qsizetype>(size)};

    for (std::size_t back = 1; back <= 3 && back <= size; ++back) {
        const auto lead = static_cast<unsigned char>(bytes[size - back]);
        if ((lead & 0xC0) == 0x80)
            continue;
        const std::size_t needed = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        if (needed > back)
            size -= back;
        break;
    }
    return {bytes, static_cast<qsizetype>(size)};
}

void putConversion(KVFormatOutput &output, const KVFormatConversion &conversion,
                   const KVFormatArgument &argument)
{
    switch (conversion.need) {
    case KVFormatConversion::Object:
        return putObject(output, conversion, argument);
    case KVFormatConversion::Integer:
        return putInteger(output, conversion, argument);
    case KVFormatConversion::Real:
        return putReal(output, conversion, argument);
    case KVFormatConversion::Pointer:
        return putAddress(output, conversion, argument);
    case KVFormatConversion::Bytes:
        return putBytes(output, conversion, argument);
    case KVFormatConversion::Character: {
        const auto character = static_cast<char16_t>(argument.integer);
        return putText(output, conversion, QStringView(&character, 1));
    }
    case KVFormatConversion::Nothing:
        return;
    }
}

} // namespace KVBase
