#include <KVBase/KVMainThread.h>

#include "Platform/Services/ThreadCapabilities.h"
#include "Support/LoopDriver.h"

#include <thread>

namespace KVBase
{
namespace
{

/// A platform whose queries can be taken away.
struct StubCapabilities final : ThreadCapabilities {
    bool respondsToMainThread() override
    {
        ++questions;
        return hasMainThread;
    }
    bool respondsToIsMainThread() override
    {
        ++questions;
        return hasIsMainThread;
    }
    QThread *mainThread() override { return answer; }
    bool isMainThread() override { return isMain; }

    bool hasMainThread = false;
    bool hasIsMainThread = false;
    bool isMain = false;
    QThread *answer = nullptr;
    int questions = 0;
};

void onOtherThread(const std::function<void()> &work) { std::thread(work).join(); }

TEST(KVMainThreadTest, AnswersNothingBeforeItWasMarked)
{
    // A process of its own, because the mark is never taken away.
    EXPECT_EXIT(
        {
            const bool nothing = KVMainThread::mainThread() == nullptr && !KVMainThread::isMainThread();
            bool nothingElsewhere = false;
            onOtherThread([&] {
                nothingElsewhere = KVMainThread::mainThread() == nullptr && !KVMainThread::isMainThread();
            });
            std::_Exit(nothing && nothingElsewhere ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST(KVMainThreadTest, AnswersTheMarkedThreadWithoutANativeQuery)
{
    KVMainThread::markCurrentThreadAsMainThread();
    EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
    EXPECT_TRUE(KVMainThread::isMainThread());
    bool isMainElsewhere = true;
    QThread *seenElsewhere = nullptr;
    onOtherThread([&] {
        isMainElsewhere = KVMainThread::isMainThread();
        seenElsewhere = KVMainThread::mainThread();
    });
    EXPECT_FALSE(isMainElsewhere);
    EXPECT_EQ(seenElsewhere, QThread::currentThread());
}

TEST(KVMainThreadTest, MarkingAgainMovesTheMark)
{
    KVMainThread::markCurrentThreadAsMainThread();
    bool isMainThere = false;
    onOtherThread([&] {
        KVMainThread::markCurrentThreadAsMainThread();
        isMainThere = KVMainThread::isMainThread();
    });
    EXPECT_TRUE(isMainThere);
    EXPECT_FALSE(KVMainThread::isMainThread());
    KVMainThread::markCurrentThreadAsMainThread();
    EXPECT_TRUE(KVMainThread::isMainThread());
}

TEST(KVMainThreadTest, AsksThePlatformWhereItKnows)
{
    StubCapabilities platform;
    const ScopedService<ThreadCapabilities> guard(&platform);
    KVMainThread::markCurrentThreadAsMainThread();
    QThread other;
    platform.answer = &other;
    platform.isMain = false;

    platform.hasMainThread = true;
    EXPECT_EQ(KVMainThread::mainThread(), &other);
    EXPECT_TRUE(KVMainThread::isMainThread()) << "the other query is still missing";

    platform.hasIsMainThread = true;
    EXPECT_FALSE(KVMainThread::isMainThread());
}

TEST(KVMainThreadTest, AsksForTheCapabilityAtEveryCall)
{
    StubCapabilities platform;
    const ScopedService<ThreadCapabilities> guard(&platform);
    for (int call = 0; call < 3; ++call) {
        KVMainThread::mainThread();
        KVMainThread::isMainThread();
    }
    EXPECT_EQ(platform.questions, 6);
}

TEST(KVMainThreadTest, KnowsTheApplicationsThread)
{
    onOtherThread([] { KVMainThread::markCurrentThreadAsMainThread(); });
    const Tests::LoopDriver<> driver(Tests::LoopKind::GLib);
    EXPECT_EQ(KVMainThread::mainThread(), QThread::currentThread());
    EXPECT_TRUE(KVMainThread::isMainThread());
    bool isMainElsewhere = true;
    onOtherThread([&] { isMainElsewhere = KVMainThread::isMainThread(); });
    EXPECT_FALSE(isMainElsewhere);
}

TEST(KVMainThreadThreads, MayBeAskedWhileItIsMarked)
{
    std::thread marker([] {
        for (int round = 0; round < 1000; ++round)
            KVMainThread::markCurrentThreadAsMainThread();
    });
    for (int round = 0; round < 1000; ++round) {
        KVMainThread::mainThread();
        KVMainThread::isMainThread();
    }
    marker.join();
    KVMainThread::markCurrentThreadAsMainThread();
    EXPECT_TRUE(KVMainThread::isMainThread());
}

} // namespace
} // namespace KVBase
