#include "crash_report/ReportText.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using KVBase::CrashNotice;

/// The dying process waits: it is never kept longer than this.
constexpr unsigned kSecondsForStacks = 20;
constexpr unsigned kSecondsWithoutStacks = 10;

bool readNotice(CrashNotice *notice)
{
    char *position = reinterpret_cast<char *>(notice);
    std::size_t left = sizeof *notice;
    while (left > 0) {
        const ssize_t count = read(STDIN_FILENO, position, left);
        if (count == 0 || (count < 0 && errno != EINTR))
            return false;
        if (count > 0) {
            position += count;
            left -= static_cast<std::size_t>(count);
        }
    }
    return notice->magic == CrashNotice::kMagic;
}

bool writeAll(int fd, const std::string &text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(fd, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0)
            done += static_cast<std::size_t>(count);
    }
    return true;
}

std::string reportName(const CrashNotice &notice, const timespec &when)
{
    std::tm local = {};
    localtime_r(&when.tv_sec, &local);
    char moment[64];
    std::strftime(moment, sizeof moment, "%Y-%m-%d-%H%M%S", &local);
    return std::string(notice.program) + '_' + moment + '_' + std::to_string(notice.process) + ".crash";
}

/// The report appears under its name when it is complete. Until then it has a hidden one, which no one takes
/// for a report.
bool storeReport(const char *folder, const std::string &name, const std::string &text)
{
    const int directory = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return false;
    const std::string unfinished = '.' + name + ".part";
    unlinkat(directory, unfinished.c_str(), 0);
    const int fd =
        openat(directory, unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    bool stored = fd >= 0 && writeAll(fd, text);
    if (fd >= 0)
        stored = close(fd) == 0 && stored;
    stored = stored && renameat(directory, unfinished.c_str(), directory, name.c_str()) == 0;
    if (!stored)
        unlinkat(directory, unfinished.c_str(), 0);
    close(directory);
    return stored;
}

} // namespace

/// Started by a dying process, which hands over a notice on standard input and waits: writes the crash
/// report. With the argument "brief" without the call stacks, for a process whose memory leads the unwinder
/// astray.
int main(int argc, char **argv)
{
    const bool isBrief = argc > 1 && std::strcmp(argv[1], "brief") == 0;
    std::signal(SIGALRM, SIG_DFL);
    std::signal(SIGXFSZ, SIG_IGN);
    alarm(isBrief ? kSecondsWithoutStacks : kSecondsForStacks);
    timespec when = {};
    clock_gettime(CLOCK_REALTIME, &when);
    CrashNotice notice;
    if (!readNotice(&notice)) {
        std::fputs("kvbase-crash-report is started by a process that crashes.\n", stderr);
        return 64;
    }
    const crashreport::ProcessState state =
        isBrief ? crashreport::ProcessState() : crashreport::readProcess(notice);
    const std::string text = crashreport::reportText(notice, state, when);
    return storeReport(notice.folder, reportName(notice, when), text) ? 0 : 1;
}
