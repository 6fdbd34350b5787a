#pragma once

#include <KVBase/Platform/NSRunLoop.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>

namespace KVBase::Tests
{

/// What makes the threads' run loops run: nothing but themselves, or one of Qt's dispatchers.
enum class LoopKind { NoApplication, GLib, Plain };

/// The name of a parameter in the names of tests.
inline std::string nameOfLoop(const testing::TestParamInfo<LoopKind> &parameter)
{
    switch (parameter.param) {
    case LoopKind::NoApplication:
        return "NoApplication";
    case LoopKind::GLib:
        return "GLib";
    case LoopKind::Plain:
        return "Plain";
    }
    return {};
}

#if defined(__has_feature)
inline constexpr bool kIsWatched = __has_feature(thread_sanitizer);
#else
inline constexpr bool kIsWatched = false;
#endif

/// The threads of this process, those included that are just ending.
inline std::ptrdiff_t runningThreads()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// How long a test waits for what must come; when it passes, the test has failed.
inline constexpr std::chrono::seconds kNet(30);

/// Waits, without running the loop, until `condition` holds. False when the net has passed.
inline bool waitUntil(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + kNet;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        QThread::msleep(1);
    }
    return true;
}

/// Makes the application object that a kind of loop needs, and keeps it while it lives. In the end it waits
/// for workers that are still ending: what they own would count as leaked when the process ends before them.
template <class Application = QCoreApplication>
class LoopDriver {
public:
    explicit LoopDriver(LoopKind kind)
    {
        if (kind == LoopKind::Plain)
            qputenv("QT_NO_GLIB", "1");
        if (kind != LoopKind::NoApplication)
            application = std::make_unique<Application>(count, arguments);
    }

    ~LoopDriver()
    {
        application.reset();
        qunsetenv("QT_NO_GLIB");
        // The threads of a user interface stay, and so does the one with which the thread sanitizer watches.
        if constexpr (std::is_same_v<Application, QCoreApplication> && !kIsWatched)
            waitUntil([this] { return runningThreads() <= threadsBefore; });
    }

    LoopDriver(const LoopDriver &) = delete;
    LoopDriver &operator=(const LoopDriver &) = delete;

    std::unique_ptr<Application> application;

private:
    const std::ptrdiff_t threadsBefore = runningThreads();
    char name[8] = "threads";
    char *arguments[2] = {name, nullptr};
    int count = 1;
};

/// Runs the calling thread's loop for so long.
inline void spin(std::chrono::milliseconds duration)
{
    NSRunLoop::currentRunLoop()->runUntilDate(QDateTime::currentDateTime().addMSecs(duration.count()));
}

/// Runs the calling thread's loop until `condition` holds. False when the net has passed.
inline bool spinUntil(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + kNet;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        spin(std::chrono::milliseconds(5));
    }
    return true;
}

/// A test that is made for each kind of loop.
class LoopTest : public testing::TestWithParam<LoopKind> {
protected:
    LoopDriver<> driver{GetParam()};
};

} // namespace KVBase::Tests

#define KV_FOR_EACH_LOOP(Suite)                                                                              \
    INSTANTIATE_TEST_SUITE_P(Loops, Suite,                                                                   \
                             testing::Values(KVBase::Tests::LoopKind::NoApplication,                         \
                                             KVBase::Tests::LoopKind::GLib, KVBase::Tests::LoopKind::Plain), \
                             KVBase::Tests::nameOfLoop)
