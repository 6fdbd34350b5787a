#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/vImage.h>

#include <cstdint>

namespace KVBase
{

/// Operations of `vImagePermuteChannelsInPlace`.
inline constexpr std::uint32_t vImage_RGBA_to_ARGB = 0;
inline constexpr std::uint32_t vImage_ARGB_to_RGBA = 1;

/// Formats of the fill functions.
inline constexpr std::uint32_t vImage_ARGB = 0;
inline constexpr std::uint32_t vImage_RGBA = 1;

/// Placeholders with a stable interface: they touch no pixel and answer a fixed status. `KVImageUtils` and
/// `vImageSupport` hold the working implementations.
///
/// A null buffer, null data, a side or row length of 0 and an operation or format above 1 end the process, in
/// every build, after an assertion report on standard error.

/// Always -22777.
KV_EXPORT std::int32_t vImagePermuteChannelsInPlace(vImage_Buffer *vImage, std::uint32_t operation);

/// Always -22776. The colour is not used.
KV_EXPORT std::int32_t vImageFillWithColor(vImage_Buffer *vImage, std::uint32_t format,
                                           const Pixel_8888 &color);

/// Always -22776. The alpha is not used.
KV_EXPORT std::int32_t vImageFillWithAlpha(vImage_Buffer *vImage, std::uint32_t format, Pixel_8 alpha);

} // namespace KVBase
