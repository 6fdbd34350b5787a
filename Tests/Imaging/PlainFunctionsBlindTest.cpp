#include <KVBase/vImage_utilities.h>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace KVBase
{
namespace
{

using Call = std::function<std::int32_t(vImage_Buffer *, std::uint32_t)>;

struct PlainFunction {
    std::string name;
    Call call;
    std::array<int, 6> lines;
    std::string choice;
    std::int32_t status;
};

const std::vector<PlainFunction> &plainFunctions()
{
    static const std::vector<PlainFunction> all{
        {"vImagePermuteChannelsInPlace",
         [](vImage_Buffer *b, std::uint32_t v) { return vImagePermuteChannelsInPlace(b, v); },
         {37, 38, 39, 40, 41, 43},
         "operation == vImage_RGBA_to_ARGB \\|\\| operation == vImage_ARGB_to_RGBA",
         -22777},
        {"vImageFillWithColor",
         [](vImage_Buffer *b, std::uint32_t v) {
             return vImageFillWithColor(b, v, Pixel_8888{1, 2, 3, 4});
         },
         {146, 147, 148, 149, 150, 152},
         "format == vImage_ARGB \\|\\| format == vImage_RGBA",
         -22776},
        {"vImageFillWithAlpha",
         [](vImage_Buffer *b, std::uint32_t v) { return vImageFillWithAlpha(b, v, 7); },
         {105, 106, 107, 108, 109, 111},
         "format == vImage_ARGB \\|\\| format == vImage_RGBA",
         -22776},
    };
    return all;
}

std::string report(const PlainFunction &function, int check, const std::string &expression)
{
    return "KVBase/Sources/vImage_utilities[^\n]*:" +
           std::to_string(function.lines[static_cast<std::size_t>(check)]) + ":[^\n]*" + function.name +
           "[^\n]*" + expression + "[^\n]*";
}

TEST(KVPlainFunctionsBlindTest, AnswerTheirStatusAndTouchNothing)
{
    for (const PlainFunction &function : plainFunctions()) {
        for (const std::uint32_t choice : {0u, 1u}) {
            std::array<std::uint8_t, 16> pixels{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
            const auto before = pixels;
            vImage_Buffer buffer{pixels.data(), 2, 2, 8};
            EXPECT_EQ(function.call(&buffer, choice), function.status) << function.name;
            EXPECT_EQ(pixels, before);
            EXPECT_EQ(buffer.data, pixels.data());
            EXPECT_EQ(buffer.rowBytes, 8u);
        }
    }
}

TEST(KVPlainFunctionsBlindTest, EndTheProcessAtTheFirstBrokenCheck)
{
    std::uint8_t byte = 0;
    struct Row {
        vImage_Buffer buffer;
        int check;
        std::string expression;
    };
    // everything behind the named check is broken too
    const std::vector<Row> rows{{{nullptr, 0, 0, 0}, 1, "vImage->data != NULL"},
                                {{&byte, 0, 0, 0}, 2, "vImage->width != 0"},
                                {{&byte, 0, 1, 0}, 3, "vImage->height != 0"},
                                {{&byte, 1, 1, 0}, 4, "vImage->rowBytes != 0"}};
    for (const PlainFunction &function : plainFunctions()) {
        EXPECT_EXIT(function.call(nullptr, 9), testing::KilledBySignal(SIGABRT),
                    report(function, 0, "vImage != NULL"));
        for (const Row &row : rows) {
            vImage_Buffer buffer = row.buffer;
            EXPECT_EXIT(function.call(&buffer, 9), testing::KilledBySignal(SIGABRT),
                        report(function, row.check, row.expression));
        }
        vImage_Buffer buffer{&byte, 1, 1, 4};
        for (const std::uint32_t choice : {2u, 3u, 4294967295u}) {
            EXPECT_EXIT(function.call(&buffer, choice), testing::KilledBySignal(SIGABRT),
                        report(function, 5, function.choice));
        }
    }
}

TEST(KVPlainFunctionsBlindTest, HaveTwoOperationsAndTwoFormats)
{
    EXPECT_EQ(vImage_RGBA_to_ARGB + vImage_ARGB_to_RGBA, 1u);
    EXPECT_EQ(vImage_ARGB + vImage_RGBA, 1u);
    EXPECT_NE(vImage_RGBA_to_ARGB, vImage_ARGB_to_RGBA);
    EXPECT_NE(vImage_ARGB, vImage_RGBA);
}

} // namespace
} // namespace KVBase
