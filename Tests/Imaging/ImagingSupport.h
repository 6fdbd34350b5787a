#pragma once

#include "Platform/Services/Allocator.h"

#include <KVBase/Platform/KVByteBlock.h>
#include <KVBase/Platform/NSBitmapImageRep.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace KVBase::Tests
{

using Bytes = std::vector<std::uint8_t>;

/// An allocator that has memory for the first `allowed` blocks only.
struct FailingAllocator : Allocator {
    explicit FailingAllocator(int blocks = 0) : allowed(blocks) {}
    void *allocate(std::size_t size) override { return allowed-- > 0 ? std::malloc(size + 1) : nullptr; }
    void *allocateZeroed(std::size_t size) override
    {
        return allowed-- > 0 ? std::calloc(size + 1, 1) : nullptr;
    }
    int allowed;
};

/// An allocator that only remembers the largest block asked for.
struct RecordingAllocator : Allocator {
    void *allocate(std::size_t size) override { return std::malloc(noted(size)); }
    void *allocateZeroed(std::size_t size) override { return std::calloc(noted(size), 1); }
    std::size_t noted(std::size_t size)
    {
        largest = size > largest ? size : largest;
        return size + 1;
    }
    std::size_t largest = 0;
};

inline KVByteBlock blockOf(const Bytes &bytes)
{
    auto *memory = static_cast<std::uint8_t *>(std::malloc(bytes.size() + 1));
    std::memcpy(memory, bytes.data(), bytes.size());
    return KVByteBlock(memory);
}

/// A bitmap of 8-bit samples in interleaved rows of `rowBytes`.
inline Ref<NSBitmapImageRep> bitmapOf(const Bytes &bytes, std::int32_t wide, std::int32_t high,
                                      std::int32_t samples, bool hasAlpha, std::int32_t rowBytes = 0)
{
    return NSBitmapImageRep::create(blockOf(bytes), wide, high, 8, samples, hasAlpha, false,
                                    QString(NSCalibratedRGBColorSpace), rowBytes, samples * 8);
}

inline Ref<NSBitmapImageRep> rgbaBitmap(const Bytes &bytes, std::int32_t wide, std::int32_t high,
                                        std::int32_t rowBytes = 0)
{
    return bitmapOf(bytes, wide, high, 4, true, rowBytes);
}

inline Bytes bytesOf(const Ref<NSBitmapImageRep> &rep)
{
    const std::uint8_t *data = rep->bitmapData();
    return Bytes(data, data + rep->byteCount());
}

/// The bytes of the pixels without what lies between the rows.
inline Bytes pixelsOf(const Ref<NSBitmapImageRep> &rep)
{
    Bytes result;
    const auto used = static_cast<std::size_t>(rep->pixelsWide()) * 4;
    for (std::int32_t y = 0; y < rep->pixelsHigh(); ++y) {
        const std::uint8_t *row = rep->bitmapData() + static_cast<std::ptrdiff_t>(y) * rep->bytesPerRow();
        result.insert(result.end(), row, row + used);
    }
    return result;
}

inline Bytes blockBytes(const KVByteBlock &block, std::size_t size)
{
    return block == nullptr ? Bytes() : Bytes(block.get(), block.get() + size);
}

/// Opaque pixels that are all different, row by row.
inline Bytes chart(std::int32_t wide, std::int32_t high)
{
    Bytes bytes;
    for (std::int32_t y = 0; y < high; ++y) {
        for (std::int32_t x = 0; x < wide; ++x)
            bytes.insert(bytes.end(), {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y),
                                       static_cast<std::uint8_t>(x * 7 + y * 13), 255});
    }
    return bytes;
}

} // namespace KVBase::Tests
