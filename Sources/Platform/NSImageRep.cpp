#include <KVBase/Platform/NSImageRep.h>

namespace KVBase
{

NSImageRep::NSImageRep() = default;

NSImageRep::NSImageRep(const NSSize &size, std::int32_t pixelsWide, std::int32_t pixelsHigh)
    : sizeInPoints(size), numberOfPixelsWide(pixelsWide), numberOfPixelsHigh(pixelsHigh)
{}

NSImageRep::~NSImageRep() = default;

} // namespace KVBase
