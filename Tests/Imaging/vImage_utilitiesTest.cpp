#include <KVBase/vImage_utilities.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

std::uint8_t storage[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

vImage_Buffer usable() { return {storage, 2, 2, 8}; }

TEST(vImageUtilitiesTest, PlaceholdersAnswerTheirStatusAndTouchNothing)
{
    vImage_Buffer buffer = usable();
    EXPECT_EQ(vImagePermuteChannelsInPlace(&buffer, vImage_RGBA_to_ARGB), -22777);
    EXPECT_EQ(vImagePermuteChannelsInPlace(&buffer, vImage_ARGB_to_RGBA), -22777);
    EXPECT_EQ(vImageFillWithColor(&buffer, vImage_ARGB, {9, 9, 9, 9}), -22776);
    EXPECT_EQ(vImageFillWithColor(&buffer, vImage_RGBA, {9, 9, 9, 9}), -22776);
    EXPECT_EQ(vImageFillWithAlpha(&buffer, vImage_ARGB, 9), -22776);
    EXPECT_EQ(vImageFillWithAlpha(&buffer, vImage_RGBA, 9), -22776);
    for (std::uint8_t i = 0; i < 16; ++i)
        EXPECT_EQ(storage[i], i + 1);
}

TEST(vImageUtilitiesTest, OperationsAndFormatsAreZeroAndOne)
{
    EXPECT_EQ(vImage_RGBA_to_ARGB + vImage_ARGB_to_RGBA, 1u);
    EXPECT_EQ(vImage_ARGB + vImage_RGBA, 1u);
}

enum class Fault { NoBuffer, NoData, NoWidth, NoHeight, NoRowBytes, Choice };

struct FaultRow {
    Fault fault;
    int permuteLine;
    int colorLine;
    int alphaLine;
    const char *expression; // as a regular expression
};

class vImageUtilitiesDeathTest : public testing::TestWithParam<FaultRow> {
protected:
    vImage_Buffer buffer = usable();
    std::uint32_t choice = 0;

    vImage_Buffer *argument()
    {
        switch (GetParam().fault) {
        case Fault::NoBuffer:
            return nullptr;
        case Fault::NoData:
            buffer = {};
            break;
        case Fault::NoWidth:
            buffer.width = buffer.height = buffer.rowBytes = 0;
            break;
        case Fault::NoHeight:
            buffer.height = buffer.rowBytes = 0;
            break;
        case Fault::NoRowBytes:
            buffer.rowBytes = 0;
            break;
        case Fault::Choice:
            choice = 2;
            break;
        }
        return &buffer;
    }

    std::string report(const char *function, int line, const std::string &choiceExpression)
    {
        const std::string expression =
            GetParam().fault == Fault::Choice ? choiceExpression : std::string(GetParam().expression);
        return "KVBase/Sources/vImage_utilities:" + std::to_string(line) + ": .*" + function +
               ".*: Assertion `" + expression + "' failed\\.";
    }
};

INSTANTIATE_TEST_SUITE_P(Faults, vImageUtilitiesDeathTest,
                         testing::Values(FaultRow{Fault::NoBuffer, 37, 146, 105, "vImage != NULL"},
                                         FaultRow{Fault::NoData, 38, 147, 106, "vImage->data != NULL"},
                                         FaultRow{Fault::NoWidth, 39, 148, 107, "vImage->width != 0"},
                                         FaultRow{Fault::NoHeight, 40, 149, 108, "vImage->height != 0"},
                                         FaultRow{Fault::NoRowBytes, 41, 150, 109, "vImage->rowBytes != 0"},
                                         FaultRow{Fault::Choice, 43, 152, 111, ""}));

TEST_P(vImageUtilitiesDeathTest, ABrokenPreconditionEndsTheProcessWithAReport)
{
    vImage_Buffer *broken = argument();
    const std::string operation = "operation == vImage_RGBA_to_ARGB \\|\\| operation == vImage_ARGB_to_RGBA";
    const std::string format = "format == vImage_ARGB \\|\\| format == vImage_RGBA";
    EXPECT_EXIT(vImagePermuteChannelsInPlace(broken, choice), testing::KilledBySignal(SIGABRT),
                report("vImagePermuteChannelsInPlace", GetParam().permuteLine, operation));
    EXPECT_EXIT(vImageFillWithColor(broken, choice, {}), testing::KilledBySignal(SIGABRT),
                report("vImageFillWithColor", GetParam().colorLine, format));
    EXPECT_EXIT(vImageFillWithAlpha(broken, choice, 0), testing::KilledBySignal(SIGABRT),
                report("vImageFillWithAlpha", GetParam().alphaLine, format));
}

} // namespace
} // namespace KVBase
