#include <KVBase/KVCrashReporter.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace
{

volatile int sink;

[[gnu::noinline]] void readThroughBadPointer()
{
    volatile int *const bad = reinterpret_cast<volatile int *>(0x1234);
    sink = *bad;
}

/// The sanitizer would look at what the pointer points to before the call.
__attribute__((noinline, no_sanitize("undefined"))) void callNothing()
{
    void (*volatile nothing)() = nullptr;
    nothing();
    sink = 1;
}

[[gnu::noinline]] int recurse(int depth)
{
    if (depth == sink - 1)
        return 0;
    volatile char room[4096];
    room[0] = static_cast<char>(depth);
    return recurse(depth + 1) + room[0];
}

void crashInThread()
{
    std::thread thread([] {
        pthread_setname_np(pthread_self(), "unlucky");
        readThroughBadPointer();
    });
    thread.join();
}

void overflowInThread()
{
    std::thread thread([] {
        KVBase::KVCrashReporter::install();
        sink = recurse(0);
    });
    thread.join();
}

void previousHandler(int)
{
    static const char text[] = "previous handler\n";
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text, sizeof text - 1);
    _exit(42);
}

void crash(const std::string &how)
{
    if (how == "read")
        readThroughBadPointer();
    else if (how == "call")
        callNothing();
    else if (how == "abort")
        std::abort();
    else if (how == "throw")
        throw std::runtime_error("nobody catches this");
    else if (how == "overflow")
        sink = recurse(0);
    else if (how == "thread")
        crashInThread();
    else if (how == "thread-overflow")
        overflowInThread();
    else if (how == "limited") {
        const rlimit hundredBytes{100, 100};
        setrlimit(RLIMIT_FSIZE, &hundredBytes);
        readThroughBadPointer();
    } else if (how == "unwritable") {
        rmdir((std::string(std::getenv("XDG_DATA_HOME")) + "/Logs/CrashReporter").c_str());
        readThroughBadPointer();
    } else if (how == "trap")
        std::raise(SIGTRAP);
}

} // namespace

/// CrashingProgram HOW [previous|uninstalled]: installs the crash reporter, says so, and crashes.
int main(int argc, char **argv)
{
    const std::string how = argc > 1 ? argv[1] : "read";
    const std::string option = argc > 2 ? argv[2] : "";
    if (option == "previous")
        std::signal(SIGSEGV, previousHandler);
    const bool installed = KVBase::KVCrashReporter::install();
    std::printf("%s\n", installed ? "installed" : "not installed");
    std::fflush(stdout);
    if (option == "uninstalled")
        KVBase::KVCrashReporter::uninstall();
    crash(how);
    return 0;
}
