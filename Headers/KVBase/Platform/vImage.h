#pragma once

#include <KVBase/KVExport.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace KVBase
{

/// A rectangle of pixels in memory that belongs to someone else. A null `data` stands for no usable bitmap.
struct vImage_Buffer {
    void *data = nullptr;
    std::size_t height = 0;   // rows
    std::size_t width = 0;    // pixels
    std::size_t rowBytes = 0; // from one row to the next
};

using vImage_Error = std::int32_t;
using Pixel_8 = std::uint8_t;
using Pixel_8888 = std::array<std::uint8_t, 4>;

inline constexpr std::uint32_t kvImageNoFlags = 0;
inline constexpr std::uint32_t kvImageEdgeExtend = 8;
inline constexpr std::uint32_t kvImageDoNotTile = 16;
inline constexpr std::uint32_t kvImageHighQualityResampling = 32;

inline constexpr vImage_Error kvImageNoError = 0;
inline constexpr vImage_Error kvImageMemoryAllocationError = -21771;
inline constexpr vImage_Error kvImageNullPointerArgument = -21772;
inline constexpr vImage_Error kvImageInvalidParameter = -21773;

inline constexpr std::uint8_t kRotate180DegreesClockwise = 2;

/// All four work on pixels of four 8-bit channels, each channel by itself, on the caller's thread. They never
/// touch the padding of a row. Failures leave the destination as it was: `kvImageNullPointerArgument` for a
/// null buffer or null data, `kvImageInvalidParameter` for a side of 0 or rows shorter than their pixels.

/// Scales the whole source to the whole destination; they must not overlap. Windowed sinc of 3 lobes, of 5
/// with `kvImageHighQualityResampling`; pixels beyond an edge count as the edge's. `temporary` is not used
/// and may be null. Memory for a few rows: `kvImageMemoryAllocationError` when there is none. Sides above
/// 2^24 pixels are invalid.
KV_EXPORT vImage_Error vImageScale_ARGB8888(const vImage_Buffer *source, const vImage_Buffer *destination,
                                            void *temporary, std::uint32_t flags);

/// Mirrors left and right. Where the buffers differ in size, the area common to both, from the top left of
/// each, is worked on. Source and destination may be the same buffer, else they must not overlap.
KV_EXPORT vImage_Error vImageHorizontalReflect_ARGB8888(const vImage_Buffer *source,
                                                        const vImage_Buffer *destination,
                                                        std::uint32_t flags);

/// Mirrors top and bottom, as the former.
KV_EXPORT vImage_Error vImageVerticalReflect_ARGB8888(const vImage_Buffer *source,
                                                      const vImage_Buffer *destination, std::uint32_t flags);

/// Turns by 180 degrees, as the former. Any rotation but `kRotate180DegreesClockwise` is an invalid
/// parameter; the background is not needed for this one.
KV_EXPORT vImage_Error vImageRotate90_ARGB8888(const vImage_Buffer *source, const vImage_Buffer *destination,
                                               std::uint8_t rotation, const Pixel_8888 &background,
                                               std::uint32_t flags);

} // namespace KVBase
