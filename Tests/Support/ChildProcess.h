#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

namespace KVBase::Tests
{

/// Runs `work` in a process of its own, for what is kept until a process ends. Its failures are the test's.
inline void runInChild(const std::function<void()> &work)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        work();
        std::fflush(nullptr);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child ended with status " << status;
}

} // namespace KVBase::Tests
