#include <KVBase/KVBitmapContext.h>

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

namespace KVBase
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

Ref<KVBitmapContext> over(Bytes &buffer, std::uint32_t width, std::uint32_t height, std::uint32_t rowBytes)
{
    return KVBitmapContext::bitmapContextWithBuffer(buffer.data(), width, height, rowBytes, QColorSpace());
}

struct Correction {
    double red, green, blue, saturation, gamma;
};

std::uint8_t stored(double value, double gamma)
{
    const double clamped = value < 0 ? 0 : value > 1 ? 1 : value;
    return static_cast<std::uint8_t>(static_cast<int>(std::pow(clamped, gamma) * 255 + 0.5));
}

void correct(Bytes &buffer, std::size_t size, const Correction &c)
{
    const volatile double lr = (1 - c.saturation) * 0.299;
    const volatile double lg = (1 - c.saturation) * 0.587;
    const volatile double lb = (1 - c.saturation) * 0.114;
    for (std::size_t i = 0; i + 4 <= size; i += 4) {
        const double r = buffer[i + 1] / 255.0;
        const double g = buffer[i + 2] / 255.0;
        const double b = buffer[i + 3] / 255.0;
        const double r1 = r * (c.saturation * c.red + lr) + g * lg + b * lb;
        const double g1 = r1 * lr + g * (c.saturation * c.green + lg) + b * lb;
        const double b1 = r1 * lr + g1 * lg + b * (c.saturation * c.blue + lb);
        buffer[i + 1] = stored(r1, c.gamma);
        buffer[i + 2] = stored(g1, c.gamma);
        buffer[i + 3] = stored(b1, c.gamma);
    }
}

TEST(ColourCorrectionContractTest, CorrectsLikeThePlainLoop)
{
    const std::vector<Correction> corrections{
        {1, 1, 1, 0, 1},          {1, 1, 1, 1, 2.2},       {1, 1, 1, 1, 1 / 2.2},   {1.2, 0.9, 1.1, 0.7, 1.8},
        {2, 0.5, 1, 3, 0.45},     {0, 0, 0, 1, 1},         {1, 1, 1, -1, 1},        {-1, 2, 0.3, 1.5, 1},
        {1, 1, 1, 0.5, 0},        {1, 1, 1, 1.0000001, 1}, {1, 1, 1.0000001, 1, 1}, {0.1, 0.1, 0.1, 0.2, 10},
        {1e9, -1e9, 1e9, 2, 0.1}, {1, 1, 1, 0, 0.1},       {1.05, 1, 0.95, 1.1, 1}, {1, 1, 1, 1, 100},
    };
    constexpr std::uint32_t width = 61;
    constexpr std::uint32_t rowBytes = 4 * width + 8;
    Bytes source(rowBytes * 67);
    std::uint32_t state = 12345;
    for (std::uint8_t &byte : source)
        byte = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
    for (const Correction &c : corrections) {
        Bytes expected = source;
        correct(expected, expected.size(), c);
        Bytes buffer = source;
        over(buffer, width, 67, rowBytes)
            ->colorCorrectWithRedFactor(c.red, c.green, c.blue, c.saturation, c.gamma);
        EXPECT_EQ(buffer, expected) << c.red << ' ' << c.saturation << ' ' << c.gamma;
    }
}

TEST(ColourCorrectionContractTest, CorrectsGroupsFromTheBuffersStartAndNoIncompleteOne)
{
    Bytes buffer(3 * 13 + 8);
    std::iota(buffer.begin(), buffer.end(), std::uint8_t{1});
    Bytes expected = buffer;
    correct(expected, 3 * 13, {1.2, 0.8, 1, 0.5, 1.3});
    over(buffer, 3, 3, 13)->colorCorrectWithRedFactor(1.2, 0.8, 1, 0.5, 1.3);
    EXPECT_EQ(buffer, expected);
}

TEST(ColourCorrectionContractTest, CorrectsGreysAndEveryGammaStep)
{
    Bytes ramp;
    for (int v = 0; v < 256; ++v) {
        const auto b = static_cast<std::uint8_t>(v);
        ramp.insert(ramp.end(), {b, b, b, b});
    }
    for (int step = 1; step <= 60; ++step) {
        const Correction c{1, 1, 1, 1, 0.05 * step + 0.001};
        Bytes expected = ramp;
        correct(expected, expected.size(), c);
        Bytes buffer = ramp;
        over(buffer, 256, 1, 1024)->colorCorrectWithRedFactor(1, 1, 1, 1, c.gamma);
        EXPECT_EQ(buffer, expected) << c.gamma;
    }
}

} // namespace
} // namespace KVBase
