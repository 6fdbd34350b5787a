#include <KVBase/KVImageUtils.h>

#include "Platform/CheckedCast.h"

#include <cmath>

namespace KVBase
{

namespace
{

/// Within the range of a 32-bit integer, as a float again.
float clamped(float value) { return static_cast<float>(truncateToInt32(value)); }

/// The low 16 bits of a truncated value.
std::int16_t edge(float value)
{
    return static_cast<std::int16_t>(
        static_cast<std::uint16_t>(static_cast<std::uint32_t>(truncateToInt32(value))));
}

/// Half of a difference that wraps at 32 bits, truncated.
float halfDifference(std::int32_t larger, std::int32_t smaller)
{
    const auto difference =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(larger) - static_cast<std::uint32_t>(smaller));
    return static_cast<float>(truncateToInt32(static_cast<double>(difference) * 0.5));
}

} // namespace

NSRect KVImageUtils::calcFloatNSRectToFitInNSRect(const NSRect &source, const NSRect &target, bool centered)
{
    const float sourceWidth = source.size.width;
    const float sourceHeight = source.size.height;
    const float targetWidth = target.size.width;
    const float targetHeight = target.size.height;
    float width = targetWidth;
    float height = sourceHeight * (targetWidth / sourceWidth);
    if (height > targetHeight) {
        width = sourceWidth * (targetHeight / sourceHeight);
        height = targetHeight;
    }
    float x = 0;
    float y = 0;
    if (centered) {
        x = (targetWidth - width) * 0.5f;
        y = (targetHeight - height) * 0.5f;
    }
    return {{std::round(x), std::round(y)}, {std::round(width), std::round(height)}};
}

NSRect KVImageUtils::calcNSRectToFitInNSRect(const NSRect &source, const NSRect &target, bool centered)
{
    const NSRect fit = calcFloatNSRectToFitInNSRect(source, target, centered);
    return {{clamped(fit.origin.x), clamped(fit.origin.y)},
            {clamped(fit.size.width), clamped(fit.size.height)}};
}

NSRect KVImageUtils::calcNSSizeToFitInNSSize(const NSSize &source, const NSSize &target, bool centered)
{
    return calcNSRectToFitInNSRect({{0, 0}, source}, {{0, 0}, target}, centered);
}

NSRect KVImageUtils::calcNSSizeToCoverNSSize(const NSSize &source, const NSSize &target, bool centered)
{
    // Whole numbers, and an offset that points into the scaled source: unlike the fit, and callers rely on
    // it.
    const std::int32_t sourceWidth = truncateToInt32(source.width);
    const std::int32_t sourceHeight = truncateToInt32(source.height);
    const std::int32_t targetWidth = truncateToInt32(target.width);
    const std::int32_t targetHeight = truncateToInt32(target.height);
    const float ratio = static_cast<float>(targetWidth) / static_cast<float>(sourceWidth);
    std::int32_t width = targetWidth;
    std::int32_t height = truncateToInt32(static_cast<float>(sourceHeight) * ratio);
    if (height < targetHeight) {
        width = truncateToInt32(static_cast<float>(sourceWidth) *
                                (static_cast<float>(targetHeight) / static_cast<float>(sourceHeight)));
        height = targetHeight;
    }
    NSRect cover{{0, 0}, {static_cast<float>(width), static_cast<float>(height)}};
    if (centered)
        cover.origin = {halfDifference(width, targetWidth), halfDifference(height, targetHeight)};
    return cover;
}

Rect KVImageUtils::calcRectToFitInRect(const Rect &source, const Rect &target, bool centered)
{
    return convertNSRectToQTRect(
        calcNSRectToFitInNSRect(convertQTRectToNSRect(source), convertQTRectToNSRect(target), centered));
}

NSRect KVImageUtils::convertQTRectToNSRect(const Rect &rect)
{
    return {{static_cast<float>(rect.left), static_cast<float>(rect.top)},
            {static_cast<float>(rect.right - rect.left), static_cast<float>(rect.bottom - rect.top)}};
}

Rect KVImageUtils::convertNSRectToQTRect(const NSRect &rect)
{
    return {edge(rect.origin.y), edge(rect.origin.x), edge(rect.origin.y + rect.size.height),
            edge(rect.origin.x + rect.size.width)};
}

} // namespace KVBase
