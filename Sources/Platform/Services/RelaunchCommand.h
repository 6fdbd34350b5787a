#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// The shell's command that waits for the process and starts the program. It reads its environment only, so
/// no path can break out of it:
///
/// | Variable | Holds |
/// |---|---|
/// | LAUNCH_PATH | the bundle's path |
/// | LAUNCH_PROGRAM | the program to start, absolute |
/// | LAUNCH_PROCESS | the identifier of the process to wait for |
/// | LAUNCH_START | when that process started, unlike a later one of the same identifier |
/// | LAUNCH_LANGUAGE | the value of LANGUAGE for the new process |
KV_EXPORT QByteArray relaunchCommand();

/// What has to be started to get this process's application again: the image file of an AppImage, else the
/// link through which it was started, else its executable, a newer one in its place included.
KV_EXPORT QString ownProgram();

/// When a process started, in the kernel's units, as text; empty when there is none.
KV_EXPORT QByteArray startTimeOfProcess(std::int64_t process);

/// Runs the command for `program`, which belongs to the bundle at `path`, and returns at once. Changes the
/// environment of this process: no other thread may read it meanwhile.
KV_EXPORT void startAfterExit(const QString &path, const QString &program, std::int64_t process);

/// The value that a variable had when this process started, whatever was set since; empty without one.
KV_EXPORT QByteArray initialEnvironmentValue(const char *name);

} // namespace KVBase
