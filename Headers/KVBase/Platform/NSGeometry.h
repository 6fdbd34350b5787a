#pragma once

#include <cstdint>

namespace KVBase
{

/// A point in single precision. The unit (points, pixels) is the caller's.
struct NSPoint {
    float x = 0;
    float y = 0;

    bool operator==(const NSPoint &) const = default;
};

/// A width and a height in single precision; neither is checked for sign or range.
struct NSSize {
    float width = 0;
    float height = 0;

    bool operator==(const NSSize &) const = default;
};

/// A rectangle with its origin at the bottom left.
struct NSRect {
    NSPoint origin;
    NSSize size;

    bool operator==(const NSRect &) const = default;
};

/// The legacy rectangle of four signed 16-bit edges, y growing downwards.
struct Rect {
    std::int16_t top = 0;
    std::int16_t left = 0;
    std::int16_t bottom = 0;
    std::int16_t right = 0;

    bool operator==(const Rect &) const = default;
};

constexpr NSSize NSMakeSize(float width, float height) { return {width, height}; }

constexpr NSRect NSMakeRect(float x, float y, float width, float height) { return {{x, y}, {width, height}}; }

} // namespace KVBase
