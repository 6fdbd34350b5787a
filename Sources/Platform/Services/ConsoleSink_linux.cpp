#include "Platform/Services/ConsoleSink.h"

#include <QtCore/QByteArray>

#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <unistd.h>

namespace KVBase
{

template class Service<ConsoleSink>;

ConsoleSink::~ConsoleSink() = default;

namespace
{

/// Keeps a write to a pipe that nobody reads from ending the process: the signal stays blocked in this thread
/// and one that the write raised is taken away again.
class BrokenPipeGuard {
public:
    BrokenPipeGuard()
    {
        sigemptyset(&pipeOnly);
        sigaddset(&pipeOnly, SIGPIPE);
        sigset_t waiting;
        sigpending(&waiting);
        wasPending = sigismember(&waiting, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipeOnly, &previous);
    }

    ~BrokenPipeGuard()
    {
        const timespec now{};
        if (!wasPending)
            sigtimedwait(&pipeOnly, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }

    BrokenPipeGuard(const BrokenPipeGuard &) = delete;
    BrokenPipeGuard &operator=(const BrokenPipeGuard &) = delete;

private:
    sigset_t pipeOnly;
    sigset_t previous;
    bool wasPending = false;
};

/// A whole line is one write; only a short one is continued.
void writeAll(int descriptor, const QByteArray &bytes)
{
    const char *next = bytes.constData();
    auto left = static_cast<std::size_t>(bytes.size());
    while (left > 0) {
        const ssize_t written = ::write(descriptor, next, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        next += written;
        left -= static_cast<std::size_t>(written);
    }
}

class StandardError : public ConsoleSink {
public:
    void write(const QString &line) override
    {
        const int entryError = errno;
        {
            const BrokenPipeGuard guard;
            writeAll(STDERR_FILENO, line.toUtf8() + '\n');
        }
        errno = entryError;
    }
};

} // namespace

ConsoleSink *ConsoleSink::makeDefault() { return new StandardError; }

} // namespace KVBase
