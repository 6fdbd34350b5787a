#include "Platform/Services/Allocator.h"
#include "Platform/Services/AssertionHandler.h"
#include "Support/CapturedLog.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSBitmapImageRep_vImageSupport.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/vImage_utilities.h>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

namespace KVBase
{
namespace
{

using Tests::CapturedLog;
using Bytes = std::vector<std::uint8_t>;

constexpr const char *kClassForm =
    "+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:]";

struct Layout {
    std::int32_t width = 2, height = 2, bits = 8, samples = 4;
    bool alpha = true, planar = false;
    std::int32_t rowBytes = 0, pixelBits = 32;
};

Ref<NSBitmapImageRep> bitmap(const Layout &l)
{
    const Ref<NSBitmapImageRep> rep =
        NSBitmapImageRep::create(KVByteBlock(), l.width, l.height, l.bits, l.samples, l.alpha, l.planar,
                                 NSCalibratedRGBColorSpace, l.rowBytes, l.pixelBits);
    EXPECT_NE(rep, nullptr);
    return rep;
}

Bytes contents(const Ref<NSBitmapImageRep> &rep)
{
    return {rep->bitmapData(), rep->bitmapData() + rep->byteCount()};
}

void fill(const Ref<NSBitmapImageRep> &rep, const Bytes &bytes)
{
    ASSERT_LE(bytes.size(), rep->byteCount());
    std::memcpy(rep->bitmapData(), bytes.data(), bytes.size());
}

/// 2 x 2 pixels and 3 bytes of padding behind each row.
Ref<NSBitmapImageRep> paddedBitmap()
{
    Layout layout;
    layout.rowBytes = 11;
    const Ref<NSBitmapImageRep> rep = bitmap(layout);
    fill(rep, {1, 2, 3, 4, 5, 6, 7, 8, 90, 91, 92, 11, 12, 13, 14, 15, 16, 17, 18, 93, 94, 95});
    return rep;
}

class RecordedAssertions : private AssertionHandler {
public:
    struct Failure {
        QString method, description;
    };
    std::vector<Failure> failures;

    QStringList descriptions() const
    {
        QStringList texts;
        for (const Failure &failure : failures)
            texts.append(failure.description);
        return texts;
    }

private:
    void handleFailureInMethod(const QString &method, const void *, const QString &, std::int32_t,
                               const QString &description) override
    {
        failures.push_back({method, description});
    }

    ScopedService<AssertionHandler> guard{this};
};

TEST(KVPixelBufferBlindTest, ComparesFourPropertiesInTheClassForm)
{
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(nullptr));
    EXPECT_TRUE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(bitmap({})));
    EXPECT_TRUE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(paddedBitmap()));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(bitmap({2, 2, 8, 4, false})));
    EXPECT_FALSE(
        KVImageUtils::check32BitNSBitmapImageRepWithAlpha(bitmap({2, 2, 8, 3, false, false, 0, 32})));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(bitmap({2, 2, 8, 4, true, false, 0, 64})));
    EXPECT_FALSE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(bitmap({2, 2, 4, 4, true, false, 0, 32})));
    EXPECT_FALSE(
        KVImageUtils::check32BitNSBitmapImageRepWithAlpha(bitmap({2, 2, 16, 2, true, false, 0, 32})));
}

TEST(KVPixelBufferBlindTest, AssertsFourPropertiesInTheCategoryForm)
{
    RecordedAssertions assertions;
    EXPECT_FALSE(vImageSupport::isVImageCompatible(nullptr));
    EXPECT_TRUE(vImageSupport::isVImageCompatible(bitmap({})));
    EXPECT_TRUE(vImageSupport::isVImageCompatible(bitmap({2, 2, 8, 4, true, false, 0, 64})));
    EXPECT_EQ(assertions.descriptions(), QStringList());

    EXPECT_FALSE(vImageSupport::isVImageCompatible(bitmap({2, 2, 16, 3, false, true, 0, 16})));
    const QStringList all{QStringLiteral("Invalid parameter not satisfying: [self isPlanar] == NO"),
                          QStringLiteral("Invalid parameter not satisfying: [self hasAlpha] == YES"),
                          QStringLiteral("Invalid parameter not satisfying: [self bitsPerSample] == 8"),
                          QStringLiteral("Invalid parameter not satisfying: [self samplesPerPixel] == 4")};
    EXPECT_EQ(assertions.descriptions(), all);

    const std::vector<Layout> single{{2, 2, 8, 4, true, true, 0, 8},
                                     {2, 2, 8, 4, false},
                                     {2, 2, 4, 4, true, false, 0, 16},
                                     {2, 2, 8, 3, true, false, 0, 24}};
    for (std::size_t i = 0; i < single.size(); ++i) {
        assertions.failures.clear();
        EXPECT_FALSE(vImageSupport::isVImageCompatible(bitmap(single[i])));
        EXPECT_EQ(assertions.descriptions(), QStringList{all[static_cast<qsizetype>(i)]});
        EXPECT_TRUE(assertions.failures.at(0).method.contains(QLatin1StringView("isVImageCompatible")));
    }
}

TEST(KVPixelBufferBlindTest, RaisesOrAnswersNoWithoutAHandlerOfItsOwn)
{
    const CapturedLog log;
    try {
        EXPECT_FALSE(vImageSupport::isVImageCompatible(bitmap({2, 2, 8, 3, false, false, 0, 24})));
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), QLatin1StringView("NSInternalInconsistencyException"));
    }
}

void expectBuffer(const vImage_Buffer &buffer, const Ref<NSBitmapImageRep> &rep, std::size_t rowBytes)
{
    EXPECT_EQ(buffer.data, rep->bitmapData());
    EXPECT_EQ(buffer.height, 3u);
    EXPECT_EQ(buffer.width, 2u);
    EXPECT_EQ(buffer.rowBytes, rowBytes);
}

void expectZero(const vImage_Buffer &buffer)
{
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(buffer.height, 0u);
    EXPECT_EQ(buffer.width, 0u);
    EXPECT_EQ(buffer.rowBytes, 0u);
}

TEST(KVPixelBufferBlindTest, DescribesABitmapWhoseTestPasses)
{
    RecordedAssertions assertions;
    const Ref<NSBitmapImageRep> rep = bitmap({2, 3, 8, 4, true, false, 13, 32});
    expectBuffer(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(rep), rep, 13);
    expectBuffer(vImageSupport::vImageBuffer(rep), rep, 13);

    const Ref<NSBitmapImageRep> wide = bitmap({2, 3, 8, 4, true, false, 16, 64});
    expectZero(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(wide));
    expectBuffer(vImageSupport::vImageBuffer(wide), wide, 16);
    EXPECT_EQ(assertions.descriptions(), QStringList());

    expectZero(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(nullptr));
    expectZero(vImageSupport::vImageBuffer(nullptr));
    expectZero(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(bitmap({2, 3, 8, 4, false})));
    expectZero(vImageSupport::vImageBuffer(bitmap({2, 3, 8, 4, false})));
}

void expectWorkingBitmap(const Ref<NSBitmapImageRep> &rep, int width, int height, int rowBytes)
{
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->pixelsWide(), width);
    EXPECT_EQ(rep->pixelsHigh(), height);
    EXPECT_EQ(rep->bitsPerSample(), 8);
    EXPECT_EQ(rep->samplesPerPixel(), 4);
    EXPECT_TRUE(rep->hasAlpha());
    EXPECT_FALSE(rep->isPlanar());
    EXPECT_EQ(rep->colorSpaceName(), NSCalibratedRGBColorSpace);
    EXPECT_EQ(rep->bytesPerRow(), rowBytes);
    EXPECT_EQ(rep->bitsPerPixel(), 32);
    EXPECT_NE(rep->bitmapData(), nullptr);
    EXPECT_GE(rep->byteCount(), static_cast<std::size_t>((height - 1) * rowBytes + 4 * width));
    EXPECT_EQ(rep->size(), NSMakeSize(static_cast<float>(width), static_cast<float>(height)));
}

TEST(KVPixelBufferBlindTest, MakesWorkingBitmaps)
{
    expectWorkingBitmap(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({10.5F, 3}), 10, 3,
                        42);
    expectWorkingBitmap(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({10.2F, 3.9F}), 10, 3,
                        40);
    expectWorkingBitmap(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({7, 1}), 7, 1, 28);
    expectWorkingBitmap(vImageSupport::imageRepForVImageOperationsWithSize({10.5F, 3.99F}), 10, 3, 40);
    expectWorkingBitmap(vImageSupport::initForVImageOperationsWithSize({10.9F, 3}), 10, 3, 40);
}

TEST(KVPixelBufferBlindTest, MakesNoWorkingBitmapOfUselessSizes)
{
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<NSSize> sizes{{0, 5},    {5, 0},     {0, 0},     {0.9F, 5},       {5, 0.9F}, {-1, 5},
                                    {5, -1},   {-3, -3},   {nan, 5},   {5, nan},        {inf, 5},  {5, inf},
                                    {-inf, 5}, {1e10F, 1}, {1, 1e10F}, {100000, 100000}};
    for (const NSSize &size : sizes) {
        EXPECT_EQ(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize(size), nullptr);
        EXPECT_EQ(vImageSupport::initForVImageOperationsWithSize(size), nullptr);
        EXPECT_EQ(vImageSupport::imageRepForVImageOperationsWithSize(size), nullptr);
    }
}

using Convert = std::function<void(const Ref<NSBitmapImageRep> &, bool)>;
const std::vector<Convert> &conversions()
{
    static const std::vector<Convert> both{KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB,
                                           vImageSupport::permuteInPlaceRGBAtoARGB};
    return both;
}

TEST(KVPixelBufferBlindTest, MovesTheAlphaByteAndLeavesThePadding)
{
    for (const Convert &convert : conversions()) {
        const Ref<NSBitmapImageRep> rep = paddedBitmap();
        const Bytes before = contents(rep);
        convert(rep, true);
        EXPECT_EQ(contents(rep),
                  (Bytes{4, 1, 2, 3, 8, 5, 6, 7, 90, 91, 92, 14, 11, 12, 13, 18, 15, 16, 17, 93, 94, 95}));
        convert(rep, false);
        EXPECT_EQ(contents(rep), before);
        convert(rep, false);
        EXPECT_EQ(contents(rep),
                  (Bytes{2, 3, 4, 1, 6, 7, 8, 5, 90, 91, 92, 12, 13, 14, 11, 16, 17, 18, 15, 93, 94, 95}));
    }
}

TEST(KVPixelBufferBlindTest, MovesNothingWhenTheTestFails)
{
    RecordedAssertions assertions;
    for (const Convert &convert : conversions()) {
        convert(nullptr, true);
        const Ref<NSBitmapImageRep> rep = bitmap({2, 2, 8, 4, false});
        fill(rep, {1, 2, 3, 4, 5, 6, 7, 8});
        const Bytes before = contents(rep);
        convert(rep, true);
        EXPECT_EQ(contents(rep), before);
    }
    EXPECT_EQ(assertions.descriptions(),
              QStringList{QStringLiteral("Invalid parameter not satisfying: [self hasAlpha] == YES")});
}

TEST(KVPixelBufferBlindTest, FillsAlphaOrTheWholePixel)
{
    Ref<NSBitmapImageRep> rep = paddedBitmap();
    KVImageUtils::fillNSBitmapImageRep(rep, 200, true);
    EXPECT_EQ(contents(rep),
              (Bytes{200, 2, 3, 4, 200, 6, 7, 8, 90, 91, 92, 200, 12, 13, 14, 200, 16, 17, 18, 93, 94, 95}));
    rep = paddedBitmap();
    KVImageUtils::fillNSBitmapImageRep(rep, 0, false);
    EXPECT_EQ(contents(rep),
              (Bytes{1, 2, 3, 0, 5, 6, 7, 0, 90, 91, 92, 11, 12, 13, 0, 15, 16, 17, 0, 93, 94, 95}));
    KVImageUtils::fillNSBitmapImageRep(rep, 21, 22, 23, 24, true);
    EXPECT_EQ(contents(rep), (Bytes{24, 21, 22, 23, 24, 21, 22, 23, 90, 91, 92,
                                    24, 21, 22, 23, 24, 21, 22, 23, 93, 94, 95}));
    KVImageUtils::fillNSBitmapImageRep(rep, 31, 32, 33, 34, false);
    EXPECT_EQ(contents(rep), (Bytes{31, 32, 33, 34, 31, 32, 33, 34, 90, 91, 92,
                                    31, 32, 33, 34, 31, 32, 33, 34, 93, 94, 95}));
}

TEST(KVPixelBufferBlindTest, FillsNothingWhenTheTestFails)
{
    KVImageUtils::fillNSBitmapImageRep(nullptr, 9, true);
    KVImageUtils::fillNSBitmapImageRep(nullptr, 9, 9, 9, 9, true);
    const Ref<NSBitmapImageRep> rep = bitmap({2, 2, 8, 4, true, false, 0, 64});
    const Bytes before = contents(rep);
    KVImageUtils::fillNSBitmapImageRep(rep, 9, true);
    KVImageUtils::fillNSBitmapImageRep(rep, 9, 9, 9, 9, true);
    EXPECT_EQ(contents(rep), before);
}

TEST(KVPixelBufferBlindTest, TakesAPlanarBitmapOf32BitsAsInterleaved)
{
    const Ref<NSBitmapImageRep> rep = bitmap({2, 2, 8, 4, true, true, 8, 32});
    ASSERT_TRUE(KVImageUtils::check32BitNSBitmapImageRepWithAlpha(rep));
    fill(rep, {1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 13, 14, 15, 16, 17, 18});
    KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB(rep, true);
    const Bytes all = contents(rep);
    EXPECT_EQ(Bytes(all.begin(), all.begin() + 16),
              (Bytes{4, 1, 2, 3, 8, 5, 6, 7, 14, 11, 12, 13, 18, 15, 16, 17}));
}

// The packed blocks.

using Pack = std::function<KVByteBlock(const Ref<NSBitmapImageRep> &, bool)>;
const std::vector<Pack> &packers()
{
    static const std::vector<Pack> both{KVImageUtils::create32BitDataFromBitmapImageRep,
                                        vImageSupport::create32BitDataAndPermuteRGBAtoARGB};
    return both;
}

Bytes taken(const KVByteBlock &block, std::size_t count)
{
    return block == nullptr ? Bytes() : Bytes(block.get(), block.get() + count);
}

TEST(KVPixelBufferBlindTest, PacksRowsOf24BitsWithFullAlpha)
{
    for (const Pack &pack : packers()) {
        const Ref<NSBitmapImageRep> rep = bitmap({3, 2, 8, 3, false, false, 12, 24});
        fill(rep, {1, 2, 3, 4, 5, 6, 7, 8, 9, 90, 91, 92, 11, 12, 13, 14, 15, 16, 17, 18, 19, 93, 94, 95});
        EXPECT_EQ(taken(pack(rep, true), 24), (Bytes{255, 1,  2,  3,  255, 4,  5,  6,  255, 7,  8,  9,
                                                     255, 11, 12, 13, 255, 14, 15, 16, 255, 17, 18, 19}));
        EXPECT_EQ(taken(pack(rep, false), 24), (Bytes{1,  2,  3,  255, 4,  5,  6,  255, 7,  8,  9,  255,
                                                      11, 12, 13, 255, 14, 15, 16, 255, 17, 18, 19, 255}));
    }
}

TEST(KVPixelBufferBlindTest, ReadsNoByteBehindTheLastRowOf24Bits)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void *pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    auto *end = static_cast<std::uint8_t *>(pages) + page;
    ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
    for (const int width : {1, 2, 3, 5, 16, 17, 33, 70}) {
        std::uint8_t *first = end - 3 * width;
        for (int i = 0; i < 3 * width; ++i)
            first[i] = static_cast<std::uint8_t>(i);
        const Ref<NSBitmapImageRep> rep = NSBitmapImageRep::createBorrowing(
            first, width, 1, 8, 3, false, false, NSCalibratedRGBColorSpace, 3 * width, 24);
        ASSERT_NE(rep, nullptr);
        for (const Pack &pack : packers()) {
            const KVByteBlock block = pack(rep, true);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(block[static_cast<std::size_t>(4 * width - 1)],
                      static_cast<std::uint8_t>(3 * width - 1));
        }
    }
    munmap(pages, 2 * page);
}

TEST(KVPixelBufferBlindTest, DividesByAlphaWithTruncationAndWrap)
{
    for (const Pack &pack : packers()) {
        const Ref<NSBitmapImageRep> rep = bitmap({3, 2, 8, 4, true, false, 14, 32});
        fill(rep, {100, 50, 0, 200, 9, 8, 7, 0,   255, 0,   0, 128, 90, 91,
                   7,   3,  1, 7,   1, 2, 3, 255, 255, 254, 2, 1,   92, 93});
        EXPECT_EQ(taken(pack(rep, false), 24), (Bytes{127, 63,  0,  200, 0, 0, 0, 0,   252, 0, 0,   128,
                                                      254, 109, 36, 7,   1, 2, 3, 255, 1,   2, 254, 1}));
        EXPECT_EQ(taken(pack(rep, true), 24), (Bytes{200, 127, 63,  0,  0,   0, 0, 0, 128, 252, 0, 0,
                                                     7,   254, 109, 36, 255, 1, 2, 3, 1,   1,   2, 254}));
    }
}

TEST(KVPixelBufferBlindTest, DividesEveryColourByEveryAlphaInSinglePrecision)
{
    const Ref<NSBitmapImageRep> rep = bitmap({256, 256, 8, 4, true, false, 1024, 32});
    Bytes source;
    Bytes expected;
    for (int alpha = 0; alpha < 256; ++alpha) {
        const float factor = alpha == 0 ? 0.0F : 255.0F / static_cast<float>(alpha);
        for (int colour = 0; colour < 256; ++colour) {
            const volatile float product = static_cast<float>(colour) * factor;
            const auto byte = static_cast<std::uint8_t>(static_cast<int>(product) % 256);
            const auto c = static_cast<std::uint8_t>(colour);
            const auto a = static_cast<std::uint8_t>(alpha);
            source.insert(source.end(), {c, c, c, a});
            expected.insert(expected.end(), {a, byte, byte, byte});
        }
    }
    fill(rep, source);
    for (const Pack &pack : packers())
        EXPECT_EQ(taken(pack(rep, true), expected.size()), expected);
    EXPECT_EQ(contents(rep), source);
}

struct Refusal {
    Layout layout;
    const char *classLine, *categoryLine;
};

const std::vector<Refusal> &refusals()
{
    static const std::vector<Refusal> rows{
        {{2, 2, 8, 4, true, true, 0, 8},
         "+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:] returning NULL due "
         "to isPlanar == YES",
         "get32BitDataFromBitmapImageRep: returning NULL due to isPlanar == YES"},
        {{2, 2, 16, 3, false, true, 0, 16},
         "+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:] returning NULL due "
         "to isPlanar == YES",
         "get32BitDataFromBitmapImageRep: returning NULL due to isPlanar == YES"},
        {{2, 2, 16, 4, true, false, 0, 64},
         "+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:] returning NULL due "
         "to bitsPerSample == 16",
         "get32BitDataFromBitmapImageRep: returning NULL due to bitsPerSample == 16"},
        {{2, 2, 16, 3, false, false, 0, 48},
         "+[KVImageUtils create32BitDataFromBitmapImageRep:prepareForVImageOperations:] returning NULL due "
         "to bitsPerSample == 16",
         "get32BitDataFromBitmapImageRep: returning NULL due to bitsPerSample == 16"},
        {{2, 2, 8, 6, false, false, 0, 48},
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 6, bitsPerPixel == %",
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 6, bitsPerPixel == 48"},
        {{2, 2, 8, 3, false, false, 0, 32},
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 3, bitsPerPixel == %",
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 3, bitsPerPixel == 32"},
        {{2, 2, 8, 4, true, false, 0, 64},
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 4, bitsPerPixel == %",
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 4, bitsPerPixel == 64"},
        {{2, 2, 8, 1, false, false, 0, 8},
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 1, bitsPerPixel == %",
         "get32BitDataFromBitmapImageRep: returning NULL due to samplesPerPixel == 1, bitsPerPixel == 8"},
    };
    return rows;
}

TEST(KVPixelBufferBlindTest, SaysWhyItRefusesABitmap)
{
    CapturedLog log;
    for (const Refusal &row : refusals()) {
        const Ref<NSBitmapImageRep> rep = bitmap(row.layout);
        log.clear();
        EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(rep, true), nullptr);
        EXPECT_EQ(log.lines(), QStringList{QString::fromLatin1(row.classLine)});
        log.clear();
        EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(rep, false), nullptr);
        EXPECT_EQ(log.lines(), QStringList{QString::fromLatin1(row.categoryLine)});
    }
    // the class form goes through the log, which is off now; the category writes to the console
    KVLogSetDestination(0);
    for (const Refusal &row : refusals()) {
        log.clear();
        EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(bitmap(row.layout), true), nullptr);
        EXPECT_EQ(log.lines(), QStringList());
        EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(bitmap(row.layout), false), nullptr);
        EXPECT_EQ(log.lines(), QStringList{QString::fromLatin1(row.categoryLine)});
    }
}

TEST(KVPixelBufferBlindTest, RefusesABitmapWithoutDataBeforeAnythingElse)
{
    CapturedLog log;
    const QString line =
        QString::fromLatin1(kClassForm) + QLatin1StringView(" returning NULL due to bitmapData == NULL");
    const std::vector<Ref<NSBitmapImageRep>> reps{
        nullptr,
        NSBitmapImageRep::createBorrowing(nullptr, 2, 2, 8, 4, true, false, NSCalibratedRGBColorSpace, 0, 32),
        NSBitmapImageRep::createBorrowing(nullptr, 2, 2, 16, 4, true, true, NSCalibratedRGBColorSpace, 0,
                                          16)};
    for (const Ref<NSBitmapImageRep> &rep : reps) {
        log.clear();
        EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(rep, true), nullptr);
        EXPECT_EQ(log.lines(), QStringList{line});
    }
    log.clear();
    EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(reps[0], true), nullptr);
    EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(reps[1], true), nullptr);
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(KVPixelBufferBlindTest, SurvivesWithoutDataEverywhere)
{
    const Ref<NSBitmapImageRep> rep =
        NSBitmapImageRep::createBorrowing(nullptr, 2, 2, 8, 4, true, false, NSCalibratedRGBColorSpace, 8, 32);
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(KVImageUtils::vImageBufferStructFromNSBitmapImageRep(rep).data, nullptr);
    EXPECT_EQ(vImageSupport::vImageBuffer(rep).data, nullptr);
    for (const Convert &convert : conversions())
        convert(rep, true);
    KVImageUtils::fillNSBitmapImageRep(rep, 9, true);
    KVImageUtils::fillNSBitmapImageRep(rep, 9, 9, 9, 9, true);
    EXPECT_EQ(vImageSupport::scaledImageWithSize(rep, {3, 3}, true), nullptr);
    EXPECT_EQ(KVImageUtils::scaleBitmapRep(rep, {3, 3}, true), nullptr);
}

class EmptyAllocator : private Allocator {
public:
    std::vector<std::size_t> asked;

private:
    void *allocate(std::size_t size) override
    {
        asked.push_back(size);
        return nullptr;
    }
    void *allocateZeroed(std::size_t size) override { return allocate(size); }

    ScopedService<Allocator> guard{this};
};

TEST(KVPixelBufferBlindTest, LogsThatThereIsNoMemoryOnlyInTheClassForm)
{
    CapturedLog log;
    const Ref<NSBitmapImageRep> rep = bitmap({5, 3, 8, 4, true, false, 22, 32});
    EmptyAllocator allocator;
    EXPECT_EQ(KVImageUtils::create32BitDataFromBitmapImageRep(rep, true), nullptr);
    EXPECT_EQ(log.lines(), QStringList{QString::fromLatin1(kClassForm) +
                                       QLatin1StringView(":570 Can't allocate memory.")});
    EXPECT_EQ(allocator.asked, std::vector<std::size_t>{60});
    log.clear();
    EXPECT_EQ(vImageSupport::create32BitDataAndPermuteRGBAtoARGB(rep, true), nullptr);
    EXPECT_EQ(log.lines(), QStringList());
    EXPECT_EQ(KVImageUtils::createNSBitmapImageRepForVImageOperationsWithSize({5, 5}), nullptr);
    EXPECT_EQ(vImageSupport::initForVImageOperationsWithSize({5, 5}), nullptr);
}

TEST(KVPixelBufferBlindTest, HandsOverBlocksThatFreeTakes)
{
    for (const Pack &pack : packers()) {
        void *block = pack(bitmap({}), true).release();
        ASSERT_NE(block, nullptr);
        std::free(block);
    }
}

} // namespace
} // namespace KVBase
