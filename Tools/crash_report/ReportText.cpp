#include "crash_report/ReportText.h"

#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/utsname.h>
#include <unistd.h>

namespace crashreport
{

namespace
{

[[gnu::format(printf, 2, 3)]] void append(std::string *text, const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length > 0) {
        std::string piece(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(piece.data(), piece.size(), format, again);
        text->append(piece, 0, static_cast<std::size_t>(length));
    }
    va_end(again);
}

std::string processFile(int process, const std::string &name)
{
    std::ifstream file("/proc/" + std::to_string(process) + '/' + name);
    std::string text(std::istreambuf_iterator<char>(file), {});
    while (!text.empty() && (text.back() == '\n' || text.back() == '\0'))
        text.pop_back();
    return text;
}

std::string executablePath(int process)
{
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/" + std::to_string(process) + "/exe").c_str(), path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string("unknown");
}

const char *codeName(int signal, int code)
{
    if (code == SI_USER)
        return "sent by a process";
    if (code == SI_TKILL)
        return "sent by the process itself";
    if (signal == SIGSEGV && code == SEGV_MAPERR)
        return "address not mapped";
    if (signal == SIGSEGV && code == SEGV_ACCERR)
        return "access not permitted";
    if (signal == SIGFPE && code == FPE_INTDIV)
        return "integer division by zero";
    if (signal == SIGBUS && code == BUS_ADRERR)
        return "address does not exist";
    return "see sigaction(2)";
}

bool hasFaultAddress(const KVBase::CrashNotice &notice)
{
    return notice.code > 0 && (notice.signal == SIGSEGV || notice.signal == SIGBUS ||
                               notice.signal == SIGILL || notice.signal == SIGFPE);
}

void appendField(std::string *text, const char *name, const std::string &value)
{
    append(text, "%-14s %s\n", (std::string(name) + ':').c_str(), value.empty() ? "unknown" : value.c_str());
}

std::string dateText(const timespec &when)
{
    std::tm local = {};
    localtime_r(&when.tv_sec, &local);
    char day[64];
    char zone[16];
    std::strftime(day, sizeof day, "%Y-%m-%d %H:%M:%S", &local);
    std::strftime(zone, sizeof zone, "%z", &local);
    std::string text(day);
    append(&text, ".%03ld %s", when.tv_nsec / 1000000, zone);
    return text;
}

std::string kernelText()
{
    utsname names = {};
    uname(&names);
    return std::string(names.sysname) + ' ' + names.release + ' ' + names.machine;
}

void appendHead(const KVBase::CrashNotice &notice, const timespec &when, std::string *text)
{
    appendField(text, "Program", std::string(notice.program) + " [" + std::to_string(notice.process) + ']');
    appendField(text, "Path", executablePath(notice.process));
    appendField(text, "Identifier", notice.identifier);
    appendField(text, "Version", notice.version);
    appendField(text, "Date", dateText(when));
    appendField(text, "System", notice.system);
    appendField(text, "Kernel", kernelText());

    std::string signal = std::string("SIG") + sigabbrev_np(notice.signal);
    append(&signal, " (%d), code %d: %s", notice.signal, notice.code, codeName(notice.signal, notice.code));
    appendField(text, "Signal", signal);
    if (hasFaultAddress(notice)) {
        std::string address;
        append(&address, "0x%016llx", static_cast<unsigned long long>(notice.faultAddress));
        appendField(text, "Address", address);
    }
}

std::string fileName(const std::string &path) { return path.substr(path.rfind('/') + 1); }

void appendFrame(std::size_t number, const Frame &frame, std::string *text)
{
    append(text, "%-4zu%-32s 0x%016llx", number,
           frame.module.empty() ? "???" : fileName(frame.module).c_str(),
           static_cast<unsigned long long>(frame.address));
    if (!frame.function.empty())
        append(text, " %s + %llu", frame.function.c_str(), static_cast<unsigned long long>(frame.offset));
    if (!frame.source.empty())
        append(text, " (%s)", frame.source.c_str());
    *text += '\n';
}

void appendStack(const KVBase::CrashNotice &notice, const ThreadStack &stack, std::string *text)
{
    const std::string name = processFile(notice.process, "task/" + std::to_string(stack.thread) + "/comm");
    append(text, "\nThread %d \"%s\"%s:\n", stack.thread, name.c_str(),
           stack.thread == notice.thread ? ", crashed" : "");
    for (std::size_t i = 0; i < stack.frames.size(); ++i)
        appendFrame(i, stack.frames[i], text);
    if (stack.isCut)
        *text += "... further frames are left out\n";
}

std::string registerName(std::size_t number)
{
#if defined(__x86_64__)
    static const char *const names[] = {"rax", "rdx", "rcx", "rbx", "rsi", "rdi", "rbp", "rsp", "r8",
                                        "r9",  "r10", "r11", "r12", "r13", "r14", "r15", "rip"};
    return number < std::size(names) ? names[number] : "";
#else
    return number == 31 ? "sp" : number == 32 ? "pc" : 'x' + std::to_string(number);
#endif
}

void appendRegisters(const KVBase::CrashNotice &notice, std::string *text)
{
    append(text, "\nRegisters of thread %d:\n", notice.thread);
    for (std::size_t i = 0; i < notice.registerCount; ++i) {
        const bool endsLine = i % 4 == 3 || i + 1 == notice.registerCount;
        append(text, "%5s: 0x%016llx%s", registerName(i).c_str(),
               static_cast<unsigned long long>(notice.registers[i]), endsLine ? "\n" : "");
    }
}

void appendModules(const std::vector<Module> &modules, std::string *text)
{
    *text += "\nModules:\n";
    for (const Module &module : modules) {
        append(text, "0x%016llx - 0x%016llx %s <%s>\n", static_cast<unsigned long long>(module.start),
               static_cast<unsigned long long>(module.end), module.path.c_str(),
               module.buildIdentifier.c_str());
    }
}

/// The number of bytes of the well-formed UTF-8 sequence at `position`, 0 when there is none.
std::size_t sequenceLength(const std::string &text, std::size_t position)
{
    const auto byte = [&](std::size_t i) {
        return position + i < text.size() ? static_cast<unsigned char>(text[position + i]) : 0u;
    };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xc2 ? 0
                               : first < 0xe0 ? 2
                               : first < 0xf0 ? 3
                               : first < 0xf5 ? 4
                                              : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80)
            return 0;
    }
    const bool isOverlong = (first == 0xe0 && byte(1) < 0xa0) || (first == 0xf0 && byte(1) < 0x90);
    const bool isOutside = (first == 0xed && byte(1) > 0x9f) || (first == 0xf4 && byte(1) > 0x8f);
    return isOverlong || isOutside ? 0 : length;
}

/// Paths and thread names are any bytes: whatever is no text becomes "?".
std::string validText(const std::string &text)
{
    std::string valid;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t length = sequenceLength(text, position);
        if (length == 0 || text[position] == '\0')
            valid += '?';
        else
            valid.append(text, position, length);
        position += length == 0 ? 1 : length;
    }
    return valid;
}

} // namespace

std::string reportText(const KVBase::CrashNotice &notice, const ProcessState &state, const timespec &when)
{
    std::string text;
    appendHead(notice, when, &text);
    if (state.stacks.empty())
        text += "\nThe call stacks could not be read.\n";
    for (const ThreadStack &stack : state.stacks)
        appendStack(notice, stack, &text);
    appendRegisters(notice, &text);
    appendModules(state.modules, &text);
    text += '\n';
    text += kCompletenessMarker;
    text += '\n';
    return validText(text);
}

} // namespace crashreport
