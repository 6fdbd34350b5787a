#include "Platform/Services/FolderWatch_linux.h"

#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE |
                                   IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// Whether other machines may change files without this one being told: NFS, SMB, FUSE and the like.
bool isShared(const char *folder)
{
    constexpr std::uint32_t kinds[] = {0x6969,     0x517b,     0xfe534d42, 0xff534d42,
                                       0x65735546, 0x01021997, 0x00c36400};
    struct statfs about {};
    if (statfs(folder, &about) != 0)
        return true;
    return std::find(std::begin(kinds), std::end(kinds), static_cast<std::uint32_t>(about.f_type)) !=
           std::end(kinds);
}

} // namespace

bool FolderWatch::start(const QString &path)
{
    folder = QFile::encodeName(path);
    if (!queue.isValid() || owner != getpid()) {
        queue.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        owner = getpid();
        watched = -1;
    }
    struct stat about {};
    const bool canWatch =
        queue.isValid() && stat(folder.constData(), &about) == 0 && !isShared(folder.constData());
    device = about.st_dev;
    inode = about.st_ino;
    const int previous = watched;
    watched = canWatch ? inotify_add_watch(queue.get(), folder.constData(), kChanges) : -1;
    if (previous >= 0 && previous != watched)
        inotify_rm_watch(queue.get(), previous);
    // What waits was there before the reading that follows.
    Changes past;
    drain(&past);
    return watched >= 0;
}

FolderWatch::Changes FolderWatch::takeChanges()
{
    Changes changes;
    changes.everything = watched < 0 || owner != getpid() || !isSameFolder();
    if (!changes.everything)
        drain(&changes);
    return changes;
}

bool FolderWatch::isSameFolder() const
{
    struct stat about {};
    return stat(folder.constData(), &about) == 0 && about.st_dev == device && about.st_ino == inode;
}

/// Takes the events that are waiting. One without a name tells of the folder itself or of events that were
/// lost.
void FolderWatch::drain(Changes *changes) const
{
    alignas(inotify_event) std::array<char, 65536> events;
    ssize_t size = 0;
    while ((size = read(queue.get(), events.data(), events.size())) > 0) {
        for (const char *next = events.data(); next < events.data() + size;) {
            const auto *const event = reinterpret_cast<const inotify_event *>(next);
            if (event->len == 0)
                changes->everything = true;
            else
                changes->names.emplace_back(event->name);
            next += sizeof(inotify_event) + event->len;
        }
    }
}

} // namespace KVBase
