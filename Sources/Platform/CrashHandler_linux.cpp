#include "Platform/CrashHandler.h"

#include <KVBase/KVExport.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

namespace KVBase::CrashHandler
{

namespace
{

constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGSYS, SIGABRT};

/// Everything the handler needs, laid out before anything has gone wrong: nothing can be allocated then.
struct State {
    std::atomic<bool> installed{false};
    std::atomic<pid_t> crashedThread{0};
    CrashNotice notice;
    char program[4096] = {};
    char timeZone[128] = {};
    std::array<struct sigaction, kSignals.size()> previous = {};
};

constinit State state;

/// Memory for the handlers of one thread, below it a page that cannot be touched.
class AlternateStack {
public:
    ~AlternateStack()
    {
        if (memory == nullptr)
            return;
        stack_t none = {};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
        munmap(memory, kGuard + kSize);
    }

    void provide()
    {
        stack_t present = {};
        if (memory != nullptr || sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0)
            return;
        void *const block = mmap(nullptr, kGuard + kSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED)
            return;
        stack_t own = {};
        own.ss_sp = static_cast<char *>(block) + kGuard;
        own.ss_size = kSize;
        if (mprotect(own.ss_sp, kSize, PROT_READ | PROT_WRITE) == 0 && sigaltstack(&own, nullptr) == 0)
            memory = block;
        else
            munmap(block, kGuard + kSize);
    }

private:
    static constexpr std::size_t kGuard = 65536;
    static constexpr std::size_t kSize = 131072;

    void *memory = nullptr;
};

pid_t currentThread() { return static_cast<pid_t>(syscall(SYS_gettid)); }

#if defined(__x86_64__)
void noteRegisters(const ucontext_t *context, CrashNotice *notice)
{
    static constexpr std::array order = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                                         REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                         REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    for (std::size_t i = 0; i < order.size(); ++i)
        notice->registers[i] = static_cast<std::uint64_t>(context->uc_mcontext.gregs[order[i]]);
    notice->registerCount = static_cast<std::uint32_t>(order.size());
    notice->programCounter = notice->registers[16];
}
#elif defined(__aarch64__)
void noteRegisters(const ucontext_t *context, CrashNotice *notice)
{
    for (int i = 0; i < 31; ++i)
        notice->registers[i] = context->uc_mcontext.regs[i];
    notice->registers[31] = context->uc_mcontext.sp;
    notice->registers[32] = context->uc_mcontext.pc;
    notice->registerCount = 33;
    notice->programCounter = context->uc_mcontext.pc;
}
#else
void noteRegisters(const ucontext_t *, CrashNotice *) {}
#endif

void noteCrash(int signal, const siginfo_t *information, const void *context)
{
    CrashNotice &notice = state.notice;
    notice.process = getpid();
    notice.thread = currentThread();
    notice.signal = signal;
    notice.code = information->si_code;
    notice.faultAddress = reinterpret_cast<std::uintptr_t>(information->si_addr);
    noteRegisters(static_cast<const ucontext_t *>(context), &notice);
}

void writeNotice(int fd)
{
    const char *position = reinterpret_cast<const char *>(&state.notice);
    std::size_t left = sizeof state.notice;
    while (left > 0) {
        const ssize_t count = write(fd, position, left);
        if (count < 0 && errno != EINTR)
            return;
        if (count > 0) {
            position += count;
            left -= static_cast<std::size_t>(count);
        }
    }
}

/// In the child, which still shares the memory of the dying process: nothing here may change it.
[[noreturn]] void becomeReportProgram(int input, char *const *arguments, char *const *environment)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    dup2(input, STDIN_FILENO);
    execve(arguments[0], arguments, environment);
    _exit(127);
}

/// Runs the report program and waits for it; it ends itself when it takes too long. True when it wrote its
/// report.
bool runReportProgram(const char *mode)
{
    char *const arguments[] = {state.program, const_cast<char *>(mode), nullptr};
    char path[] = "PATH=/usr/bin:/bin";
    char *const environment[] = {path, state.timeZone[0] != '\0' ? state.timeZone : nullptr, nullptr};
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    const pid_t child = vfork();
    if (child == 0)
        becomeReportProgram(ends[0], arguments, environment);
    close(ends[0]);
    int status = -1;
    if (child > 0) {
        // Where only a parent may look into a process, its child has to be allowed to.
        prctl(PR_SET_PTRACER, static_cast<unsigned long>(child), 0, 0, 0);
        writeNotice(ends[1]);
    }
    close(ends[1]);
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && status == 0;
}

void restorePreviousHandlers()
{
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        sigaction(kSignals[i], &state.previous[i], nullptr);
    state.installed.store(false);
}

/// A fault happens again by itself when the handler returns; what was sent by somebody has to be sent again.
void letSignalTakeItsCourse(int signal, const siginfo_t *information)
{
    restorePreviousHandlers();
    const bool recurs = information->si_code > 0 && signal != SIGTRAP && signal != SIGSYS;
    if (!recurs)
        syscall(SYS_tgkill, getpid(), currentThread(), signal);
}

void handleSignal(int signal, siginfo_t *information, void *context)
{
    pid_t nobody = 0;
    if (state.crashedThread.compare_exchange_strong(nobody, currentThread())) {
        ::signal(SIGPIPE, SIG_IGN);
        noteCrash(signal, information, context);
        if (!runReportProgram("full"))
            runReportProgram("brief");
    } else if (nobody != currentThread()) {
        // Another thread's crash is being reported, and the process ends with that.
        for (;;)
            pause();
    }
    letSignalTakeItsCourse(signal, information);
}

template <std::size_t N>
void copyText(const QByteArray &text, char (&destination)[N])
{
    std::strncpy(destination, text.constData(), N - 1);
    destination[N - 1] = '\0';
}

} // namespace

QByteArray reportProgram()
{
    Dl_info information = {};
    if (dladdr(reinterpret_cast<const void *>(&reportProgram), &information) == 0)
        return {};
    QString folder = QFileInfo(QFile::decodeName(information.dli_fname)).canonicalPath();
    constexpr int kLevels = 3;
    for (int level = 0; level < kLevels && !folder.isEmpty(); ++level) {
        const QFileInfo program(folder + QStringLiteral("/libexec/kvbase-crash-report"));
        if (program.isFile() && program.isExecutable())
            return QFile::encodeName(program.filePath());
        folder = folder.section(u'/', 0, -2);
    }
    return {};
}

bool isInstalled() { return state.installed.load(); }

void install(const CrashNotice &notice, const QByteArray &reportProgram)
{
    state.notice = notice;
    copyText(reportProgram, state.program);
    if (qEnvironmentVariableIsSet("TZ"))
        copyText("TZ=" + qgetenv("TZ"), state.timeZone);
    state.crashedThread.store(0);
    giveAlternateStack();
    struct sigaction action = {};
    action.sa_sigaction = handleSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        sigaction(kSignals[i], &action, &state.previous[i]);
    state.installed.store(true);
}

void uninstall()
{
    if (!state.installed.exchange(false))
        return;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction present = {};
        sigaction(kSignals[i], nullptr, &present);
        if ((present.sa_flags & SA_SIGINFO) != 0 && present.sa_sigaction == handleSignal)
            sigaction(kSignals[i], &state.previous[i], nullptr);
    }
}

void giveAlternateStack()
{
    thread_local AlternateStack stack;
    stack.provide();
}

} // namespace KVBase::CrashHandler
