#include "kvbase/ImageCommands.h"

#include <KVBase/KVImageUtils.h>

#include <memory>

using namespace KVBase;

namespace kvbase
{
namespace
{

struct FitOptions {
    std::string source;
    std::string target;
    bool centered = false;
    bool covers = false;
};

int printRectangle(const FitOptions &options, const Context &context)
{
    const auto source = parsedSize(options.source);
    const auto target = parsedSize(options.target);
    if (!source || !target) {
        complain(QStringLiteral("A size is written as 400x300"));
        return kUsage;
    }
    const NSRect rect = options.covers
                            ? KVImageUtils::calcNSSizeToCoverNSSize(*source, *target, options.centered)
                            : KVImageUtils::calcNSSizeToFitInNSSize(*source, *target, options.centered);
    const double numbers[] = {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
    if (context.json)
        printJson(QJsonObject{{QStringLiteral("x"), numbers[0]},
                              {QStringLiteral("y"), numbers[1]},
                              {QStringLiteral("width"), numbers[2]},
                              {QStringLiteral("height"), numbers[3]}});
    else
        printLine(QStringLiteral("%1 %2 %3 %4")
                      .arg(numbers[0], 0, 'f', 0)
                      .arg(numbers[1], 0, 'f', 0)
                      .arg(numbers[2], 0, 'f', 0)
                      .arg(numbers[3], 0, 'f', 0));
    return kSuccess;
}

const ImageCommandRegistration kFit{
    "fit", "The rectangle x, y, width, height into which one size fits inside another",
    [](CLI::App &app, const Context &context) {
        auto options = std::make_shared<FitOptions>();
        app.add_option("SOURCE", options->source, "Size of the picture, as 400x300")->required();
        app.add_option("TARGET", options->target, "Size to fit into, as 200x200")->required();
        app.add_flag("--center", options->centered, "Centre it");
        app.add_flag("--cover", options->covers, "Cover the target instead");
        return [options, &context] { return printRectangle(*options, context); };
    }};

} // namespace
} // namespace kvbase
