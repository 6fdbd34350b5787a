#include "ScratchFolder.h"

#include <KVBase/KVSystemProfiler.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace
{

/// The programs lie beside this one.
std::string programNamed(const char *name)
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string self(path, length < 0 ? 0 : static_cast<std::size_t>(length));
    return self.substr(0, self.rfind('/') + 1) + name;
}

double seconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// The time that processors have spent on this process, or on its children that have ended.
double processorTime(int who)
{
    rusage usage = {};
    getrusage(who, &usage);
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Starts the program with a log file that does not exist yet, and waits for its end.
void start(benchmark::State &state, const char *name)
{
    const std::string program = programNamed(name);
    const std::string log = scratchFolder() + "/App.log";
    char *const arguments[] = {const_cast<char *>(program.c_str()), const_cast<char *>(log.c_str()), nullptr};
    for (auto _ : state) {
        const double before = processorTime(RUSAGE_CHILDREN);
        pid_t child = -1;
        int status = -1;
        if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(child, &status, 0) != child || status != 0)
            std::abort();
        state.SetIterationTime(processorTime(RUSAGE_CHILDREN) - before);
        unlink(log.c_str());
    }
}

void startWithKVBase(benchmark::State &state) { start(state, "StartWithKVBase"); }
void startWithQt(benchmark::State &state) { start(state, "StartWithQt"); }

void profile(benchmark::State &state)
{
    for (auto _ : state) {
        const double before = processorTime(RUSAGE_SELF);
        if (KVBase::KVSystemProfiler::generateSystemProfileAsXML(false).isEmpty())
            std::abort();
        state.SetIterationTime(processorTime(RUSAGE_SELF) - before);
    }
}

// Processor time, which other programs do not lengthen: none of the three waits for anything. The difference
// of the first two is what the library and the opening of its log add to a program's start.
BENCHMARK(startWithKVBase)->Name("Start/KVBase")->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(startWithQt)->Name("Start/Qt")->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(profile)->Name("Profile/KVBase")->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace
