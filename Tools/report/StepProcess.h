#pragma once

#include "report/BoundedStep.h"

#include <QtCore/QObject>
#include <QtCore/QProcess>
#include <QtCore/QTimer>

namespace report
{

/// Runs a program whose standard output is the text of one step, without waiting for it. A program that takes
/// longer than it may is killed with every tool that it started; so is one that still runs when this object
/// goes. One thread, with an event loop.
class StepProcess : public QObject {
    Q_OBJECT

public:
    explicit StepProcess(QObject *parent = nullptr);
    ~StepProcess() override;

    /// `command` is the program, by its path, and its arguments. Call it once.
    void start(const QStringList &command, std::chrono::milliseconds limit);

    /// Kills what runs; `ended` is not emitted any more.
    void abandon();

Q_SIGNALS:
    /// The value "text" holds what the program has written when the step is done.
    void ended(const report::StepResult &result);

private:
    void finish(const StepResult &result);
    void kill();
    StepResult resultOfFinished(int exitCode, QProcess::ExitStatus status);

    QProcess process;
    QTimer timer;
};

} // namespace report
