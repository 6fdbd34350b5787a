#include "report/BoundedStep.h"

#include <QtCore/QDataStream>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QIODevice>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace report
{

namespace
{

void writeAll(int fd, const QByteArray &data)
{
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t count =
            write(fd, data.constData() + done, static_cast<std::size_t>(data.size() - done));
        if (count < 0 && errno != EINTR)
            return;
        done += count > 0 ? count : 0;
    }
}

QByteArray encoded(const QVariantMap &values, const QString &reason)
{
    QByteArray data;
    QDataStream stream(&data, QIODevice::WriteOnly);
    stream << values << reason;
    return data;
}

QByteArray answerOf(const std::function<QVariantMap()> &work)
{
    try {
        return encoded(work(), QString());
    } catch (const std::exception &error) {
        return encoded({}, QString::fromUtf8(error.what()));
    }
}

[[noreturn]] void workAsChild(int output, const std::function<QVariantMap()> &work)
{
    // A group of its own, so that the tools that the step starts end with it.
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    writeAll(output, answerOf(work));
    std::fflush(nullptr);
    _exit(0);
}

/// False when the time is over first.
bool readToEnd(int fd, const QDeadlineTimer &deadline, QByteArray *data)
{
    std::array<char, 65536> buffer;
    for (;;) {
        pollfd entry{fd, POLLIN, 0};
        const int ready =
            poll(&entry, 1, static_cast<int>(std::min<qint64>(deadline.remainingTime(), 1'000'000)));
        if (ready == 0 && deadline.hasExpired())
            return false;
        const ssize_t count = ready > 0 ? read(fd, buffer.data(), buffer.size()) : -1;
        if (count == 0)
            return true;
        if (count > 0)
            data->append(buffer.data(), count);
        else if (ready > 0 && errno != EINTR)
            return true;
    }
}

StepResult decoded(const QByteArray &data)
{
    StepResult result;
    QDataStream stream(data);
    stream >> result.values >> result.reason;
    if (stream.status() != QDataStream::Ok)
        result.reason = kNoResult;
    else if (result.reason.isNull())
        result.end = StepEnd::Done;
    return result;
}

} // namespace

QString cutReason(std::chrono::milliseconds limit)
{
    return QStringLiteral("It was cut after %1 seconds.").arg(static_cast<double>(limit.count()) / 1000);
}

StepResult runBounded(std::chrono::milliseconds limit, const std::function<QVariantMap()> &work)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return {StepEnd::Failed, {}, QStringLiteral("There is no pipe left.")};
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        workAsChild(ends[1], work);
    }
    close(ends[1]);
    QByteArray data;
    const bool ended = child > 0 && readToEnd(ends[0], QDeadlineTimer(limit), &data);
    close(ends[0]);
    if (child < 0)
        return {StepEnd::Failed, {}, QStringLiteral("No process could be started.")};
    if (!ended) {
        kill(-child, SIGKILL);
        kill(child, SIGKILL);
    }
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return ended ? decoded(data) : StepResult{StepEnd::Cut, {}, cutReason(limit)};
}

} // namespace report
