#include "Platform/KVFormatUtf8.h"

#include "Platform/KVFormatter.h"

#include <algorithm>
#include <cstring>

namespace KVBase
{

namespace
{

/// Encodes one code point of up to four bytes; answers the end.
char *encode(char *to, char32_t point)
{
    const auto put = [&to](char32_t byte) { *to++ = static_cast<char>(byte); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | point >> 6);
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | point >> 12);
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    }
    return to;
}

} // namespace

void KVFormatUtf8::enlarge(std::size_t count)
{
    const std::size_t wanted = std::max(capacity * 2, size + count);
    auto larger = std::make_unique_for_overwrite<char[]>(wanted);
    std::memcpy(larger.get(), bytes, size);
    heap = std::move(larger);
    bytes = heap.get();
    capacity = wanted;
}

void KVFormatUtf8::append(QByteArrayView text)
{
    const auto count = static_cast<std::size_t>(text.size());
    std::memcpy(grow(count), text.data(), count);
    size += count;
}

void KVFormatUtf8::putUtf16(QStringView text)
{
    char *next = grow(3 * static_cast<std::size_t>(text.size()) + 4);
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        if (highSurrogate != 0 && QChar::isLowSurrogate(unit)) {
            next = encode(next, QChar::surrogateToUcs4(highSurrogate, unit));
            highSurrogate = 0;
            continue;
        }
        if (highSurrogate != 0)
            endPair();
        if (QChar::isHighSurrogate(unit))
            highSurrogate = unit;
        else if (QChar::isLowSurrogate(unit))
            broken = true;
        else
            next = encode(next, unit);
    }
    size = static_cast<std::size_t>(next - bytes);
}

/// What is not all ASCII; broken bytes are replaced.
void KVFormatUtf8::putForeign(QByteArrayView text)
{
    if (text.isValidUtf8())
        append(text);
    else
        append(QString::fromUtf8(text).toUtf8());
}

void KVFormatUtf8::putBlanks(std::size_t count, char blank)
{
    endPair();
    std::memset(grow(count), blank, count);
    size += count;
}

QByteArrayView KVFormatUtf8::cString() const
{
    const void *const end = std::memchr(bytes, '\0', size);
    const auto length =
        end != nullptr ? static_cast<const char *>(end) - bytes : static_cast<std::ptrdiff_t>(size);
    return {bytes, length};
}

QByteArrayView KVFormatUtf8::line()
{
    size = static_cast<std::size_t>(cString().size());
    *grow(1) = '\n';
    ++size;
    return {bytes, static_cast<qsizetype>(size)};
}

void formatInto(KVFormatUtf8 &output, const KVFormatView &format, const KVFormatArgument *arguments,
                std::size_t count)
{
    runFormatter(output, format, arguments, count);
}

} // namespace KVBase
