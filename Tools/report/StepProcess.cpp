#include "report/StepProcess.h"

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace report
{

StepProcess::StepProcess(QObject *parent) : QObject(parent)
{
    timer.setSingleShot(true);
    // A group of its own, so that the tools that the step starts end with it.
    process.setChildProcessModifier([] {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    connect(&process, &QProcess::finished, this, [this](int exitCode, QProcess::ExitStatus status) {
        finish(resultOfFinished(exitCode, status));
    });
    connect(&process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish({StepEnd::Failed, {}, QStringLiteral("No process could be started.")});
    });
}

StepProcess::~StepProcess() { abandon(); }

void StepProcess::start(const QStringList &command, std::chrono::milliseconds limit)
{
    connect(&timer, &QTimer::timeout, this, [this, limit] {
        kill();
        finish({StepEnd::Cut, {}, cutReason(limit)});
    });
    timer.start(limit);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(command.value(0), command.mid(1));
}

void StepProcess::abandon()
{
    timer.stop();
    kill();
}

void StepProcess::finish(const StepResult &result)
{
    timer.stop();
    Q_EMIT ended(result);
}

void StepProcess::kill()
{
    process.disconnect(this);
    const auto id = static_cast<pid_t>(process.processId());
    if (process.state() == QProcess::NotRunning || id <= 0)
        return;
    ::kill(-id, SIGKILL);
    process.kill();
    process.waitForFinished();
}

StepResult StepProcess::resultOfFinished(int exitCode, QProcess::ExitStatus status)
{
    if (status == QProcess::NormalExit && exitCode == 0)
        return {StepEnd::Done,
                {{QStringLiteral("text"), QString::fromUtf8(process.readAllStandardOutput())}},
                {}};
    const QString reason = QString::fromUtf8(process.readAllStandardError()).trimmed();
    return {StepEnd::Failed, {}, reason.isEmpty() ? QString(kNoResult) : reason};
}

} // namespace report
