#pragma once

#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// One "%..." of a format, taken apart. Shared by the check at compile time and by the formatter.
struct KVFormatConversion {
    /// What an argument must be able to give; an argument offers a set of these.
    enum Need : std::uint8_t {
        Nothing = 0,
        Object = 1,
        Integer = 2,
        Real = 4,
        Pointer = 8,
        Bytes = 16,
        Character = 32
    };

    /// Widths and precisions above this are no conversion: no log line needs them, and a broken text must not
    /// ask for gigabytes.
    static constexpr std::int32_t kMaxFieldSize = 4096;

    bool leftAligned = false;
    bool plusSign = false;
    bool blankSign = false;
    bool alternative = false;
    bool zeroPadded = false;
    /// 0 when none was given.
    std::int32_t width = 0;
    /// -1 when none was given.
    std::int32_t precision = -1;
    /// 1-based number of the argument ("%2$@"), 0 for the next one.
    std::int32_t position = 0;
    /// Bytes that "h" and "hh" leave of an integer; 0 without them. The other length letters say nothing
    /// here, because an argument knows its own width.
    std::uint8_t keptBytes = 0;
    char type = 0;
    Need need = Nothing;
    /// Characters from the percent sign to the type; 0 when this is no conversion.
    std::size_t length = 0;
};

namespace KVFormatDetail
{

constexpr KVFormatConversion::Need needOf(char type)
{
    switch (type) {
    case '@':
        return KVFormatConversion::Object;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
        return KVFormatConversion::Integer;
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'e':
    case 'E':
        return KVFormatConversion::Real;
    case 'p':
        return KVFormatConversion::Pointer;
    case 's':
        return KVFormatConversion::Bytes;
    case 'C':
        return KVFormatConversion::Character;
    default:
        return KVFormatConversion::Nothing;
    }
}

/// Walks the text behind a percent sign.
template <class Char>
class ConversionReader {
public:
    constexpr ConversionReader(const Char *start, std::size_t size) : text(start), end(size) {}

    constexpr KVFormatConversion read()
    {
        KVFormatConversion found;
        readPosition(found);
        while (readFlag(found))
            ++at;
        found.width = readNumber();
        if (peek() == '.') {
            ++at;
            found.precision = readNumber();
        }
        readLength(found);
        found.type = peek();
        found.need = needOf(found.type);
        const bool sane = found.width <= KVFormatConversion::kMaxFieldSize &&
                          found.precision <= KVFormatConversion::kMaxFieldSize;
        if (sane && found.need != KVFormatConversion::Nothing)
            found.length = at + 1;
        return found;
    }

private:
    constexpr char peek() const
    {
        return at < end && text[at] > 0 && text[at] < 0x7f ? static_cast<char>(text[at]) : '\0';
    }

    constexpr bool atDigit() const { return peek() >= '0' && peek() <= '9'; }

    /// Saturates above the largest field, so that no digit string overflows.
    constexpr std::int32_t readNumber()
    {
        std::int32_t number = 0;
        for (; atDigit(); ++at) {
            number = number * 10 + (peek() - '0');
            if (number > KVFormatConversion::kMaxFieldSize)
                number = KVFormatConversion::kMaxFieldSize + 1;
        }
        return number;
    }

    constexpr void readPosition(KVFormatConversion &found)
    {
        const std::size_t start = at;
        const std::int32_t number = readNumber();
        if (number > 0 && peek() == '$') {
            ++at;
            found.position = number;
        } else {
            at = start;
        }
    }

    constexpr bool readFlag(KVFormatConversion &found) const
    {
        switch (peek()) {
        case '-':
            return found.leftAligned = true;
        case '+':
            return found.plusSign = true;
        case ' ':
            return found.blankSign = true;
        case '#':
            return found.alternative = true;
        case '0':
            return found.zeroPadded = true;
        case '\'':
            return true; // groups digits; the C locale has no separator
        default:
            return false;
        }
    }

    constexpr void readLength(KVFormatConversion &found)
    {
        for (;; ++at) {
            switch (peek()) {
            case 'h':
                found.keptBytes = found.keptBytes == 0 ? 2 : 1;
                continue;
            case 'l':
            case 'q':
            case 'z':
            case 't':
            case 'j':
            case 'L':
                continue;
            default:
                return;
            }
        }
    }

    const Char *text;
    std::size_t end;
    std::size_t at = 1;
};

/// Reads what starts with the percent sign at `text`; a length of 0 says that it is no conversion.
template <class Char>
constexpr KVFormatConversion readConversion(const Char *text, std::size_t size)
{
    return ConversionReader<Char>(text, size).read();
}

} // namespace KVFormatDetail
} // namespace KVBase
