#pragma once

#include "Platform/Services/Service.h"

#include <cstdint>
#include <memory>

namespace KVBase
{

/// Properties of a renderer, as `describeRenderer` is asked for them.
inline constexpr std::int32_t kCGLRPFullScreen = 54;
inline constexpr std::int32_t kCGLRPRendererID = 70;
inline constexpr std::int32_t kCGLRPVideoMemory = 120;
inline constexpr std::int32_t kCGLRPTextureMemory = 121;
inline constexpr std::int32_t kCGLRPRendererCount = 128;

/// What the screens of this session are and who draws on them. The application's thread.
struct KV_EXPORT Displays {
    virtual ~Displays();

    /// Writes up to `capacity` identifiers to `displays`, which may be null for a capacity of 0, and the
    /// number of displays to `count`. 0: success.
    virtual std::int32_t activeDisplays(std::uint32_t capacity, std::uint32_t *displays,
                                        std::uint32_t *count) = 0;

    /// Whether hardware draws the display; a software renderer does not count.
    virtual bool usesOpenGLAcceleration(std::uint32_t display) = 0;

    /// The maker's number in the display's own description, 0 when unknown.
    virtual std::uint32_t vendorNumber(std::uint32_t display) = 0;
    virtual std::uint32_t serialNumber(std::uint32_t display) = 0;

    /// A bit per display that a renderer serves; 0: none does.
    virtual std::uint32_t openGLMask(std::uint32_t display) = 0;

    /// The renderers behind a mask, given back with the last holder of `info`. 0: success.
    virtual std::int32_t rendererInfo(std::uint32_t mask, std::shared_ptr<void> *info) = 0;

    /// One integer property of renderer `index`. 0: success; otherwise `value` is left alone.
    virtual std::int32_t describeRenderer(const std::shared_ptr<void> &info, std::int32_t index,
                                          std::int32_t property, std::int32_t *value) = 0;

    /// Asks Qt's screens, their descriptions in /sys and an OpenGL context. A platform that shows nothing has
    /// no displays.
    static Displays *makeDefault();
};

extern template class KV_EXPORT Service<Displays>;

} // namespace KVBase
