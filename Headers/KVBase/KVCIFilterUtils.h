#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/CoreImage.h>
#include <KVBase/Platform/MacTypes.h>

namespace KVBase
{

/// Checkerboards to show behind transparent contents. Each object is made once, also under concurrent first
/// calls, and lives as long as the process. Any thread; never nil.
class KV_EXPORT KVCIFilterUtils {
public:
    KVCIFilterUtils() = delete;

    /// The generator of both images, in white and light grey. Its width is that of the image made last;
    /// changing it does not change an image that was made.
    static Ref<CIFilter> sharedCheckerboardGeneratorFilter();

    /// Squares 9 units wide.
    static Ref<KVBase::CIImage> sharedCheckerboardImage();

    /// Squares 5 units wide.
    static Ref<KVBase::CIImage> sharedThumbnailCheckerboardImage();
};

} // namespace KVBase
