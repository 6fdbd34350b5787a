#include "Platform/Services/Allocator.h"
#include "Platform/Services/AssertionHandler.h"
#include "Support/CapturedLog.h"

#include <KVBase/KVImageUtils.h>
#include <KVBase/NSBitmapImageRep_vImageSupport.h>
#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <functional>
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

TEST(PixelBuffersContractTest, AssertsFourPropertiesInTheCategoryForm)
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

TEST(PixelBuffersContractTest, RaisesOrAnswersNoWithoutAHandlerOfItsOwn)
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

TEST(PixelBuffersContractTest, DescribesABitmapWhoseTestPasses)
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

using Convert = std::function<void(const Ref<NSBitmapImageRep> &, bool)>;
const std::vector<Convert> &conversions()
{
    static const std::vector<Convert> both{KVImageUtils::convertNSBitmapImageRepPixelRGBAtoARGB,
                                           vImageSupport::permuteInPlaceRGBAtoARGB};
    return both;
}

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

TEST(PixelBuffersContractTest, ReadsNoByteBehindTheLastRowOf24Bits)
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

TEST(PixelBuffersContractTest, DividesByTheFourthSampleWhateverItMeans)
{
    for (const Pack &pack : packers()) {
        const Ref<NSBitmapImageRep> rep = bitmap({1, 2, 8, 4, false});
        fill(rep, {100, 50, 0, 200, 9, 8, 7, 0});
        EXPECT_EQ(taken(pack(rep, true), 8), (Bytes{200, 127, 63, 0, 0, 0, 0, 0}));
    }
}

TEST(PixelBuffersContractTest, DividesEveryColourByEveryAlphaInSinglePrecision)
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

TEST(PixelBuffersContractTest, RefusesABitmapWithoutDataBeforeAnythingElse)
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

TEST(PixelBuffersContractTest, SurvivesWithoutDataEverywhere)
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

TEST(PixelBuffersContractTest, LogsThatThereIsNoMemoryOnlyInTheClassForm)
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

} // namespace
} // namespace KVBase
