#pragma once

#include <KVBase/KVExport.h>

namespace KVBase
{

/// Writes a crash report when this process dies of a fatal signal, where `CrashReport` finds it at the next
/// start.
///
/// The report is UTF-8 text: the program and its version, the signal, the call stacks of all threads, the
/// registers of the one that crashed, and the modules loaded. It is readable by its owner alone, appears
/// under its name only when it is complete, and ends with the line "End of report". It is written by a
/// program of its own, `kvbase-crash-report`, while the dying process waits, for 30 seconds at the most. Then
/// the signal takes its course: handlers that were there before are called, a core file is written as ever.
///
/// One thread at a time, except from a signal handler.
class KV_EXPORT KVCrashReporter {
public:
    /// Handles SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGSYS and SIGABRT from now on. The name of the
    /// program, its version and the report folder, which is made when it is missing, are noted now. Also
    /// gives the calling thread a stack to handle the overflow of its own on; another thread that wants that
    /// calls `install` too, which changes nothing else. False, and nothing is handled, when the report
    /// program is missing or there is no Library folder.
    static bool install();

    /// Puts back the handlers that were there before. Does nothing when none is installed.
    static void uninstall();
};

} // namespace KVBase
