#pragma once

#include "Platform/CrashNotice.h"

#include <cstdint>
#include <string>
#include <vector>

namespace crashreport
{

struct Frame {
    std::uint64_t address = 0;
    std::string module;
    std::string function; // empty when unknown
    std::uint64_t offset = 0;
    std::string source; // "file:line", empty when unknown
};

struct ThreadStack {
    int thread = 0;
    std::vector<Frame> frames;
    bool isCut = false; // there were more frames than are reported
};

struct Module {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::string path;
    std::string buildIdentifier;
};

/// What can be seen of a process that stands still in its signal handler.
struct ProcessState {
    std::vector<ThreadStack> stacks; // the crashed thread's first
    std::vector<Module> modules;
};

/// Unwinds the crashed thread from the registers that were noted, so that the handler's own frames do not
/// show, and the other threads as they stand. What cannot be seen is left out.
ProcessState readProcess(const KVBase::CrashNotice &notice);

} // namespace crashreport
