#include "Platform/Services/Processes.h"

#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace KVBase
{

template class Service<Processes>;

Processes::~Processes() = default;

namespace
{

/// A descriptor that is closed with its owner. Every one made here is close-on-exec from its birth.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : fd(number) {}
    Descriptor(Descriptor &&other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(fd, other.fd);
        return *this;
    }
    ~Descriptor() { close(); }
    void close()
    {
        if (fd >= 0)
            ::close(std::exchange(fd, -1));
    }
    int get() const { return fd; }

private:
    int fd = -1;
};

bool makePipe(Descriptor *readEnd, Descriptor *writeEnd)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    *readEnd = Descriptor(ends[0]);
    *writeEnd = Descriptor(ends[1]);
    return true;
}

/// The strings of a list in the form that exec takes, alive as long as this object.
class StringVector {
public:
    void append(std::string text) { texts.push_back(std::move(text)); }
    char *const *data()
    {
        pointers.clear();
        for (std::string &text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        return pointers.data();
    }

private:
    std::vector<std::string> texts;
    std::vector<char *> pointers;
};

StringVector stringVector(const QStringList &list)
{
    StringVector vector;
    for (const QString &text : list)
        vector.append(QFile::encodeName(text).toStdString());
    return vector;
}

StringVector extendedEnvironment(const QMap<QString, QString> &additions)
{
    StringVector vector;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text(*entry);
        if (!additions.contains(QFile::decodeName(text.substr(0, text.find('=')).c_str())))
            vector.append(text);
    }
    for (auto entry = additions.begin(); entry != additions.end(); ++entry)
        vector.append(
            (QFile::encodeName(entry.key()) + '=' + QFile::encodeName(entry.value())).toStdString());
    return vector;
}

/// Signals as a fresh program expects them: none blocked, and a broken pipe ends it.
void resetSignals(posix_spawnattr_t *attributes)
{
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigmask(attributes, &none);
    posix_spawnattr_setsigdefault(attributes, &defaults);
    posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

/// Starts one program; -1 when that fails.
pid_t spawn(const QStringList &command, int input, int output)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    resetSignals(&attributes);
    if (input >= 0)
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);

    StringVector arguments = stringVector(command);
    char *const *argv = arguments.data();
    pid_t pid = -1;
    const int status = posix_spawnp(&pid, argv[0], &actions, &attributes, argv, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return status == 0 ? pid : -1;
}

QByteArray readToEnd(int fd)
{
    QByteArray data;
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t count = read(fd, buffer.data(), buffer.size());
        if (count > 0)
            data.append(buffer.data(), count);
        else if (count == 0 || errno != EINTR)
            return data;
    }
}

/// Children whose output has ended but that may still run. They are not waited for; whoever has ended is
/// taken off the system's list of processes here and at each later call.
class Departing {
public:
    void add(pid_t pid)
    {
        const std::lock_guard guard(mutex);
        pids.push_back(pid);
    }

    void reap()
    {
        const std::lock_guard guard(mutex);
        std::erase_if(pids, [](pid_t pid) {
            const pid_t answer = waitpid(pid, nullptr, WNOHANG);
            return answer == pid || (answer < 0 && errno == ECHILD);
        });
    }

private:
    std::mutex mutex;
    std::vector<pid_t> pids;
};

Departing &departing()
{
    static Departing *const shared = new Departing;
    return *shared;
}

/// A program that closed its output is about to end: gives it the blink of an eye, so that hardly any is left
/// over.
void awaitEnd(pid_t pid)
{
    constexpr int kGraceMilliseconds = 200;
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    if (handle.get() < 0)
        return;
    pollfd entry{handle.get(), POLLIN, 0};
    poll(&entry, 1, kGraceMilliseconds);
}

void release(const std::vector<pid_t> &pids)
{
    for (const pid_t pid : pids) {
        awaitEnd(pid);
        departing().add(pid);
    }
    departing().reap();
}

/// What runs between fork and exec: only calls that are safe there.
[[noreturn]] void becomeDetached(char *const *argv, char *const *environment, int reportTo)
{
    const auto giveUp = [reportTo] {
        const int status = errno;
        [[maybe_unused]] const ssize_t written = write(reportTo, &status, sizeof status);
        _exit(127);
    };
    setsid();
    const pid_t child = fork();
    if (child < 0)
        giveUp();
    if (child > 0)
        _exit(0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0)
        dup2(nothing, STDIN_FILENO);
    execvpe(argv[0], argv, environment);
    giveUp();
    _exit(127);
}

class LinuxProcesses final : public Processes {
public:
    bool readOutput(const QList<QStringList> &commands, QByteArray *data) override
    {
        data->clear();
        departing().reap();
        std::vector<pid_t> started;
        Descriptor output;
        const bool complete = !commands.isEmpty() && startAll(commands, &started, &output);
        if (complete)
            *data = readToEnd(output.get());
        output.close();
        release(started);
        return complete;
    }

    bool launchDetached(const QStringList &arguments, const QMap<QString, QString> &environment) override
    {
        Descriptor readEnd;
        Descriptor writeEnd;
        if (arguments.isEmpty() || !makePipe(&readEnd, &writeEnd))
            return false;
        StringVector argv = stringVector(arguments);
        StringVector variables = extendedEnvironment(environment);
        char *const *argvData = argv.data();
        char *const *environmentData = variables.data();
        const pid_t child = fork();
        if (child == 0)
            becomeDetached(argvData, environmentData, writeEnd.get());
        writeEnd.close();
        if (child < 0)
            return false;
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
        // The pipe closes by itself when exec succeeds; a number in it says why it did not.
        return readToEnd(readEnd.get()).isEmpty();
    }

private:
    static bool startAll(const QList<QStringList> &commands, std::vector<pid_t> *started, Descriptor *output)
    {
        for (const QStringList &command : commands) {
            Descriptor readEnd;
            Descriptor writeEnd;
            if (command.isEmpty() || !makePipe(&readEnd, &writeEnd))
                return false;
            const pid_t pid = spawn(command, output->get(), writeEnd.get());
            if (pid < 0)
                return false;
            started->push_back(pid);
            *output = std::move(readEnd);
        }
        return true;
    }
};

} // namespace

Processes *Processes::makeDefault() { return new LinuxProcesses; }

} // namespace KVBase
