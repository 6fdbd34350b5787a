#include "kvbase/Command.h"

#include <KVBase/KVBackgroundThread.h>
#include <KVBase/KVMainThread.h>
#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSRunLoop.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QSemaphore>

#include <algorithm>
#include <vector>

namespace kvbase
{

namespace
{

using namespace KVBase;

constexpr int kRoundTrips = 1000;
constexpr int kPosts = 200'000;
constexpr int kRequests = 5;

/// How long one step may take before it counts as failed.
constexpr int kPatienceMs = 30'000;

struct Findings {
    bool works = true;
    double roundTripMicroseconds = 0;
    double postsPerSecond = 0;
    int coalescedCalls = 0;
    QStringList modes;
};

/// Posts to the worker and waits for the answer, again and again; the median.
void measureRoundTrip(KVBackgroundThread &worker, Findings &findings)
{
    std::vector<qint64> times;
    const auto answered = std::make_shared<QSemaphore>();
    for (int trip = 0; trip < kRoundTrips && findings.works; ++trip) {
        QElapsedTimer timer;
        timer.start();
        worker.perform([answered] { answered->release(); });
        findings.works = answered->tryAcquire(1, kPatienceMs);
        times.push_back(timer.nsecsElapsed());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    findings.roundTripMicroseconds = static_cast<double>(*middle) / 1000;
}

void measurePosts(KVBackgroundThread &worker, Findings &findings)
{
    const auto answered = std::make_shared<QSemaphore>();
    const auto count = std::make_shared<int>(0);
    QElapsedTimer timer;
    timer.start();
    for (int post = 0; post < kPosts; ++post)
        worker.perform([count] { ++*count; });
    worker.perform([answered] { answered->release(); });
    findings.works = findings.works && answered->tryAcquire(1, kPatienceMs) && *count == kPosts;
    findings.postsPerSecond = kPosts * 1e9 / static_cast<double>(std::max<qint64>(timer.nsecsElapsed(), 1));
}

/// Runs the loop in each of its modes and notes in which a timer for all of them fired.
void lookAtModes(Findings &findings)
{
    const Ref<NSRunLoop> loop = NSRunLoop::currentRunLoop();
    const Ref<NSTimer> timer = NSTimer::timerWithTimeInterval(0.001, true, [&](NSTimer &) {
        if (!findings.modes.contains(loop->currentMode()))
            findings.modes.append(loop->currentMode());
    });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    const QLatin1StringView modes[] = {NSDefaultRunLoopMode, NSConnectionReplyMode, NSModalPanelRunLoopMode,
                                       NSEventTrackingRunLoopMode};
    for (const QLatin1StringView mode : modes)
        loop->runMode(mode, QDateTime::currentDateTime().addMSecs(20));
    timer->invalidate();
    findings.works = findings.works && findings.modes.size() == std::ssize(modes);
}

void coalesce(Findings &findings)
{
    QObject owner;
    const auto count = std::make_shared<int>(0);
    for (int request = 0; request < kRequests; ++request)
        PerformDeferred::performCoalesced(&owner, QStringLiteral("check"), [count] { ++*count; });
    NSRunLoop::currentRunLoop()->runUntilDate(QDateTime::currentDateTime().addMSecs(20));
    findings.coalescedCalls = *count;
    findings.works = findings.works && *count == 1;
}

QJsonObject describe(const Findings &findings)
{
    return {{"works", findings.works},
            {"roundTripMicroseconds", findings.roundTripMicroseconds},
            {"postsPerSecond", findings.postsPerSecond},
            {"coalescedRequests", kRequests},
            {"coalescedCalls", findings.coalescedCalls},
            {"modes", QJsonArray::fromStringList(findings.modes)}};
}

void print(const Findings &findings)
{
    printLine(QStringLiteral("round trip to a worker: %1 microseconds")
                  .arg(findings.roundTripMicroseconds, 0, 'f', 1));
    printLine(QStringLiteral("posts to a worker: %1 a second").arg(findings.postsPerSecond, 0, 'f', 0));
    printLine(QStringLiteral("coalesced: %1 requests, %2 calls").arg(kRequests).arg(findings.coalescedCalls));
    printLine(QStringLiteral("modes seen: ") + findings.modes.join(QStringLiteral(", ")));
    printLine(findings.works ? QStringLiteral("everything works")
                             : QStringLiteral("something does not work"));
}

int run(const Context &context)
{
    int argc = 1;
    const QCoreApplication application(argc, context.argv);
    KVMainThread::markCurrentThreadAsMainThread();
    Findings findings;
    const Ref<KVBackgroundThread> worker =
        KVBackgroundThread::backgroundThreadWithName(QStringLiteral("check"));
    measureRoundTrip(*worker, findings);
    measurePosts(*worker, findings);
    lookAtModes(findings);
    coalesce(findings);
    worker->stop(findings.works);
    if (context.json)
        printJson(describe(findings));
    else
        print(findings);
    return findings.works ? kSuccess : kFailure;
}

const CommandRegistration registration("threads", "Check that workers and run loops work here, and how fast",
                                       [](CLI::App &app, const Context &context) {
                                           app.footer("Exit code 0 when they do, 2 when not.");
                                           return [&context] { return run(context); };
                                       });

} // namespace

} // namespace kvbase
