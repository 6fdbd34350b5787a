#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace KVBase::Tests
{

/// Runs each piece of work `rounds` times on a thread of its own, with the number of the round, and waits for
/// all of them. The threads are let go at the same moment.
inline void together(const std::vector<std::function<void(int)>> &works, int rounds)
{
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    threads.reserve(works.size());
    for (const auto &work : works)
        threads.emplace_back([&go, &work, rounds] {
            while (!go)
                std::this_thread::yield();
            for (int round = 0; round < rounds; ++round)
                work(round);
        });
    go = true;
    for (std::thread &thread : threads)
        thread.join();
}

/// Something that may be done to a subject by any thread. It must leave values behind that the others can
/// read: numbers that need no memory of their own, since Qt's counts of owners are not seen by a sanitizer.
template <class Subject>
struct SharedOperation {
    const char *name;
    void (*run)(Subject &subject, int round);
};

/// The name of an operation in the names of tests.
template <class Subject>
std::string nameOfOperation(const testing::TestParamInfo<SharedOperation<Subject>> &info)
{
    return info.param.name;
}

/// Runs one operation against each of them, itself included, each pair on a subject made anew by
/// `makeSubject`; looks at what is left with `check`.
template <class Subject, class Operations, class Make, class Check>
void runAgainstEach(const SharedOperation<Subject> &one, const Operations &all, int rounds,
                    const Make &makeSubject, const Check &check)
{
    for (const SharedOperation<Subject> &other : all) {
        SCOPED_TRACE(other.name);
        auto subject = makeSubject();
        together(
            {[&](int round) { one.run(*subject, round); }, [&](int round) { other.run(*subject, round); }},
            rounds);
        check(*subject);
    }
}

} // namespace KVBase::Tests
