#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>

namespace KVBase
{

/// Finding, starting and restarting applications.
struct KV_EXPORT Applications {
    virtual ~Applications();
    static Applications *makeDefault();

    /// Path of the installed application with that creator code: a bundle with the signature, or the program
    /// of a desktop entry that names it. nil for 0 and when there is none. Any thread.
    virtual QString applicationForCreator(OSType creator) = 0;

    /// Opens a file or folder with the application that the desktop has for it, without waiting for it. False
    /// when nothing was started.
    virtual bool openFile(const QString &path) = 0;

    /// Starts the application bundle or program at `path`, detached from this process. False when nothing was
    /// started.
    virtual bool openApplication(const QString &path) = 0;

    /// Starts the detached command that waits, polling every 0.2 s and at most 3000 times, until this process
    /// has gone, and then starts the application at `path`; if the process is still there, it starts nothing.
    /// Returns at once. Sets LAUNCH_PATH in the process's environment, so no other thread may read the
    /// environment meanwhile.
    virtual void relaunchAfterExit(const QString &path) = 0;
};

extern template class KV_EXPORT Service<Applications>;

} // namespace KVBase
