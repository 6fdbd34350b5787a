#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSTimer.h>

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

namespace KVBase
{

/// The program runs as usual.
inline constexpr QLatin1StringView NSDefaultRunLoopMode{"NSDefaultRunLoopMode"};

/// The thread waits for a reply; the mode of a run in this mode and of nothing else.
inline constexpr QLatin1StringView NSConnectionReplyMode{"NSConnectionReplyMode"};

/// A modal window runs a loop of its own.
inline constexpr QLatin1StringView NSModalPanelRunLoopMode{"NSModalPanelRunLoopMode"};

/// A popup is open or a mouse button is held.
inline constexpr QLatin1StringView NSEventTrackingRunLoopMode{"NSEventTrackingRunLoopMode"};

class RunLoopCore;

/// What a thread does later: timers, requests and notifications, each in certain modes. One per thread, made
/// on first use, gone with the thread. While an application object exists the thread's Qt event loop drives
/// it, whoever runs that; otherwise it works when it is run. What is due in another mode than the current one
/// waits.
///
/// Seconds that are negative or no number count as 0; infinitely many never pass. An `NSException` that
/// leaves a callback is written with `NSLog` and the loop goes on; any other exception ends the process.
///
/// A loop is used on its own thread only, but for the functions that say otherwise.
class KV_EXPORT NSRunLoop {
public:
    explicit NSRunLoop(std::shared_ptr<RunLoopCore> loopCore);
    ~NSRunLoop();
    NSRunLoop(const NSRunLoop &) = delete;
    NSRunLoop &operator=(const NSRunLoop &) = delete;

    /// The calling thread's. Never nil; while the thread's storage is torn down it is one that does nothing.
    static Ref<NSRunLoop> currentRunLoop();

    /// The loop of the application object's thread; without one, of the thread the process began with. Any
    /// thread.
    static Ref<NSRunLoop> mainRunLoop();

    /// The mode in which callbacks happen now; nil while the loop does not run.
    QString currentMode() const;

    /// Lets `timer` fire in `mode` too. A timer fires once at a time, however many modes it was added for.
    /// Does nothing for a nil or invalid timer or one that belongs to another loop.
    void addTimer(const Ref<NSTimer> &timer, const QString &mode);

    /// Runs in `mode`, events of Qt included, until `limitDate` is reached or work came from
    /// `performOnThread` or `wakeUp`; what is due happens at least once, also when the date has passed. False
    /// when it cannot run: nil mode, or another thread's loop. A nil date stands for no limit. Blocks.
    bool runMode(const QString &mode, const QDateTime &limitDate);

    /// Runs in the default mode until `limitDate`; where the user opens a modal panel or a popup or holds a
    /// button, the mode follows him. Blocks.
    void runUntilDate(const QDateTime &limitDate);

    /// Calls `selector` on `target` with `object` when `delay` seconds have passed, in one of `modes`; never
    /// within this call.
    void performSelector(const KVSelector &selector, const KVTarget &target, const QVariant &object,
                         double delay, const QStringList &modes);

    /// The same for `work`, under a key by which requests of `target` can be cancelled; a null key is none.
    /// `work` is dropped when a target was given and has gone.
    void perform(const KVTarget &target, const QString &key, KVCallable work, double delay,
                 const QStringList &modes);

    /// Drops every request of `target` that waits on this loop, callables too.
    void cancelPreviousPerformRequestsWithTarget(const KVTarget &target);

    /// Drops the requests with this target, selector and an equal argument; nil equals only nil.
    void cancelPreviousPerformRequestsWithTarget(const KVTarget &target, const KVSelector &selector,
                                                 const QVariant &object);

    /// Drops the callables of `target` under `key`.
    void cancelPreviousPerformRequestsWithTarget(const KVTarget &target, const QString &key);

    /// Drops what `performOnThread` handed over for `target` and has not begun.
    void cancelPerformSelectorsWithTarget(const KVTarget &target);

    /// Has this loop's thread call `selector` on `target`, in one of the common modes (default, modal panel,
    /// event tracking), in the order of these calls. Any thread; does not wait. Dropped when the thread ends
    /// first.
    void performOnThread(const KVSelector &selector, const KVTarget &target, const QVariant &object);
    void performOnThread(KVCallable work);

    /// Makes the loop look again at what there is to do. Any thread; does not wait.
    void wakeUp();

private:
    std::shared_ptr<RunLoopCore> core;
};

} // namespace KVBase
