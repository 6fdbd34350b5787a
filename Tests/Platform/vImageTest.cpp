#include <KVBase/Platform/vImage.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace KVBase
{
namespace
{

using Bytes = std::vector<std::uint8_t>;
using Operation = std::function<vImage_Error(const vImage_Buffer *, const vImage_Buffer *)>;

constexpr Pixel_8888 kWhite{255, 255, 255, 255};

vImage_Error scale(const vImage_Buffer *source, const vImage_Buffer *destination)
{
    return vImageScale_ARGB8888(source, destination, nullptr,
                                kvImageHighQualityResampling | kvImageEdgeExtend);
}

vImage_Error mirror(const vImage_Buffer *source, const vImage_Buffer *destination)
{
    return vImageHorizontalReflect_ARGB8888(source, destination, kvImageDoNotTile);
}

vImage_Error flip(const vImage_Buffer *source, const vImage_Buffer *destination)
{
    return vImageVerticalReflect_ARGB8888(source, destination, kvImageDoNotTile);
}

vImage_Error turn(const vImage_Buffer *source, const vImage_Buffer *destination)
{
    return vImageRotate90_ARGB8888(source, destination, kRotate180DegreesClockwise, kWhite, kvImageDoNotTile);
}

const std::vector<Operation> &operations()
{
    static const std::vector<Operation> all{scale, mirror, flip, turn};
    return all;
}

/// Rows of pixels whose four bytes are `first`, `first` + 1 and so on through the buffer, and padding of 99.
struct Rows {
    Rows(std::size_t columns, std::size_t lines, std::size_t padding, std::uint8_t first)
        : bytes(lines * (columns * 4 + padding), 99), buffer{bytes.data(), lines, columns,
                                                             columns * 4 + padding}
    {
        for (std::size_t y = 0; y < lines; ++y)
            for (std::size_t x = 0; x < columns * 4; ++x)
                bytes[y * buffer.rowBytes + x] = static_cast<std::uint8_t>(first + y * columns + x / 4);
    }

    int at(std::size_t x, std::size_t y) const { return bytes[y * buffer.rowBytes + x * 4]; }

    Bytes bytes;
    vImage_Buffer buffer;
};

TEST(vImageTest, RefusesWhatIsNoBuffer)
{
    for (const Operation &operation : operations()) {
        Rows source(3, 2, 1, 0);
        Rows destination(3, 2, 2, 100);
        const Bytes before = destination.bytes;
        vImage_Buffer empty = destination.buffer;
        empty.data = nullptr;
        EXPECT_EQ(operation(nullptr, &destination.buffer), kvImageNullPointerArgument);
        EXPECT_EQ(operation(&source.buffer, nullptr), kvImageNullPointerArgument);
        EXPECT_EQ(operation(&empty, &destination.buffer), kvImageNullPointerArgument);
        EXPECT_EQ(operation(&source.buffer, &empty), kvImageNullPointerArgument);
        EXPECT_EQ(destination.bytes, before);
    }
}

TEST(vImageTest, RefusesBuffersWithoutPixelsOrWithShortRows)
{
    const std::vector<std::function<void(vImage_Buffer &)>> faults{
        [](vImage_Buffer &b) { b.width = 0; }, [](vImage_Buffer &b) { b.height = 0; },
        [](vImage_Buffer &b) { b.rowBytes = b.width * 4 - 1; }, [](vImage_Buffer &b) { b.rowBytes = 0; },
        [](vImage_Buffer &b) { b.width = SIZE_MAX / 2; }};
    for (const Operation &operation : operations()) {
        for (const auto &fault : faults) {
            Rows source(3, 2, 1, 0);
            Rows destination(3, 2, 2, 100);
            const Bytes before = destination.bytes;
            vImage_Buffer broken = source.buffer;
            fault(broken);
            EXPECT_EQ(operation(&broken, &destination.buffer), kvImageInvalidParameter);
            broken = destination.buffer;
            fault(broken);
            EXPECT_EQ(operation(&source.buffer, &broken), kvImageInvalidParameter);
            EXPECT_EQ(destination.bytes, before);
        }
    }
}

TEST(vImageTest, TurnsByHalfATurnOnly)
{
    for (const Pixel_8 rotation : std::vector<Pixel_8>{0, 1, 3, 4, 255}) {
        Rows source(3, 2, 0, 0);
        Rows destination(3, 2, 0, 100);
        const Bytes before = destination.bytes;
        EXPECT_EQ(
            vImageRotate90_ARGB8888(&source.buffer, &destination.buffer, rotation, kWhite, kvImageDoNotTile),
            kvImageInvalidParameter);
        EXPECT_EQ(destination.bytes, before);
    }
}

struct Movement {
    Operation operation;
    bool isMirrored, isFlipped;
};

const std::vector<Movement> &movements()
{
    static const std::vector<Movement> all{{mirror, true, false}, {flip, false, true}, {turn, true, true}};
    return all;
}

TEST(vImageTest, MovesPixelsAndLeavesThePadding)
{
    for (const Movement &movement : movements()) {
        const Rows source(5, 3, 3, 0);
        Rows destination(5, 3, 2, 100);
        ASSERT_EQ(movement.operation(&source.buffer, &destination.buffer), kvImageNoError);
        for (std::size_t y = 0; y < 3; ++y) {
            for (std::size_t x = 0; x < 5; ++x)
                EXPECT_EQ(destination.at(x, y),
                          source.at(movement.isMirrored ? 4 - x : x, movement.isFlipped ? 2 - y : y));
            EXPECT_EQ(destination.bytes[y * 22 + 20], 99);
            EXPECT_EQ(destination.bytes[y * 22 + 21], 99);
        }
    }
}

TEST(vImageTest, MovesPixelsInPlaceTwiceAndHasTheOldOnes)
{
    for (const Movement &movement : movements()) {
        Rows rows(5, 3, 3, 0);
        const Bytes before = rows.bytes;
        ASSERT_EQ(movement.operation(&rows.buffer, &rows.buffer), kvImageNoError);
        EXPECT_NE(rows.bytes, before);
        ASSERT_EQ(movement.operation(&rows.buffer, &rows.buffer), kvImageNoError);
        EXPECT_EQ(rows.bytes, before);
    }
}

TEST(vImageTest, MovesTheAreaThatBothBuffersHave)
{
    for (const Movement &movement : movements()) {
        const Rows source(5, 2, 0, 0);
        Rows destination(3, 4, 0, 100);
        const Rows before(3, 4, 0, 100);
        ASSERT_EQ(movement.operation(&source.buffer, &destination.buffer), kvImageNoError);
        for (std::size_t y = 0; y < 4; ++y)
            for (std::size_t x = 0; x < 3; ++x)
                EXPECT_EQ(destination.at(x, y),
                          y < 2 ? source.at(movement.isMirrored ? 2 - x : x, movement.isFlipped ? 1 - y : y)
                                : before.at(x, y))
                    << x << ' ' << y;
    }
}

TEST(vImageTest, ScalesTheWholeSourceAndLeavesThePadding)
{
    for (const std::uint32_t flags : {kvImageNoFlags, kvImageEdgeExtend | kvImageHighQualityResampling}) {
        const Rows source(5, 3, 3, 7);
        Rows same(5, 3, 1, 100);
        ASSERT_EQ(vImageScale_ARGB8888(&source.buffer, &same.buffer, nullptr, flags), kvImageNoError);
        for (std::size_t y = 0; y < 3; ++y) {
            for (std::size_t x = 0; x < 5; ++x)
                EXPECT_EQ(same.at(x, y), source.at(x, y));
            EXPECT_EQ(same.bytes[y * 21 + 20], 99);
        }
        Rows one(1, 1, 5, 100);
        ASSERT_EQ(vImageScale_ARGB8888(&source.buffer, &one.buffer, nullptr, flags), kvImageNoError);
        EXPECT_EQ(one.at(0, 0), 14) << "the mean of 7 to 21";
        EXPECT_EQ(one.bytes[4], 99);
    }
}

} // namespace
} // namespace KVBase
