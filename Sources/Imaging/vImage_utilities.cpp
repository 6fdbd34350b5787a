#include <KVBase/vImage_utilities.h>

#include <cstdio>
#include <cstdlib>

namespace KVBase
{

namespace
{

constexpr std::int32_t kPermutationStatus = -22777;
constexpr std::int32_t kFillStatus = -22776;

constexpr const char *kOperationExpression =
    "operation == vImage_RGBA_to_ARGB || operation == vImage_ARGB_to_RGBA";
constexpr const char *kFormatExpression = "format == vImage_ARGB || format == vImage_RGBA";

/// The report of the C library's assertion, whose file and line are part of the interface here, and its end.
[[noreturn]] void failAssertion(const char *function, int line, const char *expression)
{
    std::fprintf(stderr, "KVBase/Sources/vImage_utilities:%d: %s: Assertion `%s' failed.\n", line, function,
                 expression);
    std::fflush(stderr);
    std::abort();
}

void require(bool holds, const char *function, int line, const char *expression)
{
    if (!holds)
        failAssertion(function, line, expression);
}

/// The checks of all three functions: the first five on lines in a row, the last one after a blank line.
void checkArguments(const vImage_Buffer *vImage, std::uint32_t choice, const char *choiceExpression,
                    const char *function, int firstLine)
{
    require(vImage != nullptr, function, firstLine, "vImage != NULL");
    require(vImage->data != nullptr, function, firstLine + 1, "vImage->data != NULL");
    require(vImage->width != 0, function, firstLine + 2, "vImage->width != 0");
    require(vImage->height != 0, function, firstLine + 3, "vImage->height != 0");
    require(vImage->rowBytes != 0, function, firstLine + 4, "vImage->rowBytes != 0");
    require(choice < 2, function, firstLine + 6, choiceExpression);
}

} // namespace

std::int32_t vImagePermuteChannelsInPlace(vImage_Buffer *vImage, std::uint32_t operation)
{
    checkArguments(vImage, operation, kOperationExpression, "vImagePermuteChannelsInPlace", 37);
    return kPermutationStatus;
}

std::int32_t vImageFillWithColor(vImage_Buffer *vImage, std::uint32_t format, const Pixel_8888 &)
{
    checkArguments(vImage, format, kFormatExpression, "vImageFillWithColor", 146);
    return kFillStatus;
}

std::int32_t vImageFillWithAlpha(vImage_Buffer *vImage, std::uint32_t format, Pixel_8)
{
    checkArguments(vImage, format, kFormatExpression, "vImageFillWithAlpha", 105);
    return kFillStatus;
}

} // namespace KVBase
