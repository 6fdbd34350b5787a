#include "ScratchFolder.h"

#include <KVBase/KVLog.h>
#include <KVBase/Platform/KVFormat.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <unistd.h>

#if defined(KVBASE_HAS_SPDLOG)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

using namespace KVBase;

namespace
{

std::string fileFor(const char *contender) { return scratchFolder() + "/" + contender + ".log"; }

/// A log grows fast here, so it is emptied before each run.
std::string emptyFileFor(const char *contender)
{
    const std::string path = fileFor(contender);
    unlink(path.c_str());
    return path;
}

constexpr const char *kText = "Import of the second library";
constexpr int kNumber = 4711;

void logLineKVBase(benchmark::State &state)
{
    if (state.thread_index() == 0) {
        const std::string path = emptyFileFor("KVBase");
        KVLogSetDestination(1);
        if (!KVLogOpen(QString::fromStdString(path)))
            state.SkipWithError("the log is off");
    }
    for (auto _ : state)
        KVLog("%s took %d ms", kText, kNumber);
    if (state.thread_index() == 0)
        KVLogClose();
}
BENCHMARK(logLineKVBase)->Name("LogLine/KVBase")->UseRealTime();
BENCHMARK(logLineKVBase)->Name("LogLine/KVBase")->Threads(4)->UseRealTime();

#if defined(KVBASE_HAS_SPDLOG)
void logLineSpdlog(benchmark::State &state)
{
    static std::shared_ptr<spdlog::logger> logger;
    if (state.thread_index() == 0) {
        auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(emptyFileFor("spdlog"));
        sink->set_pattern("%v");
        logger = std::make_shared<spdlog::logger>("peer", sink);
        logger->flush_on(spdlog::level::info);
    }
    for (auto _ : state)
        logger->info("{} took {} ms", kText, kNumber);
    if (state.thread_index() == 0)
        logger.reset();
}
BENCHMARK(logLineSpdlog)->Name("LogLine/spdlog")->UseRealTime();
BENCHMARK(logLineSpdlog)->Name("LogLine/spdlog")->Threads(4)->UseRealTime();
#endif

void logLineStdio(benchmark::State &state)
{
    std::FILE *const file = std::fopen(emptyFileFor("stdio").c_str(), "ae");
    for (auto _ : state) {
        std::fprintf(file, "%s took %d ms\n", kText, kNumber);
        std::fflush(file);
    }
    std::fclose(file);
}
BENCHMARK(logLineStdio)->Name("LogLine/stdio")->UseRealTime();

void logLineRawWrite(benchmark::State &state)
{
    const int file = open(emptyFileFor("raw").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const std::string line = std::string(kText) + " took 4711 ms\n";
    for (auto _ : state)
        benchmark::DoNotOptimize(write(file, line.data(), line.size()));
    close(file);
}
BENCHMARK(logLineRawWrite)->Name("LogLine/rawWrite")->UseRealTime();

void disabledCall(benchmark::State &state)
{
    scratchFolder();
    KVLogSetDestination(0);
    for (auto _ : state)
        KVLog("%s took %d ms", kText, kNumber);
    KVLogSetDestination(1);
}
BENCHMARK(disabledCall)->Name("DisabledCall/KVBase");

void formatKVBase(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(stringWithFormat("%s took %d ms", kText, kNumber));
}
BENCHMARK(formatKVBase)->Name("Format/KVBase");

void formatStdio(benchmark::State &state)
{
    for (auto _ : state) {
        char buffer[128];
        const int length = std::snprintf(buffer, sizeof buffer, "%s took %d ms", kText, kNumber);
        benchmark::DoNotOptimize(QString::fromUtf8(buffer, length));
    }
}
BENCHMARK(formatStdio)->Name("Format/stdio");

} // namespace
