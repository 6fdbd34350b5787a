#include "kvbase/ImageCommands.h"
#include "kvbase/TestChart.h"

#include <CLI/CLI.hpp>

#include <memory>

using namespace KVBase;

namespace kvbase
{
namespace
{

constexpr int kLongestChartSide = 8192;

struct ChartOptions {
    std::string output;
    int width = 480;
    int height = 360;
};

int writeChart(const ChartOptions &options, const Context &context)
{
    const QString output = QString::fromStdString(options.output);
    QString error;
    if (!NSImage::create(testChart(options.width, options.height))->writeToFile(output, &error)) {
        complain(output + QStringLiteral(": ") + error);
        return kFailure;
    }
    if (context.json)
        printJson(QJsonObject{{QStringLiteral("output"), output},
                              {QStringLiteral("width"), options.width},
                              {QStringLiteral("height"), options.height}});
    return kSuccess;
}

const ImageCommandRegistration kChart{
    "chart", "Make a test chart that shows what is done to it", [](CLI::App &app, const Context &context) {
        auto options = std::make_shared<ChartOptions>();
        const CLI::Range sides(kShortestChartSide, kLongestChartSide);
        app.add_option("-o,--output", options->output, "The file to write")->required();
        app.add_option("--width", options->width, "Pixels across")->check(sides)->capture_default_str();
        app.add_option("--height", options->height, "Pixels up")->check(sides)->capture_default_str();
        return [options, &context] { return writeChart(*options, context); };
    }};

} // namespace
} // namespace kvbase
