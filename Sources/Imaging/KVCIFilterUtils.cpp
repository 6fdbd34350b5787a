#include <KVBase/KVCIFilterUtils.h>

#include <mutex>

namespace KVBase
{

namespace
{

constexpr float kCheckerboardWidth = 9;
constexpr float kThumbnailCheckerboardWidth = 5;
constexpr double kLightGrey = 0.8;

/// The three objects and the lock they are made under.
struct Shared {
    std::recursive_mutex mutex;
    Ref<CIFilter> filter;
    Ref<CIImage> image;
    Ref<CIImage> thumbnail;
};

Shared &shared()
{
    static Shared *const made = new Shared;
    return *made;
}

Ref<CIFilter> makeFilter()
{
    Ref<CIFilter> filter = CIFilter::filterWithName(QStringLiteral("CICheckerboardGenerator"));
    filter->setDefaults();
    filter->setValue(QVariant::fromValue(CIColor::colorWithRed(1, 1, 1)), QStringLiteral("inputColor0"));
    filter->setValue(QVariant::fromValue(CIColor::colorWithRed(kLightGrey, kLightGrey, kLightGrey)),
                     QStringLiteral("inputColor1"));
    return filter;
}

Ref<CIImage> imageMadeOnce(Ref<CIImage> Shared::*member, float width)
{
    const std::lock_guard lock(shared().mutex);
    Ref<CIImage> &image = shared().*member;
    if (image == nullptr) {
        const Ref<CIFilter> filter = KVCIFilterUtils::sharedCheckerboardGeneratorFilter();
        filter->setValue(width, QStringLiteral("inputWidth"));
        image = filter->valueForKey(QStringLiteral("outputImage")).value<Ref<CIImage>>();
    }
    return image;
}

} // namespace

Ref<CIFilter> KVCIFilterUtils::sharedCheckerboardGeneratorFilter()
{
    const std::lock_guard lock(shared().mutex);
    if (shared().filter == nullptr)
        shared().filter = makeFilter();
    return shared().filter;
}

Ref<CIImage> KVCIFilterUtils::sharedCheckerboardImage()
{
    return imageMadeOnce(&Shared::image, kCheckerboardWidth);
}

Ref<CIImage> KVCIFilterUtils::sharedThumbnailCheckerboardImage()
{
    return imageMadeOnce(&Shared::thumbnail, kThumbnailCheckerboardWidth);
}

} // namespace KVBase
