#pragma once

#include "Platform/FileDescriptor.h"

#include <QtCore/QString>

#include <sys/types.h>

namespace KVBase
{

/// Tells at the cost of two system calls whether anything in a folder has changed. One thread at a time.
class FolderWatch {
public:
    /// Watches the folder at `path` from now on: what changes while it is read afterwards counts as a change.
    void start(const QString &path);

    /// Whether the folder or a file in it may have changed since `start`. Always true when it cannot be
    /// watched: it is missing, lies on a network, or this is a forked child.
    bool mayHaveChanged();

private:
    bool isSameFolder() const;
    bool drain() const;

    FileDescriptor queue;
    int watched = -1;
    pid_t owner = 0;
    QByteArray folder;
    dev_t device = 0;
    ino_t inode = 0;
};

} // namespace KVBase
