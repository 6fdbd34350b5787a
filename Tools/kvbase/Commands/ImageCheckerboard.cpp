#include "kvbase/ImageCommands.h"

#include <CLI/CLI.hpp>

#include <KVBase/KVCIFilterUtils.h>

#include <cstdint>
#include <memory>

using namespace KVBase;

namespace kvbase
{
namespace
{

/// The longest side that picture formats and viewers agree on.
constexpr int kLongestSide = 32767;

struct CheckerboardOptions {
    MadePicture picture;
    bool isThumbnail = false;
};

/// nil: too large for memory.
Ref<NSImage> checkerboard(const CheckerboardOptions &options)
{
    const std::int64_t pixels = std::int64_t{options.picture.width} * options.picture.height;
    if (pixels > std::int64_t{kMaximumBitmapBytes} / 4)
        return nullptr;
    const Ref<CIImage> endless = options.isThumbnail ? KVCIFilterUtils::sharedThumbnailCheckerboardImage()
                                                     : KVCIFilterUtils::sharedCheckerboardImage();
    return NSImage::create(endless->render(NSMakeRect(0, 0, static_cast<float>(options.picture.width),
                                                      static_cast<float>(options.picture.height))));
}

const ImageCommandRegistration kCheckerboard{
    "checkerboard", "Make a picture of white and grey squares to lie behind others",
    [](CLI::App &app, const Context &context) {
        auto options = std::make_shared<CheckerboardOptions>();
        options->picture.addTo(app, 1, kLongestSide);
        app.add_flag("--thumbnail", options->isThumbnail, "Squares of 5 pixels instead of 9");
        return [options, &context] { return options->picture.write(checkerboard(*options), context); };
    }};

} // namespace
} // namespace kvbase
