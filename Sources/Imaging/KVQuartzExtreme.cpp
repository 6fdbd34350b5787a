#include <KVBase/KVQuartzExtreme.h>

#include "Platform/Services/Allocator.h"
#include "Platform/Services/Displays.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVByteBlock.h>

#include <algorithm>
#include <span>

namespace KVBase
{

namespace
{

constexpr char kMethodName[] = "+[NSScreen(KVQuartzExtreme) isQuartzExtremeSupported]";

/// The identifiers in a block of their own; null after a line in the log.
KVByteBlock blockFor(std::uint32_t count)
{
    KVByteBlock block(
        static_cast<std::uint8_t *>(Service<Allocator>::current()->allocate(count * sizeof(std::uint32_t))));
    if (block == nullptr)
        KVLog("%s - Can't allocate memory for DisplayList.", kMethodName);
    return block;
}

/// How many displays there are; 0 after a line in the log.
std::uint32_t countDisplays()
{
    std::uint32_t count = 0;
    const std::int32_t status = Service<Displays>::current()->activeDisplays(0, nullptr, &count);
    if (status != 0) {
        KVLog("%s - Failed with error %i on counting displays.", kMethodName, status);
        return 0;
    }
    if (count == 0)
        KVLog("%s - No displays found.", kMethodName);
    return count;
}

/// How many identifiers were put into `list`; 0 after a line in the log.
std::uint32_t listDisplays(std::span<std::uint32_t> list)
{
    auto count = static_cast<std::uint32_t>(list.size());
    const std::int32_t status = Service<Displays>::current()->activeDisplays(count, list.data(), &count);
    if (status != 0) {
        KVLog("%s - Failed with error %i on getting DisplayList.", kMethodName, status);
        return 0;
    }
    if (count == 0)
        KVLog("%s - No displays found on second try.", kMethodName);
    return std::min(count, static_cast<std::uint32_t>(list.size()));
}

std::int32_t property(const std::shared_ptr<void> &info, std::int32_t renderer, std::int32_t which)
{
    std::int32_t value = 0;
    Service<Displays>::current()->describeRenderer(info, renderer, which, &value);
    return value;
}

void logRenderers(const std::shared_ptr<void> &info)
{
    const std::int32_t count = property(info, 0, kCGLRPRendererCount);
    for (std::int32_t i = 0; i < count; ++i) {
        KVLog("Describing Renderer %i", i);
        KVLog("RendererID %i", property(info, i, kCGLRPRendererID));
        KVLog("FullScreen %i", property(info, i, kCGLRPFullScreen));
        KVLog("Video Memory %i", property(info, i, kCGLRPVideoMemory));
        KVLog("Texture Memory %i", property(info, i, kCGLRPTextureMemory));
    }
}

void logDisplay(std::uint32_t display)
{
    Displays *displays = Service<Displays>::current();
    KVLog("CGDisplay VendorNumber %i", static_cast<std::int32_t>(displays->vendorNumber(display)));
    KVLog("CGDisplay SerialNumber %i", static_cast<std::int32_t>(displays->serialNumber(display)));
    const std::uint32_t mask = displays->openGLMask(display);
    std::shared_ptr<void> info;
    if (mask != 0 && displays->rendererInfo(mask, &info) == 0)
        logRenderers(info);
}

} // namespace

bool KVQuartzExtreme::isQuartzExtremeSupported()
{
    const std::uint32_t capacity = countDisplays();
    if (capacity == 0)
        return false;
    const KVByteBlock block = blockFor(capacity);
    if (block == nullptr)
        return false;
    const std::span<std::uint32_t> list(reinterpret_cast<std::uint32_t *>(block.get()), capacity);
    const std::uint32_t count = listDisplays(list);
    bool accelerated = count != 0;
    for (const std::uint32_t display : list.first(count)) {
        if (Service<Displays>::current()->usesOpenGLAcceleration(display))
            continue;
        logDisplay(display);
        accelerated = false;
    }
    return accelerated;
}

} // namespace KVBase
