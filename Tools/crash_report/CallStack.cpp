#include "crash_report/CallStack.h"

#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <sys/uio.h>

#include <array>
#include <cstdlib>
#include <memory>

namespace crashreport
{

namespace
{

constexpr std::size_t kMostFrames = 200;
constexpr std::size_t kMostThreads = 200;

struct DwflEnd {
    void operator()(Dwfl *session) const { dwfl_end(session); }
};
using Session = std::unique_ptr<Dwfl, DwflEnd>;

/// Addresses as the unwinder gives them; `isCall` says that the address is where a call returns to.
struct RawFrame {
    std::uint64_t address;
    bool isCall;
};

struct RawStack {
    int thread = 0;
    std::vector<RawFrame> frames;
    bool isCut = false;
};

/// The crashed thread's registers and memory for the unwinder.
struct CrashedThread {
    const KVBase::CrashNotice *notice;
    std::array<Dwarf_Word, KVBase::CrashNotice::kMostRegisters> registers;
    bool isHandedOut = false;
};

Session openProcess(int process)
{
    static const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, dwfl_standard_find_debuginfo, nullptr,
                                             nullptr};
    Session session(dwfl_begin(&callbacks));
    if (session == nullptr || dwfl_linux_proc_report(session.get(), process) != 0)
        return nullptr;
    dwfl_report_end(session.get(), nullptr, nullptr);
    return session;
}

bool readWord(int process, std::uint64_t address, std::uint64_t *word)
{
    iovec local{word, sizeof *word};
    iovec remote{reinterpret_cast<void *>(address), sizeof *word};
    return process_vm_readv(process, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(sizeof *word);
}

int collectFrame(Dwfl_Frame *frame, void *argument)
{
    auto &stack = *static_cast<RawStack *>(argument);
    if (stack.frames.size() == kMostFrames) {
        stack.isCut = true;
        return DWARF_CB_ABORT;
    }
    Dwarf_Addr address = 0;
    bool isActivation = false;
    if (!dwfl_frame_pc(frame, &address, &isActivation))
        return DWARF_CB_ABORT;
    stack.frames.push_back({address, !isActivation});
    return DWARF_CB_OK;
}

pid_t nextThread(Dwfl *, void *argument, void **threadArgument)
{
    auto &crashed = *static_cast<CrashedThread *>(argument);
    if (crashed.isHandedOut)
        return 0;
    crashed.isHandedOut = true;
    *threadArgument = argument;
    return crashed.notice->thread;
}

bool readMemory(Dwfl *, Dwarf_Addr address, Dwarf_Word *result, void *argument)
{
    std::uint64_t word = 0;
    if (!readWord(static_cast<CrashedThread *>(argument)->notice->process, address, &word))
        return false;
    *result = word;
    return true;
}

bool setRegisters(Dwfl_Thread *thread, void *argument)
{
    const auto &crashed = *static_cast<CrashedThread *>(argument);
    const unsigned count = crashed.notice->registerCount;
#if defined(__aarch64__)
    dwfl_thread_state_register_pc(thread, crashed.registers[32]);
    return dwfl_thread_state_registers(thread, 0, count - 1, crashed.registers.data());
#else
    return dwfl_thread_state_registers(thread, 0, count, crashed.registers.data());
#endif
}

/// A call through a bad pointer leaves an address where no code is: the caller's is where a return would go.
bool stepOutOfNowhere(Dwfl *session, CrashedThread *crashed)
{
    const std::uint64_t address = crashed->notice->programCounter;
    if (dwfl_addrmodule(session, address) != nullptr)
        return false;
#if defined(__x86_64__)
    constexpr int kStackPointer = 7;
    constexpr int kProgramCounter = 16;
    std::uint64_t word = 0;
    if (!readWord(crashed->notice->process, crashed->registers[kStackPointer], &word))
        return false;
    crashed->registers[kProgramCounter] = word;
    crashed->registers[kStackPointer] += sizeof word;
#elif defined(__aarch64__)
    crashed->registers[32] = crashed->registers[30];
#endif
    return true;
}

RawStack unwindCrashedThread(Dwfl *session, const KVBase::CrashNotice &notice)
{
    static const Dwfl_Thread_Callbacks callbacks = {nextThread,   nullptr, readMemory,
                                                    setRegisters, nullptr, nullptr};
    CrashedThread crashed{&notice, {}, false};
    for (std::size_t i = 0; i < notice.registerCount && i < crashed.registers.size(); ++i)
        crashed.registers[i] = notice.registers[i];
    RawStack stack{notice.thread, {}, false};
    const bool cameFromNowhere = stepOutOfNowhere(session, &crashed);
    if (cameFromNowhere)
        stack.frames.push_back({notice.programCounter, false});
    if (notice.registerCount > 0 &&
        dwfl_attach_state(session, nullptr, notice.process, &callbacks, &crashed)) {
        dwfl_getthreads(
            session,
            [](Dwfl_Thread *thread, void *argument) {
                dwfl_thread_getframes(thread, collectFrame, argument);
                return static_cast<int>(DWARF_CB_OK);
            },
            &stack);
    }
    if (stack.frames.empty())
        stack.frames.push_back({notice.programCounter, false});
    else if (cameFromNowhere && stack.frames.size() > 1)
        stack.frames[1].isCall = true;
    return stack;
}

struct OtherThreads {
    int crashedThread;
    std::vector<RawStack> stacks;
};

int collectOtherThread(Dwfl_Thread *thread, void *argument)
{
    auto &others = *static_cast<OtherThreads *>(argument);
    const int identifier = dwfl_thread_tid(thread);
    if (identifier == others.crashedThread)
        return DWARF_CB_OK;
    RawStack stack{identifier, {}, false};
    dwfl_thread_getframes(thread, collectFrame, &stack);
    others.stacks.push_back(std::move(stack));
    return others.stacks.size() < kMostThreads ? DWARF_CB_OK : DWARF_CB_ABORT;
}

std::vector<RawStack> unwindOtherThreads(const KVBase::CrashNotice &notice)
{
    OtherThreads others{notice.thread, {}};
    const Session session = openProcess(notice.process);
    if (session != nullptr && dwfl_linux_proc_attach(session.get(), notice.process, false) == 0)
        dwfl_getthreads(session.get(), collectOtherThread, &others);
    return std::move(others.stacks);
}

std::string readableName(const char *symbol)
{
    int status = -1;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : symbol;
}

std::string sourcePlace(Dwfl_Module *module, std::uint64_t address)
{
    int line = 0;
    Dwfl_Line *const place = dwfl_module_getsrc(module, address);
    const char *const file =
        place != nullptr ? dwfl_lineinfo(place, nullptr, &line, nullptr, nullptr, nullptr) : nullptr;
    return file != nullptr ? std::string(file) + ':' + std::to_string(line) : std::string();
}

Frame describe(Dwfl *session, const RawFrame &raw)
{
    Frame frame;
    frame.address = raw.address;
    // A call at the very end of a function returns into the next one, so the look-up goes back into the call.
    const std::uint64_t place = raw.isCall ? raw.address - 1 : raw.address;
    Dwfl_Module *const module = dwfl_addrmodule(session, place);
    if (module == nullptr)
        return frame;
    const char *const path =
        dwfl_module_info(module, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    frame.module = path != nullptr ? path : "";
    GElf_Off offset = 0;
    GElf_Sym symbol;
    const char *const name = dwfl_module_addrinfo(module, place, &offset, &symbol, nullptr, nullptr, nullptr);
    if (name != nullptr) {
        frame.function = readableName(name);
        frame.offset = offset + (raw.address - place);
    }
    frame.source = sourcePlace(module, place);
    return frame;
}

ThreadStack describe(Dwfl *session, const RawStack &raw)
{
    ThreadStack stack{raw.thread, {}, raw.isCut};
    for (const RawFrame &frame : raw.frames)
        stack.frames.push_back(describe(session, frame));
    return stack;
}

std::string hexadecimal(const unsigned char *bytes, int count)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xf];
    }
    return text;
}

int collectModule(Dwfl_Module *module, void **, const char *name, Dwarf_Addr, void *argument)
{
    Module entry;
    Dwarf_Addr start = 0;
    Dwarf_Addr end = 0;
    dwfl_module_info(module, nullptr, &start, &end, nullptr, nullptr, nullptr, nullptr);
    entry.start = start;
    entry.end = end;
    entry.path = name;
    // Only a file that is open has a build identifier to show.
    GElf_Addr bias = 0;
    dwfl_module_getelf(module, &bias);
    const unsigned char *bytes = nullptr;
    GElf_Addr place = 0;
    const int count = dwfl_module_build_id(module, &bytes, &place);
    entry.buildIdentifier = hexadecimal(bytes, count);
    static_cast<std::vector<Module> *>(argument)->push_back(std::move(entry));
    return DWARF_CB_OK;
}

} // namespace

ProcessState readProcess(const KVBase::CrashNotice &notice)
{
    ProcessState state;
    const Session session = openProcess(notice.process);
    if (session == nullptr)
        return state;
    state.stacks.push_back(describe(session.get(), unwindCrashedThread(session.get(), notice)));
    for (const RawStack &stack : unwindOtherThreads(notice))
        state.stacks.push_back(describe(session.get(), stack));
    dwfl_getmodules(session.get(), collectModule, &state.modules, 0);
    return state;
}

} // namespace crashreport
