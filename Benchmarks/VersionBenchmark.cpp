#include <KVBase/VersionCheck.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>

using namespace KVBase;

namespace
{

/// The allocations of the whole program, this file's and the library's.
std::atomic<std::int64_t> allocations{0};

void compareVersions(benchmark::State &state, const char *first, const char *second)
{
    const QString a = QString::fromLatin1(first);
    const QString b = QString::fromLatin1(second);
    const std::int64_t before = allocations;
    for (auto _ : state)
        benchmark::DoNotOptimize(VersionCheck::compareVersion(a, b));
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations - before), benchmark::Counter::kAvgIterations);
}

BENCHMARK_CAPTURE(compareVersions, nearlyEqual, "10.4.11b3", "10.4.11b4")->Name("CompareVersions/KVBase");
BENCHMARK_CAPTURE(compareVersions, upperCase, "10.4.11B3", "10.4.11b3")
    ->Name("CompareVersions/KVBase/UpperCase");

} // namespace

extern "C" void *__libc_malloc(std::size_t size);

// The library's strings come from here, and so does everything else.
extern "C" void *malloc(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
