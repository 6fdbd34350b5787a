#pragma once

#include "crash_report/CallStack.h"

#include <ctime>
#include <string>

namespace crashreport
{

/// The last line of a report that is complete.
inline constexpr char kCompletenessMarker[] = "End of report";

/// The whole report as valid UTF-8, the marker at its end. `when` is the moment of the crash.
std::string reportText(const KVBase::CrashNotice &notice, const ProcessState &state, const timespec &when);

} // namespace crashreport
