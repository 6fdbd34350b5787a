#include <KVBase/Platform/vImage.h>

#include "Platform/Pixels/Pixels.h"
#include "Platform/Pixels/Scale.h"

#include <algorithm>

namespace KVBase
{

namespace
{

constexpr std::size_t kLongestSide = std::size_t{1} << 24;
constexpr unsigned kLobes = 3;
constexpr unsigned kHighQualityLobes = 5;

vImage_Error checked(const vImage_Buffer *buffer)
{
    if (buffer == nullptr || buffer->data == nullptr)
        return kvImageNullPointerArgument;
    if (buffer->width == 0 || buffer->height == 0 || buffer->rowBytes / 4 < buffer->width)
        return kvImageInvalidParameter;
    return kvImageNoError;
}

vImage_Error checked(const vImage_Buffer *source, const vImage_Buffer *destination)
{
    const vImage_Error error = checked(source);
    return error != kvImageNoError ? error : checked(destination);
}

bool isTooLong(const vImage_Buffer &buffer) { return std::max(buffer.width, buffer.height) > kLongestSide; }

Pixels::ConstRows allRows(const vImage_Buffer &buffer)
{
    return {static_cast<const std::uint8_t *>(buffer.data), buffer.width, buffer.height, buffer.rowBytes};
}

/// The area of `buffer` that both have.
template <class AnyRows>
AnyRows commonRows(const vImage_Buffer &buffer, const vImage_Buffer &other)
{
    return {static_cast<std::uint8_t *>(buffer.data), std::min(buffer.width, other.width),
            std::min(buffer.height, other.height), buffer.rowBytes};
}

vImage_Error move(const vImage_Buffer *source, const vImage_Buffer *destination,
                  void (*kernel)(const Pixels::ConstRows &, const Pixels::Rows &))
{
    const vImage_Error error = checked(source, destination);
    if (error == kvImageNoError)
        kernel(commonRows<Pixels::ConstRows>(*source, *destination),
               commonRows<Pixels::Rows>(*destination, *source));
    return error;
}

} // namespace

vImage_Error vImageScale_ARGB8888(const vImage_Buffer *source, const vImage_Buffer *destination, void *,
                                  std::uint32_t flags)
{
    const vImage_Error error = checked(source, destination);
    if (error != kvImageNoError)
        return error;
    if (isTooLong(*source) || isTooLong(*destination))
        return kvImageInvalidParameter;
    const unsigned lobes = (flags & kvImageHighQualityResampling) != 0 ? kHighQualityLobes : kLobes;
    const Pixels::Rows target = commonRows<Pixels::Rows>(*destination, *destination);
    return Pixels::scale(allRows(*source), target, lobes) ? kvImageNoError : kvImageMemoryAllocationError;
}

vImage_Error vImageHorizontalReflect_ARGB8888(const vImage_Buffer *source, const vImage_Buffer *destination,
                                              std::uint32_t)
{
    return move(source, destination, &Pixels::mirrorLeftRight);
}

vImage_Error vImageVerticalReflect_ARGB8888(const vImage_Buffer *source, const vImage_Buffer *destination,
                                            std::uint32_t)
{
    return move(source, destination, &Pixels::mirrorTopBottom);
}

vImage_Error vImageRotate90_ARGB8888(const vImage_Buffer *source, const vImage_Buffer *destination,
                                     std::uint8_t rotation, const Pixel_8888 &, std::uint32_t)
{
    const vImage_Error error = checked(source, destination);
    if (error == kvImageNoError && rotation != kRotate180DegreesClockwise)
        return kvImageInvalidParameter;
    return move(source, destination, &Pixels::turn180);
}

} // namespace KVBase
