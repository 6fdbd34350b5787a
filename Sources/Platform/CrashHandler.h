#pragma once

#include "Platform/CrashNotice.h"

#include <QtCore/QByteArray>

/// The part of the crash reporter that runs in the dying process.
namespace KVBase::CrashHandler
{

/// The path of the program that writes the report, which lies in the folder "libexec" beside this library or
/// in one of the folders above it; empty when it is missing.
QByteArray reportProgram();

bool isInstalled();

/// Handles the fatal signals and gives the calling thread an alternate stack. `notice` says what is known
/// beforehand.
void install(const CrashNotice &notice, const QByteArray &reportProgram);

/// Puts back what was there before, except for a signal whose handler somebody has replaced since.
void uninstall();

/// Gives the calling thread a stack for signal handlers until it ends, unless it has one.
void giveAlternateStack();

} // namespace KVBase::CrashHandler
