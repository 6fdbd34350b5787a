#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSGeometry.h>

#include <cstdint>

class QPainter;

namespace KVBase
{

/// One way to show an image: a size in points, a number of pixels, and a method that draws it.
/// Representations and images are used by one thread at a time; different ones may be used by different
/// threads.
class KV_EXPORT NSImageRep {
public:
    virtual ~NSImageRep();
    NSImageRep(const NSImageRep &) = delete;
    NSImageRep &operator=(const NSImageRep &) = delete;

    /// In points.
    NSSize size() const { return sizeInPoints; }
    void setSize(const NSSize &size) { sizeInPoints = size; }

    /// The number of pixels; 0 when the representation has none of its own.
    std::int32_t pixelsWide() const { return numberOfPixelsWide; }
    std::int32_t pixelsHigh() const { return numberOfPixelsHigh; }
    void setPixelsWide(std::int32_t pixels) { numberOfPixelsWide = pixels; }
    void setPixelsHigh(std::int32_t pixels) { numberOfPixelsHigh = pixels; }

    /// Draws the whole representation into `inRect` of the painter's coordinates, in which y grows upwards as
    /// in `NSDrawingSession`, with the painter's composition mode and opacity. false: nothing could be drawn.
    virtual bool draw(QPainter &painter, const NSRect &inRect) const = 0;

protected:
    NSImageRep();
    NSImageRep(const NSSize &size, std::int32_t pixelsWide, std::int32_t pixelsHigh);

private:
    NSSize sizeInPoints;
    std::int32_t numberOfPixelsWide = 0;
    std::int32_t numberOfPixelsHigh = 0;
};

} // namespace KVBase
