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

const ImageCommandRegistration kChart{
    "chart", "Make a test chart that shows what is done to it", [](CLI::App &app, const Context &context) {
        auto picture = std::make_shared<MadePicture>(MadePicture{{}, 480, 360});
        picture->addTo(app, kShortestChartSide, kLongestChartSide);
        return [picture, &context] {
            return picture->write(NSImage::create(testChart(picture->width, picture->height)), context);
        };
    }};

} // namespace
} // namespace kvbase
