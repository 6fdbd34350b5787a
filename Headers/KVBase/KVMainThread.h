#pragma once

#include <KVBase/KVExport.h>

class QThread;

namespace KVBase
{

/// Which thread is the main one. Where the platform knows (while an application object exists) it is asked at
/// every call; otherwise the thread that was marked answers. Any thread; does not block.
class KV_EXPORT KVMainThread {
public:
    /// The main thread; null without a native answer when none was marked.
    static QThread *mainThread();

    /// Whether the caller runs on it; false without a native answer when none was marked.
    static bool isMainThread();

    /// Marks the caller's thread, to be called once from the main thread before there are others. Called
    /// again it moves the mark. The thread is not retained.
    static void markCurrentThreadAsMainThread();
};

} // namespace KVBase
