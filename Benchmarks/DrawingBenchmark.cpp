// The operations of a bitmap context on 12 megapixels, next to the plain loops that they give the bytes of.
#include <KVBase/KVBitmapContext.h>

#include <QtGui/QPainter>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

namespace
{

using namespace KVBase;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kWide = 4000;
constexpr std::uint32_t kHigh = 3000;

Bytes photograph()
{
    std::minstd_rand generator(1);
    Bytes pixels(std::size_t{kWide} * kHigh * 4);
    for (std::uint8_t &value : pixels)
        value = static_cast<std::uint8_t>(generator() >> 8);
    return pixels;
}

std::shared_ptr<KVBitmapContext> contextOver(Bytes &pixels)
{
    return KVBitmapContext::create(pixels.data(), kWide, kHigh, kWide * 4, QColorSpace());
}

struct Correction {
    double red, green, blue, saturation, gamma;
};

constexpr Correction kWithoutGamma{1.1, 1.0, 0.9, 0.9, 1.0};
constexpr Correction kWithGamma{1.1, 1.0, 0.9, 0.9, 2.2};

void correctKVBase(benchmark::State &state, const Correction &c)
{
    const Bytes original = photograph();
    Bytes pixels;
    for (auto _ : state) {
        state.PauseTiming();
        pixels = original;
        const auto context = contextOver(pixels);
        state.ResumeTiming();
        context->colorCorrectWithRedFactor(c.red, c.green, c.blue, c.saturation, c.gamma);
    }
}
BENCHMARK_CAPTURE(correctKVBase, plain, kWithoutGamma)
    ->Name("Correct/KVBase/without gamma")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(correctKVBase, gamma, kWithGamma)
    ->Name("Correct/KVBase/with gamma")
    ->Unit(benchmark::kMillisecond);

std::uint8_t level(double value, double gamma)
{
    const double unit = value >= 1 ? 1 : value > 0 ? value : 0;
    return static_cast<std::uint8_t>(std::pow(unit, gamma) * 255 + 0.5);
}

void correctPlain(benchmark::State &state, const Correction &c)
{
    const Bytes original = photograph();
    const double lr = (1 - c.saturation) * 0.299;
    const double lg = (1 - c.saturation) * 0.587;
    const double lb = (1 - c.saturation) * 0.114;
    Bytes pixels;
    for (auto _ : state) {
        state.PauseTiming();
        pixels = original;
        state.ResumeTiming();
        for (std::size_t i = 0; i < pixels.size(); i += 4) {
            const double g = pixels[i + 2] / 255.0;
            const double b = pixels[i + 3] / 255.0;
            const double red = pixels[i + 1] / 255.0 * (c.saturation * c.red + lr) + g * lg + b * lb;
            const double green = red * lr + g * (c.saturation * c.green + lg) + b * lb;
            const double blue = red * lr + green * lg + b * (c.saturation * c.blue + lb);
            pixels[i + 1] = level(red, c.gamma);
            pixels[i + 2] = level(green, c.gamma);
            pixels[i + 3] = level(blue, c.gamma);
        }
    }
}
BENCHMARK_CAPTURE(correctPlain, plain, kWithoutGamma)
    ->Name("Correct/plain loop/without gamma")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(correctPlain, gamma, kWithGamma)
    ->Name("Correct/plain loop/with gamma")
    ->Unit(benchmark::kMillisecond);

void subSampleKVBase(benchmark::State &state)
{
    Bytes pixels = photograph();
    for (auto _ : state)
        contextOver(pixels)->subSampleWithFactor(2);
}
BENCHMARK(subSampleKVBase)->Name("SubSample/KVBase")->Unit(benchmark::kMillisecond);

/// Reads the rows that sub-sampling needs.
void subSampleReading(benchmark::State &state)
{
    const Bytes pixels = photograph();
    for (auto _ : state) {
        std::uint64_t sum = 0;
        for (std::size_t y = 0; y < kHigh; y += 2) {
            const std::uint8_t *row = pixels.data() + y * kWide * 4;
            for (std::size_t i = 0; i < kWide * 4; i += 64)
                sum += row[i];
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(subSampleReading)->Name("SubSample/reading the rows")->Unit(benchmark::kMillisecond);

/// Fills a rectangle of 100 x 100 pixels on surfaces of both sizes: what it takes must not follow them.
void drawRectangle(benchmark::State &state, std::uint32_t wide, std::uint32_t high)
{
    const auto context = KVBitmapContext::create(nullptr, wide, high, 0, QColorSpace());
    for (auto _ : state)
        context->context()->draw(
            [](QPainter &painter) { painter.fillRect(QRectF(20, 20, 100, 100), QColor(200, 100, 50, 128)); });
}
BENCHMARK_CAPTURE(drawRectangle, large, kWide, kHigh)
    ->Name("DrawRectangle/KVBase")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(drawRectangle, small, 150, 150)
    ->Name("DrawRectangle/on 150 x 150 pixels")
    ->Unit(benchmark::kMicrosecond);

} // namespace
