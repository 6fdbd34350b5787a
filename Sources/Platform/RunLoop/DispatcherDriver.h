#pragma once

#include <QtCore/QObject>

#include <chrono>
#include <memory>

class QAbstractEventDispatcher;

namespace KVBase
{

class RunLoopCore;

/// Lets a thread's Qt event loop drive its run loop: a posted event or the one armed timer runs a pass, and
/// before the loop blocks the core is asked whether it may. Belongs to the dispatcher and goes with it; lives
/// on its thread.
class DispatcherDriver final : public QObject {
public:
    DispatcherDriver(QAbstractEventDispatcher *dispatcher, const std::shared_ptr<RunLoopCore> &loop);
    ~DispatcherDriver() override;

    /// Runs a pass when `due` is reached on the clock; does nothing when one is armed for no later.
    void arm(std::chrono::nanoseconds due);

    /// Delivers what Qt has; with `mayBlock` waits for at least one event.
    void processEvents(bool mayBlock);

    /// Keeps the dispatcher from blocking once.
    void keepAwake();

protected:
    void customEvent(QEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void disarm();
    void runPass();

    std::weak_ptr<RunLoopCore> core;
    std::chrono::nanoseconds armedFor;
    int timer = 0;
};

} // namespace KVBase
