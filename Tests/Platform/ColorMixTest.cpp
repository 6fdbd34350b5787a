#include "Platform/Pixels/ColorMix.h"
#include "Platform/Pixels/Targets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace KVBase::Pixels
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

std::uint8_t plainLevel(double value, double gamma)
{
    const double unit = value >= 1 ? 1 : value > 0 ? value : 0;
    const double power = std::pow(unit, gamma);
    return static_cast<std::uint8_t>((power >= 1 ? 1 : power > 0 ? power : 0) * 255 + 0.5);
}

void mixByPowers(Bytes &pixels, const ColorMix &mix, double gamma)
{
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
        const double red = pixels[i + 1] / 255.0;
        const double green = pixels[i + 2] / 255.0;
        const double blue = pixels[i + 3] / 255.0;
        const double r = red * mix.ownRed + green * mix.green + blue * mix.blue;
        const double g = r * mix.red + green * mix.ownGreen + blue * mix.blue;
        const double b = r * mix.red + g * mix.green + blue * mix.ownBlue;
        pixels[i + 1] = plainLevel(r, gamma);
        pixels[i + 2] = plainLevel(g, gamma);
        pixels[i + 3] = plainLevel(b, gamma);
    }
}

TEST(ColorMixTest, GivesTheBytesOfThePlainLoopOnEveryInstructionSet)
{
    std::mt19937 random(7);
    const ColorMix mixes[] = {
        {0.9, 1.2, 1.1, 0.05, 0.1, 0.02}, {2, -1, 0.5, -0.3, 0.6, 0.2}, {1, 1, 1, 0, 0, 0}};
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scoped(target);
        for (const double gamma : {1.0, 2.2, 0.45, 0.1, 0.02, 0.008, 1e-4, 1e-300, 0.0, -0.5, 7.5, 300.0}) {
            const LevelTable table(gamma);
            for (std::size_t width = 0; width <= 70; ++width) {
                Bytes pixels(4 * width);
                for (std::uint8_t &byte : pixels)
                    byte = static_cast<std::uint8_t>(random());
                const ColorMix &mix = mixes[width % 3];
                Bytes expected = pixels;
                mixByPowers(expected, mix, gamma);
                mixColors(pixels.data(), width, mix, gamma == 1 ? nullptr : &table);
                ASSERT_EQ(pixels, expected) << targetName(target) << " width " << width << " gamma " << gamma;
            }
        }
    }
}

TEST(ColorMixTest, EveryByteOfEveryChannelIsDividedExactly)
{
    Bytes bytes;
    for (unsigned i = 0; i < 256; ++i)
        bytes.insert(bytes.end(), {9, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i),
                                   static_cast<std::uint8_t>(i)});
    // Scaled to the middle between two levels, where a unit that is a bit too small or large shows.
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scoped(target);
        for (int level = 0; level < 255; ++level) {
            const double scale = (level + 0.5) / (level + 1.0);
            const ColorMix mix{scale, scale, scale, 0, 0, 0};
            Bytes expected = bytes;
            mixByPowers(expected, mix, 1);
            Bytes pixels = bytes;
            mixColors(pixels.data(), 256, mix, nullptr);
            ASSERT_EQ(pixels, expected) << targetName(target) << " " << level;
        }
    }
}

TEST(ColorMixTest, StaysInsideUnalignedRows)
{
    for (std::size_t shift = 0; shift < 8; ++shift) {
        Bytes bytes(shift + 4 * 33 + 8, 200);
        mixColors(bytes.data() + shift, 33, ColorMix{0, 0, 0, 0, 0, 0}, nullptr);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const bool inside = i >= shift && i < shift + 4 * 33 && (i - shift) % 4 != 0;
            ASSERT_EQ(bytes[i], inside ? 0 : 200) << i;
        }
    }
}

TEST(LevelTableTest, AgreesWithThePowerAtAndAroundEveryChange)
{
    for (const double gamma : {2.2, 0.45, 1.0, 10.0, 0.05, 100.0, -1.0, 0.0}) {
        const LevelTable table(gamma);
        for (int level = 0; level < 256; ++level) {
            const double near = std::pow((level + 0.5) / 255, 1 / gamma);
            if (!(near > 0 && near < 1))
                continue;
            double value = near;
            for (int i = 0; i < 20; ++i)
                value = std::nextafter(value, 0);
            for (int i = 0; i < 40; ++i, value = std::nextafter(value, 1))
                ASSERT_EQ(table.level(value), plainLevel(value, gamma)) << gamma << ' ' << value;
        }
        for (int i = 0; i <= 10000; ++i)
            ASSERT_EQ(table.level(i / 10000.0), plainLevel(i / 10000.0, gamma)) << gamma;
    }
}

TEST(LevelTableTest, SurvivesPowersThatAreNoNumbers)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double gamma : {nan, infinity, -infinity, 1e-300, 0.001, 0.005, 1e300}) {
        const LevelTable table(gamma);
        for (const double value : {0.0, 1e-310, 1e-10, 0.5, 0.999999, 1.0})
            EXPECT_EQ(table.level(value), plainLevel(value, gamma)) << gamma << ' ' << value;
    }
}

} // namespace
} // namespace KVBase::Pixels
