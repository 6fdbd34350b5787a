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
    std::string output;
    int width = 0;
    int height = 0;
    bool isThumbnail = false;
};

/// nil: too large for memory.
Ref<NSImage> checkerboard(const CheckerboardOptions &options)
{
    const std::int64_t pixels = std::int64_t{options.width} * options.height;
    if (pixels > std::int64_t{kMaximumBitmapBytes} / 4)
        return nullptr;
    const Ref<CIImage> endless = options.isThumbnail ? KVCIFilterUtils::sharedThumbnailCheckerboardImage()
                                                     : KVCIFilterUtils::sharedCheckerboardImage();
    return NSImage::create(endless->render(
        NSMakeRect(0, 0, static_cast<float>(options.width), static_cast<float>(options.height))));
}

int writeCheckerboard(const CheckerboardOptions &options, const Context &context)
{
    const QString output = QString::fromStdString(options.output);
    const Ref<NSImage> image = checkerboard(options);
    QString error = QStringLiteral("The picture cannot be made");
    if (image == nullptr || !image->writeToFile(output, &error)) {
        complain(output + QStringLiteral(": ") + error);
        return kFailure;
    }
    if (context.json)
        printJson(QJsonObject{{QStringLiteral("output"), output},
                              {QStringLiteral("width"), options.width},
                              {QStringLiteral("height"), options.height}});
    return kSuccess;
}

const ImageCommandRegistration kCheckerboard{
    "checkerboard", "Make a picture of white and grey squares to lie behind others",
    [](CLI::App &app, const Context &context) {
        auto options = std::make_shared<CheckerboardOptions>();
        const CLI::Range sides(1, kLongestSide);
        app.add_option("-o,--output", options->output, "The file to write")->required();
        app.add_option("--width", options->width, "Pixels across")->required()->check(sides);
        app.add_option("--height", options->height, "Pixels up")->required()->check(sides);
        app.add_flag("--thumbnail", options->isThumbnail, "Squares of 5 pixels instead of 9");
        return [options, &context] { return writeCheckerboard(*options, context); };
    }};

} // namespace
} // namespace kvbase
