#include <KVBase/KVImageUtils.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

namespace KVBase
{
namespace
{

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kTop = 2147483648.0F;

struct Values {
    float x, y, width, height;
};

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool operator==(const Values &a, const Values &b)
{
    return same(a.x, b.x) && same(a.y, b.y) && same(a.width, b.width) && same(a.height, b.height);
}

std::ostream &operator<<(std::ostream &out, const Values &v)
{
    return out << '(' << v.x << ", " << v.y << ", " << v.width << ", " << v.height << ')';
}

Values values(const NSRect &rect)
{
    return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

struct Case {
    NSSize source, target;
    Values centred;
};

Values floatFit(const Case &c, bool centred)
{
    return values(KVImageUtils::calcFloatNSRectToFitInNSRect({{}, c.source}, {{}, c.target}, centred));
}

TEST(KVImageUtilsGeometryContractTest, FitsInSinglePrecisionAndRoundsHalvesAway)
{
    const std::vector<Case> cases{
        {{400, 300}, {200, 200}, {0, 25, 200, 150}},
        {{300, 400}, {200, 200}, {25, 0, 150, 200}},
        {{3, 1}, {100, 100}, {0, 33, 100, 33}},
        {{1, 1}, {100, 101}, {0, 1, 100, 100}},
        {{1, 1}, {101, 100}, {1, 0, 100, 100}},
        {{8, 1}, {4, 4}, {0, 2, 4, 1}},
        {{7, 3}, {10.4F, 20}, {0, 8, 10, 4}},
        {{2, 2}, {100, 50}, {25, 0, 50, 50}},
        {{1, 1}, {99.5F, 99.5F}, {0, 0, 100, 100}},
        {{1, 1}, {0.5F, 0.5F}, {0, 0, 1, 1}},
        {{1, 1}, {0.4999F, 0.4999F}, {0, 0, 0, 0}},
        // the quotient comes first: the product first would give 116, 51 and 32 for these heights
        {{38, 57}, {77, 1000000}, {0, 499942, 77, 115}},
        {{42, 21}, {101, 101}, {0, 25, 101, 50}},
        {{42, 27}, {49, 49}, {0, 9, 49, 31}},
        // double precision would give 3213, 15518 and 20055
        {{5905.38330078125F, 14774.48046875F}, {12411.5703125F, 37479.08984375F}, {0, 3214, 12412, 31052}},
        {{18975.9375F, 28096.126953125F}, {44140.71875F, 22976.98046875F}, {14311, 0, 15519, 22977}},
        {{29467.033203125F, 42548.296875F}, {13889.53515625F, 43251.20703125F}, {0, 11598, 13890, 20056}},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(floatFit(c, true), c.centred) << values({{}, c.source}) << values({{}, c.target});
        EXPECT_EQ(floatFit(c, false), (Values{0, 0, c.centred.width, c.centred.height}));
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToFitInNSSize(c.source, c.target, true)), c.centred);
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToFitInNSSize(c.source, c.target, false)),
                  (Values{0, 0, c.centred.width, c.centred.height}));
    }
}

struct DegenerateCase {
    NSSize source, target;
    Values exact, whole;
};

TEST(KVImageUtilsGeometryContractTest, FitsDegenerateSizesByFloatArithmetic)
{
    const std::vector<DegenerateCase> cases{
        {{0, 10}, {100, 50}, {50, 0, 0, 50}, {50, 0, 0, 50}},
        {{0, 0}, {100, 50}, {0, kNaN, 100, kNaN}, {0, -kTop, 100, -kTop}},
        {{10, 0}, {100, 50}, {0, 25, 100, 0}, {0, 25, 100, 0}},
        {{10, 10}, {0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}},
        {{0, 0}, {0, 0}, {0, kNaN, 0, kNaN}, {0, -kTop, 0, -kTop}},
        {{-4, 2}, {10, 10}, {0, 8, 10, -5}, {0, 8, 10, -5}},
        {{4, -2}, {10, 10}, {0, 8, 10, -5}, {0, 8, 10, -5}},
        {{1, 1}, {kInfinity, kInfinity}, {kNaN, kNaN, kInfinity, kInfinity}, {-kTop, -kTop, kTop, kTop}},
        {{kNaN, 1}, {10, 10}, {0, kNaN, 10, kNaN}, {0, -kTop, 10, -kTop}},
        {{1, 1}, {3e9F, 4e9F}, {0, 5e8F, 3e9F, 3e9F}, {0, 5e8F, kTop, kTop}},
        {{1, 1}, {-3e9F, 5}, {0, 1.5e9F, -3e9F, -3e9F}, {0, 1.5e9F, -kTop, -kTop}},
    };
    for (const DegenerateCase &c : cases) {
        const NSRect source{{}, c.source};
        const NSRect target{{}, c.target};
        EXPECT_EQ(values(KVImageUtils::calcFloatNSRectToFitInNSRect(source, target, true)), c.exact);
        EXPECT_EQ(values(KVImageUtils::calcNSRectToFitInNSRect(source, target, true)), c.whole);
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToFitInNSSize(c.source, c.target, true)), c.whole);
        EXPECT_EQ(values(KVImageUtils::calcNSRectToFitInNSRect(source, target, false)),
                  (Values{0, 0, c.whole.width, c.whole.height}));
    }
}

TEST(KVImageUtilsGeometryContractTest, FitsEqualAspectRatiosToExactlyTheTarget)
{
    for (int side = 1; side <= 300; ++side) {
        const NSSize source{static_cast<float>(4 * side), static_cast<float>(3 * side)};
        for (const bool centred : {false, true}) {
            EXPECT_EQ(values(KVImageUtils::calcNSSizeToFitInNSSize(source, {400, 300}, centred)),
                      (Values{0, 0, 400, 300}));
        }
    }
}

TEST(KVImageUtilsGeometryContractTest, CoversInWholeNumbersWithOffsetsIntoTheSource)
{
    const std::vector<Case> cases{
        {{400, 300}, {200, 200}, {33, 0, 266, 200}},
        {{300, 400}, {200, 200}, {0, 33, 200, 266}},
        {{200.9F, 100}, {100, 100}, {50, 0, 200, 100}},
        {{10.9F, 10.9F}, {20.9F, 20.9F}, {0, 0, 20, 20}},
        {{640, 480}, {160, 120}, {0, 0, 160, 120}},
        {{7, 5}, {3, 2}, {0, 0, 3, 2}},
        {{100, 100}, {33, 70}, {18, 0, 70, 70}},
        // single precision falls short of the target here
        {{97, 97}, {100, 100}, {0, 0, 99, 100}},
        {{99, 99}, {100, 100}, {0, 0, 99, 100}},
        {{171, 171}, {200, 200}, {0, 0, 199, 200}},
        // and goes beyond double precision here: 4562, 59779, 5493, 3192668
        {{3552, 4329}, {3744, 3923}, {0, 320, 3744, 4563}},
        {{3660, 303}, {2282, 4949}, {28749, 0, 59780, 4949}},
        {{640, 2680}, {1312, 1001}, {0, 2246, 1312, 5494}},
        {{6, 4331}, {4423, 4820}, {0, 1593924, 4423, 3192669}},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToCoverNSSize(c.source, c.target, true)), c.centred);
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToCoverNSSize(c.source, c.target, false)),
                  (Values{0, 0, c.centred.width, c.centred.height}));
    }
}

TEST(KVImageUtilsGeometryContractTest, CoversDegenerateSizesBySaturatingAndWrapping)
{
    const std::vector<Case> cases{
        {{0, 10}, {100, 50}, {0, 1073741824, 100, kTop}},
        {{10, 0}, {100, 50}, {1073741760, 0, kTop, 50}},
        {{0, 0}, {100, 50}, {1073741760, 0, -kTop, 50}},
        {{0.9F, 0.9F}, {100, 50}, {1073741760, 0, -kTop, 50}},
        {{kNaN, 10}, {100, 50}, {1073741760, 0, -kTop, 50}},
        {{10, 10}, {kNaN, 5}, {-1073741824, 0, 5, 5}},
        {{10, 10}, {0, 0}, {0, 0, 0, 0}},
        {{10, 10}, {-5, 3}, {4, 0, 3, 3}},
        {{-10, 10}, {100, 100}, {-100, 0, -100, 100}},
        {{10, 10}, {3e9F, 3e9F}, {0, 0, kTop, kTop}},
        {{kInfinity, 1}, {10, 10}, {1073741824, 0, kTop, 10}},
        {{1, 1}, {-3e9F, 3e9F}, {0, 0, kTop, kTop}},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToCoverNSSize(c.source, c.target, true)), c.centred)
            << values({{}, c.source}) << values({{}, c.target});
        EXPECT_EQ(values(KVImageUtils::calcNSSizeToCoverNSSize(c.source, c.target, false)),
                  (Values{0, 0, c.centred.width, c.centred.height}));
    }
}

/// In the order top, left, bottom, right.
std::array<int, 4> sides(const Rect &rect) { return {rect.top, rect.left, rect.bottom, rect.right}; }

using Sides = std::array<int, 4>;

TEST(KVImageUtilsGeometryContractTest, KeepsTheLowBitsInALegacyRectangle)
{
    struct Row {
        NSRect from;
        Sides expected;
    };
    const std::vector<Row> rows{
        {NSMakeRect(32000, 0, 1000, 1), {0, 32000, 1, -32536}},
        {NSMakeRect(32767, 32768, 0, 0), {-32768, 32767, -32768, 32767}},
        {NSMakeRect(32767.9F, -0.9F, 0, 0), {0, 32767, 0, 32767}},
        {NSMakeRect(65536, 65537, 65536, 65536), {1, 0, 1, 0}},
        {NSMakeRect(-1.9F, 0.6F, 0, 0.6F), {0, -1, 1, -1}},
        {NSMakeRect(1e10F, -1e10F, 0, 0), {0, -1, 0, -1}},
        {NSMakeRect(kNaN, kInfinity, 1, -kInfinity), {-1, 0, 0, 0}},
        // the sum is rounded to single precision: 16777216 + 1 stays, 8388607.5 + 0.5 is 0x800000
        {NSMakeRect(16777216, 8388607.5F, 1, 0.5F), {-1, 0, 0, 0}},
        {NSMakeRect(40000, 70000, 10, 10), {4464, -25536, 4474, -25526}},
    };
    for (const Row &row : rows)
        EXPECT_EQ(sides(KVImageUtils::convertNSRectToQTRect(row.from)), row.expected);
}

TEST(KVImageUtilsGeometryContractTest, FitsLegacyRectangles)
{
    const Rect source{5, 5, 305, 405};
    EXPECT_EQ(sides(KVImageUtils::calcRectToFitInRect(source, {10, 10, 210, 210}, true)),
              (Sides{25, 0, 175, 200}));
    EXPECT_EQ(sides(KVImageUtils::calcRectToFitInRect(source, {10, 10, 210, 210}, false)),
              (Sides{0, 0, 150, 200}));
    EXPECT_EQ(sides(KVImageUtils::calcRectToFitInRect({0, 0, 1, 1}, {-32768, -32768, 32767, 32767}, true)),
              (Sides{0, 0, -1, -1}));
    // a NaN height is the most negative number, whose low bits are 0
    EXPECT_EQ(sides(KVImageUtils::calcRectToFitInRect({0, 0, 0, 0}, {0, 0, 50, 100}, true)),
              (Sides{0, 0, 0, 100}));
}

} // namespace
} // namespace KVBase
