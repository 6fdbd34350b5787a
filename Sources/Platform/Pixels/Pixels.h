#pragma once

#include <KVBase/KVExport.h>

#include <cstddef>
#include <cstdint>

/// Loops over pixels of four 8-bit channels, written once and compiled for every instruction set; the best
/// one that the machine has is chosen at run time. All are exact: each set gives the bytes of the plain loop.
/// They touch the pixels and never the padding of a row, allocate nothing and may run on any thread.
namespace KVBase::Pixels
{

/// Rows of pixels to write to; nothing about it needs to be aligned.
struct Rows {
    std::uint8_t *data = nullptr;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t rowBytes = 0;
};

/// Rows to read from.
struct ConstRows {
    const std::uint8_t *data = nullptr;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t rowBytes = 0;
};

/// Bytes (a, b, c, d) of each pixel become (d, a, b, c).
KV_EXPORT void lastByteToFront(const Rows &rows);

/// Bytes (a, b, c, d) of each pixel become (b, c, d, a).
KV_EXPORT void firstByteToBack(const Rows &rows);

/// Writes `value` into byte `index` (0 to 3) of each pixel.
KV_EXPORT void fillByte(const Rows &rows, std::size_t index, std::uint8_t value);

/// Writes the same four bytes into each pixel.
KV_EXPORT void fillPixel(const Rows &rows, const std::uint8_t (&pixel)[4]);

/// Mirrors left and right. Both have the size of `target`; they are the same rows or do not overlap.
KV_EXPORT void mirrorLeftRight(const ConstRows &source, const Rows &target);

/// Mirrors top and bottom, as the former.
KV_EXPORT void mirrorTopBottom(const ConstRows &source, const Rows &target);

/// Turns by 180 degrees, as the former.
KV_EXPORT void turn180(const ConstRows &source, const Rows &target);

/// Copies every `factor`-th of the pixels from `source` on, `count` of them, into consecutive places. The
/// target may be the source or lie before it.
KV_EXPORT void thinOut(const std::uint8_t *source, std::uint8_t *target, std::size_t count,
                       std::size_t factor);

/// Divides the colours of RGBA pixels by their alpha into packed rows of the same size. Each colour c under
/// an alpha a becomes the low 8 bits of the truncated single-precision product c * (255 / a): a colour above
/// its alpha wraps. Alpha 0 gives four zero bytes.
KV_EXPORT void straightFromPremultiplied(const ConstRows &source, std::uint8_t *packed, bool alphaFirst);

/// Gives RGB pixels of three bytes an alpha of 255, into packed rows of the same size. Reads three bytes for
/// each pixel and none beyond.
KV_EXPORT void opaqueFromRGB(const ConstRows &source, std::uint8_t *packed, bool alphaFirst);

} // namespace KVBase::Pixels
