#pragma once

#include "Platform/FileDescriptor.h"

#include <QtCore/QString>

#include <vector>

#include <sys/types.h>

namespace KVBase
{

/// Tells at the cost of two system calls what has changed in a folder. One thread at a time.
class FolderWatch {
public:
    struct Changes {
        /// Anything may have changed.
        bool everything = false;

        /// Else what the entries are called that were made, removed, renamed or written, in no order.
        std::vector<QByteArray> names;
    };

    /// Watches the folder at `path` from now on: what changes while it is read afterwards counts as a change.
    /// false when it cannot be watched: it is missing or lies on a network.
    bool start(const QString &path);

    /// What has changed since `start` or the last call; everything when the folder is not watched, is another
    /// one now, or this is a forked child.
    Changes takeChanges();

private:
    bool isSameFolder() const;
    void drain(Changes *changes) const;

    FileDescriptor queue;
    int watched = -1;
    pid_t owner = 0;
    QByteArray folder;
    dev_t device = 0;
    ino_t inode = 0;
};

} // namespace KVBase
