#include <KVBase/KVQuartzExtreme.h>

#include "Platform/Services/Allocator.h"
#include "Platform/Services/Displays.h"
#include "Support/CapturedLog.h"

#include <QtGui/QGuiApplication>

#include <gtest/gtest.h>

#include <map>

namespace KVBase
{
namespace
{

using Tests::CapturedLog;

constexpr char kPrefix[] = "+[NSScreen(KVQuartzExtreme) isQuartzExtremeSupported] - ";

struct FakeDisplays : Displays {
    std::vector<bool> accelerated;
    std::int32_t countStatus = 0;
    std::int32_t listStatus = 0;
    std::int32_t countedBeyond = 0;
    bool vanishes = false;
    bool hasMask = true;
    std::int32_t rendererStatus = 0;
    std::int32_t rendererCount = 1;
    std::weak_ptr<void> given;

    std::int32_t activeDisplays(std::uint32_t capacity, std::uint32_t *displays,
                                std::uint32_t *count) override
    {
        if (capacity == 0) {
            *count = static_cast<std::uint32_t>(accelerated.size());
            return countStatus;
        }
        for (std::uint32_t i = 0; i < capacity; ++i)
            displays[i] = 100 + i;
        *count =
            vanishes ? 0 : static_cast<std::uint32_t>(static_cast<std::int32_t>(capacity) + countedBeyond);
        return listStatus;
    }

    bool usesOpenGLAcceleration(std::uint32_t display) override { return accelerated.at(display - 100); }
    std::uint32_t vendorNumber(std::uint32_t display) override { return display + 1000; }
    std::uint32_t serialNumber(std::uint32_t) override { return 0xffffffff; }
    std::uint32_t openGLMask(std::uint32_t display) override { return hasMask ? 1u << (display - 100) : 0; }

    std::int32_t rendererInfo(std::uint32_t mask, std::shared_ptr<void> *info) override
    {
        if (rendererStatus != 0)
            return rendererStatus;
        auto made = std::make_shared<std::uint32_t>(mask);
        given = made;
        *info = made;
        return 0;
    }

    std::int32_t describeRenderer(const std::shared_ptr<void> &, std::int32_t index, std::int32_t property,
                                  std::int32_t *value) override
    {
        *value = property == kCGLRPRendererCount ? rendererCount : property * 10 + index;
        return 0;
    }
};

struct KVQuartzExtremeTest : testing::Test {
    bool ask() { return KVQuartzExtreme::isQuartzExtremeSupported(); }

    FakeDisplays displays;
    ScopedService<Displays> guard{&displays};
    CapturedLog log;
};

TEST_F(KVQuartzExtremeTest, AnswersYesAndLogsNothingWhenAllAreAccelerated)
{
    displays.accelerated = {true, true};
    EXPECT_TRUE(ask());
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(KVQuartzExtremeTest, DescribesTheDisplayThatIsNot)
{
    displays.accelerated = {true, false};
    displays.rendererCount = 2;
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(),
              QStringList({"CGDisplay VendorNumber 1101", "CGDisplay SerialNumber -1",
                           "Describing Renderer 0", "RendererID 700", "FullScreen 540", "Video Memory 1200",
                           "Texture Memory 1210", "Describing Renderer 1", "RendererID 701", "FullScreen 541",
                           "Video Memory 1201", "Texture Memory 1211"}));
    EXPECT_TRUE(displays.given.expired()) << "the renderer information is given back";
}

TEST_F(KVQuartzExtremeTest, VisitsEveryDisplay)
{
    displays.accelerated = {false, true, false};
    displays.hasMask = false;
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList({"CGDisplay VendorNumber 1100", "CGDisplay SerialNumber -1",
                                        "CGDisplay VendorNumber 1102", "CGDisplay SerialNumber -1"}));
}

TEST_F(KVQuartzExtremeTest, LogsNoRendererWhenTheyCannotBeAsked)
{
    displays.accelerated = {false};
    displays.rendererStatus = 7;
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList({"CGDisplay VendorNumber 1100", "CGDisplay SerialNumber -1"}));
}

TEST_F(KVQuartzExtremeTest, SaysWhyDisplaysCannotBeCounted)
{
    displays.accelerated = {true};
    displays.countStatus = 1001;
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList(QString(kPrefix) + "Failed with error 1001 on counting displays."));
}

TEST_F(KVQuartzExtremeTest, SaysThatThereAreNone)
{
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList(QString(kPrefix) + "No displays found."));
}

TEST_F(KVQuartzExtremeTest, SaysWhyDisplaysCannotBeListed)
{
    displays.accelerated = {true};
    displays.listStatus = -5;
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList(QString(kPrefix) + "Failed with error -5 on getting DisplayList."));
}

TEST_F(KVQuartzExtremeTest, SaysThatNoneIsLeft)
{
    displays.accelerated = {true};
    displays.vanishes = true;
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList(QString(kPrefix) + "No displays found on second try."));
}

TEST_F(KVQuartzExtremeTest, ReadsNoDisplayBeyondTheList)
{
    displays.accelerated = {true};
    displays.countedBeyond = 3;
    EXPECT_TRUE(ask());
}

TEST_F(KVQuartzExtremeTest, SaysThatThereIsNoMemory)
{
    struct EmptyAllocator : Allocator {
        void *allocate(std::size_t) override { return nullptr; }
        void *allocateZeroed(std::size_t) override { return nullptr; }
    } empty;
    const ScopedService<Allocator> none(&empty);
    displays.accelerated = {true};
    EXPECT_FALSE(ask());
    EXPECT_EQ(log.lines(), QStringList(QString(kPrefix) + "Can't allocate memory for DisplayList."));
}

TEST(KVQuartzExtremeRealTest, FindsNoDisplayWithoutAnApplicationOrAScreen)
{
    CapturedLog log;
    EXPECT_FALSE(KVQuartzExtreme::isQuartzExtremeSupported());
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    QGuiApplication application(argc, argv);
    EXPECT_FALSE(KVQuartzExtreme::isQuartzExtremeSupported());
    EXPECT_EQ(log.lines(), QStringList({QString(kPrefix) + "No displays found.",
                                        QString(kPrefix) + "No displays found."}));
}

} // namespace
} // namespace KVBase
