// Rotates the bytes of pixels and fills pixels.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/Pixels/ByteOrder.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Platform/Pixels/PixelVectors-inl.h"
#include "Platform/Pixels/Pixels.h"
#include "Platform/Pixels/WholeRows.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

template <int kBits>
HWY_INLINE void rotateRow(std::uint8_t *bytes, std::size_t count)
{
    const std::size_t step = hn::Lanes(PixelTag());
    std::size_t i = 0;
    for (; i + step <= count; i += step)
        store(hn::RotateRight<kBits>(load(bytes + i * 4)), bytes + i * 4);
    for (; i < count; ++i) {
        const std::uint32_t pixel = loadOne(bytes + i * 4);
        storeOne(pixel >> kBits | pixel << (32 - kBits), bytes + i * 4);
    }
}

void lastByteToFrontOfRow(std::uint8_t *bytes, std::size_t count) { rotateRow<24>(bytes, count); }

void firstByteToBackOfRow(std::uint8_t *bytes, std::size_t count) { rotateRow<8>(bytes, count); }

void fillByteOfRow(std::uint8_t *bytes, std::size_t count, std::uint32_t kept, std::uint32_t value)
{
    const std::size_t step = hn::Lanes(PixelTag());
    const PixelVector mask = hn::Set(PixelTag(), kept);
    const PixelVector filled = hn::Set(PixelTag(), value);
    std::size_t i = 0;
    for (; i + step <= count; i += step)
        store(hn::Or(hn::And(load(bytes + i * 4), mask), filled), bytes + i * 4);
    for (; i < count; ++i)
        storeOne((loadOne(bytes + i * 4) & kept) | value, bytes + i * 4);
}

void fillRow(std::uint8_t *bytes, std::size_t count, std::uint32_t value)
{
#if HWY_ARCH_X86_64
    // The processor's own loop does not read the memory that it is going to overwrite.
    constexpr std::size_t kLongFill = 2048;
    if (count >= kLongFill) {
        asm volatile("rep stosl" : "+D"(bytes), "+c"(count) : "a"(value) : "memory");
        return;
    }
#endif
    const std::size_t step = hn::Lanes(PixelTag());
    const PixelVector pixels = hn::Set(PixelTag(), value);
    std::size_t i = 0;
    for (; i + step <= count; i += step)
        store(pixels, bytes + i * 4);
    for (; i < count; ++i)
        storeOne(value, bytes + i * 4);
}

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KVBase::Pixels
{

HWY_EXPORT(lastByteToFrontOfRow);
HWY_EXPORT(firstByteToBackOfRow);
HWY_EXPORT(fillByteOfRow);
HWY_EXPORT(fillRow);

void lastByteToFront(const Rows &rows)
{
    forEachRow(rows, [](auto *bytes, auto count) {
        HWY_DYNAMIC_DISPATCH(lastByteToFrontOfRow)(bytes, count);
    });
}

void firstByteToBack(const Rows &rows)
{
    forEachRow(rows, [](auto *bytes, auto count) {
        HWY_DYNAMIC_DISPATCH(firstByteToBackOfRow)(bytes, count);
    });
}

void fillByte(const Rows &rows, std::size_t index, std::uint8_t value)
{
    const std::size_t shift = index * 8;
    const std::uint32_t kept = ~(std::uint32_t{0xff} << shift);
    const std::uint32_t filled = std::uint32_t{value} << shift;
    forEachRow(rows, [=](auto *bytes, auto count) {
        HWY_DYNAMIC_DISPATCH(fillByteOfRow)(bytes, count, kept, filled);
    });
}

void fillPixel(const Rows &rows, const std::uint8_t (&pixel)[4])
{
    std::uint32_t value = 0;
    std::memcpy(&value, pixel, sizeof value);
    forEachRow(rows, [=](auto *bytes, auto count) { HWY_DYNAMIC_DISPATCH(fillRow)(bytes, count, value); });
}

} // namespace KVBase::Pixels
#endif
