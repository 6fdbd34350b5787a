#include "Platform/Pixels/Pixels.h"
#include "Platform/Pixels/Scale.h"
#include "Platform/Pixels/ScaleWeights.h"
#include "Platform/Pixels/Targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace KVBase::Pixels
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

/// Memory that ends right before a page that must not be touched.
class GuardedMemory {
public:
    explicit GuardedMemory(std::size_t bytes) : size(bytes)
    {
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        mapped = (bytes / page + 2) * page;
        void *memory = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(memory, MAP_FAILED);
        start = static_cast<std::uint8_t *>(memory);
        EXPECT_EQ(mprotect(start + mapped - page, page, PROT_NONE), 0);
        begin = start + mapped - page - bytes;
    }
    explicit GuardedMemory(const Bytes &content) : GuardedMemory(content.size())
    {
        std::copy(content.begin(), content.end(), begin);
    }
    ~GuardedMemory() { munmap(start, mapped); }
    GuardedMemory(const GuardedMemory &) = delete;
    GuardedMemory &operator=(const GuardedMemory &) = delete;

    std::uint8_t *data() const { return begin; }
    Bytes bytes() const { return Bytes(begin, begin + size); }

private:
    std::size_t size;
    std::size_t mapped = 0;
    std::uint8_t *start = nullptr;
    std::uint8_t *begin = nullptr;
};

Bytes noise(std::size_t count, unsigned seed)
{
    std::minstd_rand generator(seed + 1);
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(generator() >> 8); });
    return bytes;
}

constexpr std::size_t kHeight = 3;

/// Rows end where the last pixel ends, so that a kernel which looks at the padding of the last one is caught.
std::size_t storage(std::size_t width, std::size_t rowBytes) { return (kHeight - 1) * rowBytes + width * 4; }

/// Runs `kernel` and the plain loop on each instruction set, width and row length.
template <class Kernel, class Plain>
void compareInPlace(Kernel kernel, Plain plain)
{
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scope(target);
        for (std::size_t width = 0; width <= 70; ++width) {
            for (const std::size_t padding : {0u, 3u, 8u}) {
                const std::size_t rowBytes = width * 4 + padding;
                const Bytes before = noise(storage(width, rowBytes), static_cast<unsigned>(width));
                const GuardedMemory memory(before);
                kernel(Rows{memory.data(), width, kHeight, rowBytes});
                Bytes expected = before;
                plain(Rows{expected.data(), width, kHeight, rowBytes});
                ASSERT_EQ(memory.bytes(), expected) << targetName(target) << " " << width << " + " << padding;
            }
        }
    }
}

template <class Change>
auto eachPixel(Change change)
{
    return [change](const Rows &rows) {
        for (std::size_t y = 0; y < rows.height; ++y) {
            for (std::size_t x = 0; x < rows.width; ++x)
                change(rows.data + y * rows.rowBytes + x * 4);
        }
    };
}

TEST(PixelKernelsTest, SeveralInstructionSetsAreTested) { EXPECT_GE(availableTargets().size(), 2u); }

TEST(PixelKernelsTest, LastByteToFront)
{
    compareInPlace(&lastByteToFront, eachPixel([](std::uint8_t *p) { std::rotate(p, p + 3, p + 4); }));
}

TEST(PixelKernelsTest, FirstByteToBack)
{
    compareInPlace(&firstByteToBack, eachPixel([](std::uint8_t *p) { std::rotate(p, p + 1, p + 4); }));
}

TEST(PixelKernelsTest, FillByte)
{
    for (std::size_t index = 0; index < 4; ++index)
        compareInPlace([=](const Rows &rows) { fillByte(rows, index, 0x5a); },
                       eachPixel([=](std::uint8_t *p) { p[index] = 0x5a; }));
}

TEST(PixelKernelsTest, FillPixel)
{
    compareInPlace(
        [](const Rows &rows) {
            fillPixel(rows, {1, 2, 3, 4});
        },
        eachPixel([](std::uint8_t *p) {
            for (std::uint8_t i = 0; i < 4; ++i)
                p[i] = static_cast<std::uint8_t>(i + 1);
        }));
}

TEST(PixelKernelsTest, LongRowsAreFilledToTheLastPixel)
{
    for (const std::size_t width : {2047u, 2048u, 5001u}) {
        const std::size_t rowBytes = width * 4 + 5;
        const GuardedMemory memory(Bytes(2 * rowBytes - 5, 0xee));
        fillPixel({memory.data(), width, 2, rowBytes}, {1, 2, 3, 4});
        const Bytes filled = memory.bytes();
        for (std::size_t i = 0; i < filled.size(); ++i) {
            const std::size_t at = i % rowBytes;
            ASSERT_EQ(filled[i], at < width * 4 ? at % 4 + 1 : 0xee) << width << " " << i;
        }
    }
}

TEST(PixelKernelsTest, ThinsOutInPlaceAndOverItself)
{
    for (const std::int64_t set : availableTargets()) {
        const ScopedTarget scope(set);
        for (std::size_t factor = 1; factor <= 5; ++factor) {
            for (std::size_t count = 0; count <= 70; ++count) {
                for (const std::size_t before : {0u, 4u, 12u, 64u}) {
                    const std::size_t pixels = count == 0 ? 0 : (count - 1) * factor + 1;
                    const Bytes bytes = noise(before + pixels * 4, static_cast<unsigned>(count));
                    const GuardedMemory memory(bytes);
                    thinOut(memory.data() + before, memory.data(), count, factor);
                    const Bytes after = memory.bytes();
                    for (std::size_t i = 0; i < count; ++i)
                        ASSERT_EQ(
                            std::memcmp(after.data() + i * 4, bytes.data() + before + i * factor * 4, 4), 0)
                            << targetName(set) << " factor " << factor << ", " << i << " of " << count;
                    for (std::size_t i = count * 4; i < after.size(); ++i)
                        ASSERT_EQ(after[i], bytes[i]);
                }
            }
        }
    }
}

/// Where the pixel (x, y) of the result comes from.
using Origin = std::pair<std::size_t, std::size_t> (*)(std::size_t x, std::size_t y, std::size_t w,
                                                       std::size_t h);

struct Movement {
    const char *name;
    void (*kernel)(const ConstRows &, const Rows &);
    Origin origin;
};

class PixelMovementTest : public testing::TestWithParam<Movement> {
protected:
    Bytes moved(const Bytes &source, std::size_t width, std::size_t height, std::size_t from,
                const Bytes &target, std::size_t to)
    {
        Bytes result = target;
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                const auto [sx, sy] = GetParam().origin(x, y, width, height);
                std::memcpy(result.data() + y * to + x * 4, source.data() + sy * from + sx * 4, 4);
            }
        }
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(Kernels, PixelMovementTest,
                         testing::Values(Movement{"LeftRight", &mirrorLeftRight,
                                                  [](std::size_t x, std::size_t y, std::size_t w,
                                                     std::size_t) { return std::pair(w - 1 - x, y); }},
                                         Movement{"TopBottom", &mirrorTopBottom,
                                                  [](std::size_t x, std::size_t y, std::size_t,
                                                     std::size_t h) { return std::pair(x, h - 1 - y); }},
                                         Movement{
                                             "Turn", &turn180,
                                             [](std::size_t x, std::size_t y, std::size_t w, std::size_t h) {
                                                 return std::pair(w - 1 - x, h - 1 - y);
                                             }}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_P(PixelMovementTest, InPlaceAndOutOfPlace)
{
    for (const std::int64_t set : availableTargets()) {
        const ScopedTarget scope(set);
        for (std::size_t width = 0; width <= 70; ++width) {
            for (std::size_t height = 1; height <= 4; ++height) {
                const std::size_t from = width * 4 + 5;
                const std::size_t to = width * 4 + 2;
                const Bytes source = noise((height - 1) * from + width * 4, static_cast<unsigned>(width));
                const Bytes target = noise((height - 1) * to + width * 4, 99);
                const GuardedMemory input(source);
                const GuardedMemory output(target);
                GetParam().kernel({input.data(), width, height, from}, {output.data(), width, height, to});
                ASSERT_EQ(output.bytes(), moved(source, width, height, from, target, to))
                    << targetName(set) << width;
                ASSERT_EQ(input.bytes(), source);
                GetParam().kernel({input.data(), width, height, from}, {input.data(), width, height, from});
                ASSERT_EQ(input.bytes(), moved(source, width, height, from, source, from))
                    << targetName(set) << " in place " << width << " x " << height;
            }
        }
    }
}

TEST(PixelKernelsTest, RowsOfAnyLengthAreMirroredInPlace)
{
    for (const std::int64_t set : availableTargets()) {
        const ScopedTarget scope(set);
        for (const std::size_t width : {8191u, 8192u, 8193u, 20001u}) {
            const Bytes before = noise(2 * width * 4, static_cast<unsigned>(width));
            const GuardedMemory memory(before);
            mirrorLeftRight({memory.data(), width, 2, width * 4}, {memory.data(), width, 2, width * 4});
            const Bytes after = memory.bytes();
            for (std::size_t i = 0; i < 2 * width; ++i) {
                const std::size_t origin = i / width * width + (width - 1 - i % width);
                ASSERT_EQ(std::memcmp(after.data() + i * 4, before.data() + origin * 4, 4), 0)
                    << targetName(set) << " " << width << " " << i;
            }
        }
    }
}

Bytes plainStraight(const Bytes &rgba, bool alphaFirst)
{
    Bytes result;
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        const std::uint8_t alpha = rgba[i + 3];
        std::uint8_t color[3] = {0, 0, 0};
        for (std::size_t c = 0; c < 3 && alpha != 0; ++c) {
            const float scale = 255.0f / static_cast<float>(alpha);
            const float product = static_cast<float>(rgba[i + c]) * scale;
            color[c] = static_cast<std::uint8_t>(static_cast<int>(product) & 0xff);
        }
        if (alphaFirst)
            result.push_back(alpha);
        result.insert(result.end(), color, color + 3);
        if (!alphaFirst)
            result.push_back(alpha);
    }
    return result;
}

TEST(PixelKernelsTest, EveryColourUnderEveryAlphaBecomesStraight)
{
    Bytes all;
    for (unsigned alpha = 0; alpha < 256; ++alpha) {
        for (unsigned color = 0; color < 256; ++color)
            all.insert(all.end(),
                       {static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color * 31 + 7),
                        static_cast<std::uint8_t>(255 - color), static_cast<std::uint8_t>(alpha)});
    }
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scope(target);
        for (const bool alphaFirst : {false, true}) {
            Bytes result(all.size());
            straightFromPremultiplied({all.data(), 256, 256, 1024}, result.data(), alphaFirst);
            ASSERT_EQ(result, plainStraight(all, alphaFirst)) << targetName(target);
        }
    }
}

TEST(PixelKernelsTest, StraightRowsOfEveryWidthArePacked)
{
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scope(target);
        for (std::size_t width = 0; width <= 70; ++width) {
            const std::size_t rowBytes = width * 4 + 7;
            const Bytes source = noise(storage(width, rowBytes), static_cast<unsigned>(width));
            Bytes pixels;
            for (std::size_t y = 0; y < kHeight; ++y)
                pixels.insert(pixels.end(), source.begin() + static_cast<std::ptrdiff_t>(y * rowBytes),
                              source.begin() + static_cast<std::ptrdiff_t>(y * rowBytes + width * 4));
            const GuardedMemory input(source);
            const GuardedMemory output(width * 4 * kHeight);
            straightFromPremultiplied({input.data(), width, kHeight, rowBytes}, output.data(), true);
            ASSERT_EQ(output.bytes(), plainStraight(pixels, true)) << targetName(target) << " " << width;
        }
    }
}

TEST(PixelKernelsTest, OpaqueRowsReadNoByteBeyondTheLastPixel)
{
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scope(target);
        for (std::size_t width = 0; width <= 70; ++width) {
            for (const bool alphaFirst : {false, true}) {
                const Bytes source = noise(width * 3 * 2, static_cast<unsigned>(width));
                const GuardedMemory input(source);
                const GuardedMemory output(width * 4 * 2);
                opaqueFromRGB({input.data(), width, 2, width * 3}, output.data(), alphaFirst);
                Bytes expected;
                for (std::size_t i = 0; i < source.size(); i += 3) {
                    if (alphaFirst)
                        expected.push_back(255);
                    expected.insert(expected.end(), {source[i], source[i + 1], source[i + 2]});
                    if (!alphaFirst)
                        expected.push_back(255);
                }
                ASSERT_EQ(output.bytes(), expected) << targetName(target) << " " << width;
            }
        }
    }
}

double sinc(double x) { return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

/// One line scaled in double precision: the definition, without any of the kernel's shortcuts.
std::vector<double> referenceWeights(std::size_t sourceLength, std::size_t targetLength, std::size_t target,
                                     double lobes)
{
    const double ratio = static_cast<double>(sourceLength) / static_cast<double>(targetLength);
    const double stretch = std::max(1.0, ratio);
    const double center = (static_cast<double>(target) + 0.5) * ratio - 0.5;
    std::vector<double> weights(sourceLength);
    double sum = 0;
    const auto last = static_cast<long>(sourceLength) - 1;
    for (long i = static_cast<long>(std::floor(center - lobes * stretch));
         static_cast<double>(i) <= center + lobes * stretch + 1; ++i) {
        const double x = (static_cast<double>(i) - center) / stretch;
        if (std::abs(x) >= lobes)
            continue;
        const double weight = sinc(x) * sinc(x / lobes);
        weights[static_cast<std::size_t>(std::clamp(i, 0L, last))] += weight;
        sum += weight;
    }
    for (double &weight : weights)
        weight /= sum;
    return weights;
}

Bytes referenceScale(const Bytes &source, std::size_t sw, std::size_t sh, std::size_t tw, std::size_t th,
                     double lobes)
{
    std::vector<double> between(tw * 4 * sh);
    for (std::size_t x = 0; x < tw; ++x) {
        const std::vector<double> weights = referenceWeights(sw, tw, x, lobes);
        for (std::size_t y = 0; y < sh; ++y) {
            for (std::size_t i = 0; i < sw * 4; ++i)
                between[(y * tw + x) * 4 + i % 4] += weights[i / 4] * source[y * sw * 4 + i];
        }
    }
    Bytes result(tw * th * 4);
    for (std::size_t y = 0; y < th; ++y) {
        const std::vector<double> weights = referenceWeights(sh, th, y, lobes);
        for (std::size_t i = 0; i < tw * 4; ++i) {
            double sum = 0;
            for (std::size_t row = 0; row < sh; ++row)
                sum += weights[row] * between[row * tw * 4 + i];
            result[y * tw * 4 + i] = static_cast<std::uint8_t>(std::clamp(std::lround(sum), 0L, 255L));
        }
    }
    return result;
}

struct Scaling {
    const char *name;
    std::size_t sw, sh, tw, th;
    unsigned lobes;
};

void PrintTo(const Scaling &scaling, std::ostream *out) { *out << scaling.name; }

class PixelScalingTest : public testing::TestWithParam<Scaling> {};

INSTANTIATE_TEST_SUITE_P(
    Sizes, PixelScalingTest,
    testing::Values(Scaling{"QuarterFive", 256, 192, 64, 48, 5}, Scaling{"QuarterThree", 256, 192, 64, 48, 3},
                    Scaling{"FifteenthFive", 400, 300, 27, 20, 5},
                    Scaling{"FifteenthThree", 400, 300, 27, 20, 3}, Scaling{"TwiceFive", 64, 48, 128, 96, 5},
                    Scaling{"TwiceThree", 64, 48, 128, 96, 3}, Scaling{"OddRatio", 101, 67, 83, 97, 5},
                    Scaling{"WideOnly", 120, 40, 33, 40, 5}, Scaling{"TallOnly", 40, 120, 40, 33, 5},
                    Scaling{"FromOnePixel", 1, 1, 9, 7, 5}, Scaling{"ToOnePixel", 33, 21, 1, 1, 5},
                    Scaling{"FromARow", 50, 1, 20, 6, 3}, Scaling{"FromAColumn", 1, 50, 6, 20, 5},
                    Scaling{"SameSize", 31, 17, 31, 17, 5}, Scaling{"FromManyRows", 9, 700, 6, 3, 5},
                    Scaling{"FromManyColumns", 700, 9, 3, 6, 5}, Scaling{"LowerAndWider", 20, 90, 50, 17, 5},
                    Scaling{"HigherAndNarrower", 90, 20, 17, 50, 5},
                    Scaling{"ManyMoreRows", 20, 3, 33, 300, 3}, Scaling{"OneRowLess", 40, 40, 40, 39, 3}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_P(PixelScalingTest, IsWithinOneLevelAnd65DecibelsOnEveryInstructionSet)
{
    const Scaling &s = GetParam();
    const Bytes source = noise(s.sw * s.sh * 4, 5);
    const Bytes reference = referenceScale(source, s.sw, s.sh, s.tw, s.th, s.lobes);
    Bytes first;
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scope(target);
        const std::size_t rowBytes = s.tw * 4 + 8;
        const GuardedMemory input(source);
        const GuardedMemory output(Bytes(rowBytes * (s.th - 1) + s.tw * 4, 0xee));
        ASSERT_TRUE(
            scale({input.data(), s.sw, s.sh, s.sw * 4}, {output.data(), s.tw, s.th, rowBytes}, s.lobes));
        double squares = 0;
        const Bytes result = output.bytes();
        if (first.empty())
            first = result;
        ASSERT_EQ(result, first) << "every set gives the same bytes: " << targetName(target);
        for (std::size_t y = 0; y < s.th; ++y) {
            for (std::size_t i = 0; i < s.tw * 4; ++i) {
                const int difference = result[y * rowBytes + i] - reference[y * s.tw * 4 + i];
                ASSERT_LE(std::abs(difference), 1) << targetName(target);
                squares += difference * difference;
            }
            for (std::size_t i = s.tw * 4; i < rowBytes && y + 1 < s.th; ++i)
                ASSERT_EQ(result[y * rowBytes + i], 0xee) << "padding";
        }
        const double mean = squares / static_cast<double>(s.tw * s.th * 4);
        EXPECT_LE(mean, 255.0 * 255.0 / std::pow(10, 6.5)) << targetName(target);
    }
}

TEST(PixelScaleTest, OneColourStaysItAndChannelsDoNotMix)
{
    for (const std::int64_t target : availableTargets()) {
        const ScopedTarget scope(target);
        for (std::size_t width = 1; width <= 70; ++width) {
            Bytes source(37 * 23 * 4);
            for (std::size_t i = 0; i < source.size(); i += 4) {
                const std::uint8_t pixel[4] = {255, 0, 128, static_cast<std::uint8_t>(width)};
                std::memcpy(source.data() + i, pixel, 4);
            }
            Bytes expected;
            for (std::size_t x = 0; x < width; ++x)
                expected.insert(expected.end(), {255, 0, 128, static_cast<std::uint8_t>(width)});
            Bytes result(width * 4);
            ASSERT_TRUE(scale({source.data(), 37, 23, 148}, {result.data(), width, 1, width * 4}, 5));
            ASSERT_EQ(result, expected) << targetName(target) << " " << width;
        }
    }
}

TEST(PixelScaleTest, EveryWidthStaysWithinItsRowsAndIsTheSameOnEveryInstructionSet)
{
    for (std::size_t width = 1; width <= 70; ++width) {
        for (const auto &[sourceHeight, targetHeight] : {std::pair(11u, 5u), {5u, 11u}}) {
            const Bytes source = noise(width * sourceHeight * 4, static_cast<unsigned>(width));
            const std::size_t wide = 71 - width;
            Bytes first;
            for (const std::int64_t target : availableTargets()) {
                const ScopedTarget scope(target);
                const GuardedMemory input(source);
                const GuardedMemory output(wide * targetHeight * 4);
                ASSERT_TRUE(scale({input.data(), width, sourceHeight, width * 4},
                                  {output.data(), wide, targetHeight, wide * 4}, 5));
                if (first.empty())
                    first = output.bytes();
                ASSERT_EQ(output.bytes(), first) << targetName(target) << " " << width;
            }
        }
    }
}

/// Black and white as the filter's weights change their sign, which gives the largest values there are.
TEST(PixelScaleTest, TheLargestOvershootFits)
{
    constexpr std::size_t kSide = 40;
    Bytes source(kSide * kSide * 4);
    const auto isWhite = [](std::size_t x) { return x < kSide / 2 ? x % 2 == 1 : x % 2 == 0; };
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = isWhite(i / 4 % kSide) == isWhite(i / 4 / kSide) ? 255 : 0;
    for (const std::size_t side : {kSide - 1, 2 * kSide, 2 * kSide + 1}) {
        const Bytes reference = referenceScale(source, kSide, kSide, side, side, 5);
        for (const std::int64_t target : availableTargets()) {
            const ScopedTarget scope(target);
            Bytes result(side * side * 4);
            ASSERT_TRUE(
                scale({source.data(), kSide, kSide, kSide * 4}, {result.data(), side, side, side * 4}, 5));
            for (std::size_t i = 0; i < result.size(); ++i)
                ASSERT_LE(std::abs(result[i] - reference[i]), 1) << targetName(target) << " " << i;
        }
    }
}

TEST(PixelScaleTest, WeightsAddUpExactly)
{
    for (const auto &[from, to] : {std::pair(4000u, 1000u),
                                   {4000u, 266u},
                                   {1000u, 2000u},
                                   {7u, 3u},
                                   {1u, 50u},
                                   {100000u, 3u},
                                   {3u, 100000u}}) {
        ScaleWeights weights;
        ASSERT_TRUE(weights.make(from, to, 5, 255));
        for (std::size_t i = 0; i < to; i += 1 + to / 100) {
            std::int64_t sum = 0;
            for (std::size_t tap = 0; tap < weights.taps; ++tap)
                sum += weights.of(i)[tap];
            ASSERT_EQ(sum, std::int64_t{1} << weights.shift) << from << " to " << to;
        }
    }
}

} // namespace
} // namespace KVBase::Pixels
