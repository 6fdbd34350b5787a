#include "kvbase/ImageCommands.h"

#include <CLI/CLI.hpp>

#include <KVBase/KVImageUtils.h>

#include <QtCore/QStringList>

#include <cmath>
#include <memory>

using namespace KVBase;

namespace kvbase
{
namespace
{

struct TransformOptions {
    ImageFiles files;
    std::string size;
    std::string rect;
    std::string direction;
    bool uncentered = false;
};

int usage(const QString &text)
{
    complain(text);
    return kUsage;
}

/// A result whose straight colours are shown as such: with the alpha multiplied in again before it is
/// written.
Ref<NSImage> premultiplied(const Ref<NSImage> &straight)
{
    if (straight == nullptr)
        return nullptr;
    QImage picture = straight->toImage();
    if (picture.format() == QImage::Format_RGBA8888_Premultiplied)
        picture.reinterpretAsFormat(QImage::Format_RGBA8888);
    return NSImage::create(picture);
}

int scaleAll(const TransformOptions &options, const Context &context)
{
    const auto size = parsedSize(options.size);
    if (!size)
        return usage(QStringLiteral("A size is written as 400x300"));
    return runOnImages(options.files, context, [size](const Ref<NSImage> &image) {
        return premultiplied(KVImageUtils::scaleImage(image, *size));
    });
}

int coverAll(const TransformOptions &options, const Context &context)
{
    const auto size = parsedSize(options.size);
    if (!size)
        return usage(QStringLiteral("A size is written as 400x300"));
    return runOnImages(options.files, context, [size, &options](const Ref<NSImage> &image) {
        const Ref<NSImage> covered = KVImageUtils::scaleAndCropImage(image, *size, !options.uncentered);
        return covered == image ? covered : premultiplied(covered);
    });
}

std::optional<NSRect> parsedRect(const std::string &text)
{
    const QStringList parts = QString::fromStdString(text).split(u',');
    float numbers[4] = {};
    for (qsizetype i = 0; i < 4; ++i) {
        bool isNumber = false;
        numbers[i] = parts.value(i).toFloat(&isNumber);
        if (!isNumber)
            return std::nullopt;
    }
    return parts.size() == 4 ? std::optional(NSMakeRect(numbers[0], numbers[1], numbers[2], numbers[3]))
                             : std::nullopt;
}

int cropAll(const TransformOptions &options, const Context &context)
{
    const auto rect = parsedRect(options.rect);
    if (!rect)
        return usage(QStringLiteral("A rectangle is written as X,Y,WIDTH,HEIGHT"));
    return runOnImages(options.files, context,
                       [rect](const Ref<NSImage> &image) { return KVImageUtils::cropImage(image, *rect); });
}

int flipAll(const TransformOptions &options, const Context &context)
{
    const KVImageOrientation orientation =
        options.direction == "horizontal" ? KVImageOrientation::MirrorLeftRight
        : options.direction == "vertical" ? KVImageOrientation::MirrorTopBottom
                                          : KVImageOrientation::Turn180;
    return runOnImages(options.files, context, [orientation](const Ref<NSImage> &image) {
        return premultiplied(KVImageUtils::flipImage(image, orientation));
    });
}

int convertAll(const TransformOptions &options, const Context &context)
{
    return runOnImages(options.files, context, [](const Ref<NSImage> &image) { return image; });
}

using TransformRun = int (*)(const TransformOptions &, const Context &);

/// A builder for a command that takes files and, named by `add`, one thing more.
CommandBuilder transform(TransformRun run, void (*add)(CLI::App &, TransformOptions &))
{
    return [run, add](CLI::App &app, const Context &context) {
        auto options = std::make_shared<TransformOptions>();
        options->files.addTo(app);
        add(app, *options);
        return [run, options, &context] { return run(*options, context); };
    };
}

void addSize(CLI::App &app, TransformOptions &options)
{
    app.add_option("--size", options.size, "Width and height in pixels, as 400x300")->required();
}

const ImageCommandRegistration kScale{"scale", "Scale pictures to a size", transform(&scaleAll, &addSize)};

const ImageCommandRegistration kCover{"cover", "Scale pictures to cover a size and crop them to it",
                                      transform(&coverAll, [](CLI::App &app, TransformOptions &options) {
                                          addSize(app, options);
                                          app.add_flag("--bottom-left", options.uncentered,
                                                       "Keep the bottom left instead of the middle");
                                      })};

const ImageCommandRegistration kCrop{
    "crop", "Cut a rectangle out of pictures",
    transform(&cropAll, [](CLI::App &app, TransformOptions &options) {
        app.add_option("--rect", options.rect, "X,Y,WIDTH,HEIGHT in points from the bottom left")->required();
    })};

const ImageCommandRegistration kFlip{
    "flip", "Mirror or turn pictures", transform(&flipAll, [](CLI::App &app, TransformOptions &options) {
        app.add_option("--direction", options.direction, "horizontal, vertical or turn")
            ->required()
            ->check(CLI::IsMember({"horizontal", "vertical", "turn"}));
    })};

const ImageCommandRegistration kConvert{"convert", "Write pictures in the format of the output's name",
                                        transform(&convertAll, [](CLI::App &, TransformOptions &) {})};

} // namespace
} // namespace kvbase
