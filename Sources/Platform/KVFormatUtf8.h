#pragma once

#include "Platform/KVFormatOutput.h"

#include <KVBase/KVExport.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace KVBase
{

struct KVFormatView;
class KVFormatArgument;

/// Collects a formatted text as UTF-8. Texts of the usual length need no memory of their own.
class KV_EXPORT KVFormatUtf8 final : public KVFormatOutput {
public:
    KVFormatUtf8() : bytes(local), capacity(sizeof local) {}
    KVFormatUtf8(const KVFormatUtf8 &) = delete;
    KVFormatUtf8 &operator=(const KVFormatUtf8 &) = delete;

    void putUtf16(QStringView text) override;
    void putUtf8(QByteArrayView text) override
    {
        if (text.isEmpty())
            return;
        endPair();
        const auto count = static_cast<std::size_t>(text.size());
        if (copyAscii(grow(count), text.data(), count))
            size += count;
        else
            putForeign(text);
    }
    void putAscii(QByteArrayView text) override { putUtf8(text); }
    void putBlanks(std::size_t count, char blank) override;

    /// What was collected so far, up to the first NUL, where a C string ends.
    QByteArrayView cString() const;

    /// The same with a line feed behind it; what follows the first NUL is gone afterwards.
    QByteArrayView line();

    /// Whether the text holds half a surrogate pair, so that there is no UTF-8 for it.
    bool isBroken() const { return broken || highSurrogate != 0; }

private:
    /// Room for `count` more bytes, which the caller fills and adds to the size.
    char *grow(std::size_t count)
    {
        if (capacity - size < count)
            enlarge(count);
        return bytes + size;
    }

    /// Copies, and answers whether all of it was ASCII.
    static bool copyAscii(char *to, const char *from, std::size_t count)
    {
        std::uint64_t seen = 0;
        std::size_t at = 0;
        for (std::uint64_t eight; at + sizeof eight <= count; at += sizeof eight) {
            std::memcpy(&eight, from + at, sizeof eight);
            std::memcpy(to + at, &eight, sizeof eight);
            seen |= eight;
        }
        for (; at < count; ++at) {
            to[at] = from[at];
            seen |= static_cast<unsigned char>(from[at]);
        }
        return (seen & 0x8080808080808080u) == 0;
    }

    /// A pair that another piece interrupts stays without its second half.
    void endPair()
    {
        broken = isBroken();
        highSurrogate = 0;
    }

    void enlarge(std::size_t count);
    void putForeign(QByteArrayView text);
    void append(QByteArrayView text);

    char local[1024];
    std::unique_ptr<char[]> heap;
    char *bytes;
    std::size_t capacity;
    std::size_t size = 0;
    /// The first half of a pair whose second half comes with the next piece; 0 when there is none.
    char16_t highSurrogate = 0;
    bool broken = false;
};

/// Fills in `format`; see `KVFormatString`.
KV_EXPORT void formatInto(KVFormatUtf8 &output, const KVFormatView &format, const KVFormatArgument *arguments,
                          std::size_t count);

} // namespace KVBase
