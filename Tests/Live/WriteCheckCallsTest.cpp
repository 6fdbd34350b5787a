#include <KVBase/KVPathUtils.h>

#include "Support/FileFixtures.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace KVBase
{
namespace
{

using namespace Tests;

/// A call that nothing else makes here, and so a mark in the sequence of calls.
constexpr long kMark = SYS_getppid;

/// The number of the call that the stopped process is about to make; -1 after a call.
long enteredCall(pid_t process)
{
    __ptrace_syscall_info info{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) <= 0)
        return -1;
    return info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
}

/// How many system calls `work` makes the second time; -1 when this process may not watch another one.
int systemCallsOf(const std::function<void()> &work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            ::_exit(1);
        work();
        ::raise(SIGSTOP);
        ::syscall(kMark);
        work();
        ::syscall(kMark);
        ::_exit(0);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFSTOPPED(status))
        return -1;
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int marks = 0;
    int calls = 0;
    while (::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 && ::waitpid(child, &status, 0) == child &&
           WIFSTOPPED(status)) {
        const long call = enteredCall(child);
        marks += call == kMark ? 1 : 0;
        calls += call >= 0 && call != kMark && marks == 1 ? 1 : 0;
    }
    return marks == 2 ? calls : -1;
}

TEST(WriteCheckCallsTest, AsksForExistencePermissionAndSpaceAndNothingElse)
{
    const QString folder = freshFolder();
    const QVariant required(1000);
    const int none = systemCallsOf([] {});
    if (none < 0)
        GTEST_SKIP() << "may not watch a process";
    EXPECT_EQ(none, 0);
    const int calls = systemCallsOf([&] { KVPathUtils::canWriteToPath(folder, required); });
    EXPECT_GE(calls, 3);
    EXPECT_LE(calls, 6) << "the three questions and three calls more";
    const int unlimited = systemCallsOf([&] { KVPathUtils::canWriteToPath(folder, QVariant()); });
    EXPECT_GE(unlimited, 2);
    EXPECT_LT(unlimited, calls) << "without a requirement nobody asks for the space";
}

} // namespace
} // namespace KVBase
