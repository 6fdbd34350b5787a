#include <KVBase/KVImageUtils.h>

#include <gtest/gtest.h>

#include <limits>

namespace KVBase
{

void PrintTo(const NSRect &rect, std::ostream *out)
{
    *out << "(" << rect.origin.x << ", " << rect.origin.y << ", " << rect.size.width << ", "
         << rect.size.height << ")";
}

void PrintTo(const Rect &rect, std::ostream *out)
{
    *out << "[" << rect.top << ", " << rect.left << ", " << rect.bottom << ", " << rect.right << "]";
}

namespace
{

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

NSRect rect(float x, float y, float width, float height) { return NSMakeRect(x, y, width, height); }

struct SizeRow {
    const char *name;
    NSSize source;
    NSSize target;
    bool centered;
    NSRect expected;
};

class KVImageUtilsFitTest : public testing::TestWithParam<SizeRow> {};

TEST_P(KVImageUtilsFitTest, GivesTheRectangleInsideTheTarget)
{
    const SizeRow &row = GetParam();
    EXPECT_EQ(KVImageUtils::calcNSSizeToFitInNSSize(row.source, row.target, row.centered), row.expected);
    EXPECT_EQ(
        KVImageUtils::calcNSRectToFitInNSRect({{7, -9}, row.source}, {{100, 3.5f}, row.target}, row.centered),
        row.expected)
        << "origins are ignored";
    EXPECT_EQ(
        KVImageUtils::calcFloatNSRectToFitInNSRect({{1, 2}, row.source}, {{3, 4}, row.target}, row.centered),
        row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KVImageUtilsFitTest,
    testing::Values(SizeRow{"WideCentered", {400, 300}, {200, 200}, true, rect(0, 25, 200, 150)},
                    SizeRow{"WideAtOrigin", {400, 300}, {200, 200}, false, rect(0, 0, 200, 150)},
                    SizeRow{"TallCentered", {300, 400}, {200, 200}, true, rect(25, 0, 150, 200)},
                    SizeRow{"TallAtOrigin", {300, 400}, {200, 200}, false, rect(0, 0, 150, 200)},
                    SizeRow{"SameAspectCentered", {400, 300}, {200, 150}, true, rect(0, 0, 200, 150)},
                    SizeRow{"SameAspect", {400, 300}, {200, 150}, false, rect(0, 0, 200, 150)},
                    SizeRow{"Enlarged", {40, 30}, {400, 300}, true, rect(0, 0, 400, 300)},
                    SizeRow{"Third", {3, 1}, {100, 100}, true, rect(0, 33, 100, 33)},
                    SizeRow{"HalfRoundsAway", {2, 1}, {101, 101}, true, rect(0, 25, 101, 51)},
                    SizeRow{"HalfOffsetRoundsAway", {4, 1}, {4, 2}, true, rect(0, 1, 4, 1)},
                    SizeRow{"NoWidth", {0, 10}, {100, 50}, false, rect(0, 0, 0, 50)},
                    SizeRow{"NoWidthCentered", {0, 10}, {100, 50}, true, rect(50, 0, 0, 50)},
                    SizeRow{"NoHeight", {10, 0}, {100, 50}, true, rect(0, 25, 100, 0)},
                    SizeRow{"Negative", {-4, 3}, {2, 2}, false, rect(0, 0, 2, -2)}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(KVImageUtilsGeometryTest, FitOfNothingKeepsTheTargetsWidth)
{
    const NSRect fit =
        KVImageUtils::calcFloatNSRectToFitInNSRect(rect(0, 0, 0, 0), rect(0, 0, 100, 50), false);
    EXPECT_EQ(fit.size.width, 100);
    EXPECT_TRUE(fit.size.height != fit.size.height);
    EXPECT_EQ(KVImageUtils::calcNSRectToFitInNSRect(rect(0, 0, 0, 0), rect(0, 0, 100, 50), false),
              rect(0, 0, 100, -2147483648.0f));
    EXPECT_EQ(KVImageUtils::calcNSRectToFitInNSRect(rect(0, 0, 0, 0), rect(0, 0, 100, 50), true),
              rect(0, -2147483648.0f, 100, -2147483648.0f));
}

TEST(KVImageUtilsGeometryTest, WholeNumbersAreLimitedTo32Bits)
{
    EXPECT_EQ(KVImageUtils::calcFloatNSRectToFitInNSRect(rect(0, 0, 1, 1), rect(0, 0, 1e20f, 1e20f), false),
              rect(0, 0, 1e20f, 1e20f));
    EXPECT_EQ(KVImageUtils::calcNSRectToFitInNSRect(rect(0, 0, 1, 1), rect(0, 0, 1e20f, 1e20f), false),
              rect(0, 0, 2147483648.0f, 2147483648.0f));
    EXPECT_EQ(KVImageUtils::calcNSRectToFitInNSRect(rect(0, 0, 1, 1), rect(0, 0, -1e20f, -1e20f), false),
              rect(0, 0, -2147483648.0f, -2147483648.0f));
    EXPECT_EQ(KVImageUtils::calcNSSizeToFitInNSSize({1, 1}, {kInfinity, 5}, false), rect(0, 0, 5, 5));
    EXPECT_EQ(KVImageUtils::calcNSSizeToFitInNSSize({1, 1}, {kNaN, 5}, false),
              rect(0, 0, -2147483648.0f, -2147483648.0f));
}

class KVImageUtilsCoverTest : public testing::TestWithParam<SizeRow> {};

TEST_P(KVImageUtilsCoverTest, GivesTheScaledSizeAndTheCrop)
{
    const SizeRow &row = GetParam();
    EXPECT_EQ(KVImageUtils::calcNSSizeToCoverNSSize(row.source, row.target, row.centered), row.expected);
}

constexpr float kMost = 2147483648.0f; // the largest 32-bit integer, as single precision holds it

INSTANTIATE_TEST_SUITE_P(
    Rows, KVImageUtilsCoverTest,
    testing::Values(SizeRow{"WideCentered", {400, 300}, {200, 200}, true, rect(33, 0, 266, 200)},
                    SizeRow{"WideAtOrigin", {400, 300}, {200, 200}, false, rect(0, 0, 266, 200)},
                    SizeRow{"TallCentered", {300, 400}, {200, 200}, true, rect(0, 33, 200, 266)},
                    SizeRow{"TruncatedFirst", {200.9f, 100}, {100, 100}, true, rect(50, 0, 200, 100)},
                    SizeRow{"SameAspect", {400, 300}, {200, 150}, true, rect(0, 0, 200, 150)},
                    SizeRow{"OddDifferenceTruncated", {403, 300}, {300, 300}, true, rect(51, 0, 403, 300)},
                    SizeRow{"SquareOf97FallsShort", {97, 97}, {100, 100}, true, rect(0, 0, 99, 100)},
                    SizeRow{"NoWidth", {0, 10}, {100, 50}, false, rect(0, 0, 100, kMost)},
                    SizeRow{"NoHeight", {10, 0}, {100, 50}, false, rect(0, 0, kMost, 50)},
                    SizeRow{"NothingOverNothing", {0, 0}, {0, 0}, false, rect(0, 0, -kMost, 0)},
                    SizeRow{"NothingOverSomething", {0, 0}, {100, 50}, false, rect(0, 0, -kMost, 50)},
                    SizeRow{"DifferenceWraps",
                            {10, 1},
                            {-1000, 2000000000},
                            true,
                            rect(-1073741324.0f, 0, kMost, 2000000000)}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(KVImageUtilsGeometryTest, LegacyRectanglesFitLikeTheOthers)
{
    EXPECT_EQ(KVImageUtils::calcRectToFitInRect({5, 6, 305, 406}, {50, 60, 250, 260}, true),
              (Rect{25, 0, 175, 200}));
    EXPECT_EQ(KVImageUtils::calcRectToFitInRect({5, 6, 305, 406}, {50, 60, 250, 260}, false),
              (Rect{0, 0, 150, 200}));
}

TEST(KVImageUtilsGeometryTest, LegacyRectanglesConvertWithoutATurn)
{
    EXPECT_EQ(KVImageUtils::convertQTRectToNSRect({10, 20, 110, 220}), rect(20, 10, 200, 100));
    EXPECT_EQ(KVImageUtils::convertNSRectToQTRect(rect(20, 10, 200, 100)), (Rect{10, 20, 110, 220}));
    EXPECT_EQ(KVImageUtils::convertQTRectToNSRect({-32768, -32768, 32767, 32767}),
              rect(-32768, -32768, 65535, 65535));
    EXPECT_EQ(KVImageUtils::convertQTRectToNSRect({5, 5, 3, 1}), rect(5, 5, -4, -2));
}

TEST(KVImageUtilsGeometryTest, EdgesKeepTheirLow16Bits)
{
    EXPECT_EQ(KVImageUtils::convertNSRectToQTRect(rect(32760, 0, 8, 32767)), (Rect{0, 32760, 32767, -32768}));
    EXPECT_EQ(KVImageUtils::convertNSRectToQTRect(rect(65536 + 3, 70000, 0, 0)), (Rect{4464, 3, 4464, 3}));
    EXPECT_EQ(KVImageUtils::convertNSRectToQTRect(rect(1e20f, kNaN, 0, 0)), (Rect{0, -1, 0, -1}));
    EXPECT_EQ(KVImageUtils::convertNSRectToQTRect(rect(-1.9f, 1.9f, 0.5f, 0.5f)), (Rect{1, -1, 2, -1}));
}

} // namespace
} // namespace KVBase
