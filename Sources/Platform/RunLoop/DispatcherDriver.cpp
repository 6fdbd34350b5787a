#include "Platform/RunLoop/DispatcherDriver.h"

#include "Platform/RunLoop/RunLoopCore.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtGui/QGuiApplication>

#include <limits>

namespace KVBase
{

namespace
{

/// Rounded up, so that the timer does not come before its time.
int millisecondsUntil(std::chrono::nanoseconds due, std::chrono::nanoseconds now)
{
    if (due <= now)
        return 0;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(due - now).count();
    return static_cast<int>(std::min<std::int64_t>(wait, std::numeric_limits<int>::max()));
}

} // namespace

DispatcherDriver::DispatcherDriver(QAbstractEventDispatcher *dispatcher,
                                   const std::shared_ptr<RunLoopCore> &loop)
    : QObject(dispatcher), core(loop), armedFor(kNever)
{
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] {
        if (const auto alive = core.lock(); alive && alive->mustStayAwake())
            keepAwake();
    });
    QCoreApplication *const application = QCoreApplication::instance();
    if (qobject_cast<QGuiApplication *>(application) != nullptr && application->thread() == thread())
        application->installEventFilter(this);
}

DispatcherDriver::~DispatcherDriver()
{
    if (const auto alive = core.lock())
        alive->driverGone();
}

void DispatcherDriver::arm(std::chrono::nanoseconds due)
{
    if (due >= armedFor)
        return;
    disarm();
    armedFor = due;
    timer = startTimer(millisecondsUntil(due, RunLoopCore::monotonic()), Qt::PreciseTimer);
}

void DispatcherDriver::disarm()
{
    armedFor = kNever;
    if (timer != 0)
        killTimer(std::exchange(timer, 0));
}

void DispatcherDriver::processEvents(bool mayBlock)
{
    auto *const dispatcher = static_cast<QAbstractEventDispatcher *>(parent());
    dispatcher->processEvents(mayBlock ? QEventLoop::WaitForMoreEvents : QEventLoop::AllEvents);
}

void DispatcherDriver::keepAwake() { static_cast<QAbstractEventDispatcher *>(parent())->wakeUp(); }

void DispatcherDriver::runPass()
{
    if (const auto alive = core.lock())
        alive->pass();
}

void DispatcherDriver::customEvent(QEvent *) { runPass(); }

void DispatcherDriver::timerEvent(QTimerEvent *)
{
    disarm();
    runPass();
}

bool DispatcherDriver::eventFilter(QObject *watched, QEvent *event)
{
    if (const auto alive = core.lock())
        alive->noteUserEvent(watched, event);
    return false;
}

} // namespace KVBase
