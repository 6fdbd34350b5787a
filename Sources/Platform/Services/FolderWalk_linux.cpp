#include "Platform/Services/FolderWalk_linux.h"

#include "Platform/Services/FileAttributes_linux.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

constexpr std::size_t kBufferSize = 32 * 1024;
constexpr std::size_t kOpenLevels = 16;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;

/// What getdents64 writes, one after the other.
struct RawEntry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
    char name[1];
};

int openRetrying(int folder, const char *name, int flags)
{
    int descriptor;
    do
        descriptor = ::openat(folder, name, flags);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

} // namespace

FolderWalk::FolderWalk(const Visitor &visitor) : visit(visitor) {}

bool FolderWalk::run(const char *path)
{
    if (!push(FileDescriptor(openRetrying(AT_FDCWD, path, kFolderFlags)), {}))
        return false;
    walkLevels();
    return true;
}

bool FolderWalk::push(FileDescriptor descriptor, std::string_view name)
{
    struct stat status;
    if (!descriptor.isValid() || ::fstat(descriptor.get(), &status) != 0)
        return false;
    if (levels.size() >= kOpenLevels)
        parkHighestOpenLevel();
    Level level;
    level.pathLength = folder.size();
    level.descriptor = std::move(descriptor);
    level.buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    level.device = status.st_dev;
    level.inode = status.st_ino;
    if (!folder.empty())
        folder.push_back('/');
    folder.append(name);
    levels.push_back(std::move(level));
    return true;
}

void FolderWalk::parkHighestOpenLevel()
{
    Level &level = levels[levels.size() - kOpenLevels];
    level.descriptor.reset();
    level.buffer.reset();
    level.filled = level.position = 0;
}

/// Leaves the deepest level. False when its parent could not be found again: the tree was changed above the
/// walk, and what is left of it has no place any more.
bool FolderWalk::pop()
{
    const Level left = std::move(levels.back());
    levels.pop_back();
    folder.resize(left.pathLength);
    return levels.empty() || levels.back().descriptor.isValid() || reopen(levels.back(), left.descriptor);
}

bool FolderWalk::reopen(Level &parent, const FileDescriptor &child) const
{
    FileDescriptor descriptor(openRetrying(child.get(), "..", kFolderFlags | O_NOFOLLOW));
    struct stat status;
    if (!descriptor.isValid() || ::fstat(descriptor.get(), &status) != 0)
        return false;
    if (status.st_dev != parent.device || status.st_ino != parent.inode)
        return false;
    if (::lseek(descriptor.get(), parent.offset, SEEK_SET) < 0)
        return false;
    parent.descriptor = std::move(descriptor);
    parent.buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    return true;
}

bool FolderWalk::fill(Level &level) const
{
    long got;
    do
        got = ::syscall(SYS_getdents64, level.descriptor.get(), level.buffer.get(), kBufferSize);
    while (got < 0 && errno == EINTR);
    level.position = 0;
    level.filled = got > 0 ? static_cast<std::size_t>(got) : 0;
    return got > 0;
}

void FolderWalk::walkLevels()
{
    while (!levels.empty()) {
        Level &level = levels.back();
        if (level.position >= level.filled && !fill(level)) {
            if (!pop())
                return;
            continue;
        }
        std::string_view entered;
        const WalkStep step = visitNext(level, entered);
        if (step == WalkStep::Stop)
            return;
        if (step == WalkStep::GoOn && !entered.empty())
            push(openBelow(level, entered), std::string(entered));
    }
}

/// Hands the next entry to the visitor; `enteredName` is set when it is a folder.
WalkStep FolderWalk::visitNext(Level &level, std::string_view &enteredName)
{
    const auto *entry = reinterpret_cast<const RawEntry *>(level.buffer.get() + level.position);
    level.position += entry->length;
    level.offset = entry->offset;
    const char *const name = level.buffer.get() +
                             (reinterpret_cast<const char *>(entry) - level.buffer.get()) +
                             offsetof(RawEntry, name);
    if (isDotOrDotDot(name))
        return WalkStep::SkipFolder;
    struct stat status;
    FolderEntry item{folder, std::string_view(name), nullptr};
    if (::fstatat(level.descriptor.get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return visit(item);
    const FileAttributes attributes = attributesOfStatus(status);
    item.attributes = &attributes;
    if (attributes.isFolder())
        enteredName = item.name;
    return visit(item);
}

FileDescriptor FolderWalk::openBelow(const Level &level, std::string_view name) const
{
    return FileDescriptor(openRetrying(level.descriptor.get(), name.data(), kFolderFlags | O_NOFOLLOW));
}

} // namespace KVBase
