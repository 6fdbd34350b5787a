#include "Platform/Services/FileReplacement_linux.h"

#include "Platform/FileDescriptor.h"

#include <QtCore/QRandomGenerator>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <limits.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace KVBase
{

namespace
{

constexpr int kLinkLimit = 40;
constexpr int kNameAttempts = 100;

std::string folderOf(const std::string &path)
{
    const std::size_t separator = path.find_last_of('/');
    if (separator == std::string::npos)
        return ".";
    return separator == 0 ? "/" : path.substr(0, separator);
}

/// The file that a chain of links ends at, there or not; nothing for a loop. The folders above it are left to
/// the system.
std::optional<std::string> endOfLinks(std::string path)
{
    char target[PATH_MAX];
    for (int links = 0; links < kLinkLimit; ++links) {
        const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
        if (length < 0)
            return path;
        const std::string text(target, static_cast<std::size_t>(length));
        path = text.starts_with('/') ? text : folderOf(path).append("/").append(text);
    }
    return std::nullopt;
}

/// A file under a fresh name beside `path`. Unless it is moved into place it is removed again.
class FileBeside {
public:
    FileBeside(const std::string &path, mode_t mode)
    {
        for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
            const auto number = QRandomGenerator::system()->generate64();
            name = folderOf(path) + "/.kvbase-" + std::to_string(number) + ".part";
            descriptor.reset(
                ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
            if (descriptor.isValid() || (errno != EEXIST && errno != EINTR))
                return;
        }
    }

    ~FileBeside()
    {
        if (descriptor.isValid() && !moved)
            ::unlink(name.c_str());
    }

    FileBeside(const FileBeside &) = delete;
    FileBeside &operator=(const FileBeside &) = delete;

    bool isValid() const { return descriptor.isValid(); }
    int number() const { return descriptor.get(); }

    bool moveTo(const std::string &path)
    {
        moved = ::rename(name.c_str(), path.c_str()) == 0;
        return moved;
    }

private:
    std::string name;
    FileDescriptor descriptor;
    bool moved = false;
};

/// Owner first: a change of owner clears the set-id bits. Where the owner cannot be kept they stay cleared.
bool keepOwnerAndMode(int descriptor, const struct stat &old)
{
    mode_t mode = old.st_mode & 07777;
    struct stat made;
    if (::fstat(descriptor, &made) != 0)
        return false;
    const bool sameOwner = made.st_uid == old.st_uid && made.st_gid == old.st_gid;
    if (!sameOwner && ::fchown(descriptor, old.st_uid, old.st_gid) != 0) {
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
        if (made.st_gid != old.st_gid && ::fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) != 0)
            mode &= ~static_cast<mode_t>(S_IRWXG);
    }
    return ::fchmod(descriptor, mode) == 0;
}

/// The rename is durable once its folder is; a file system that cannot flush a folder has done what it can.
void flushFolder(const std::string &path)
{
    const FileDescriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.isValid())
        ::fsync(folder.get());
}

bool flush(int descriptor)
{
    int result;
    do
        result = ::fsync(descriptor);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

bool replaceFile(const QByteArray &path, const QByteArray &data, const FileWriteOptions &options)
{
    std::optional<std::string> target = path.toStdString();
    if (options.followsLink)
        target = endOfLinks(*target);
    if (!target || target->empty())
        return false;
    struct stat old;
    const bool replaces = ::lstat(target->c_str(), &old) == 0;
    if (replaces && !S_ISREG(old.st_mode) && !(S_ISLNK(old.st_mode) && !options.followsLink))
        return false;
    const bool keeps = replaces && S_ISREG(old.st_mode);
    FileBeside beside(*target, keeps ? kPrivateFileMode : options.newFileMode);
    if (!beside.isValid() ||
        !writeFully(beside.number(), data.constData(), static_cast<std::size_t>(data.size())))
        return false;
    // Not before: what an ordinary user writes loses its set-id bits.
    if (keeps && !keepOwnerAndMode(beside.number(), old))
        return false;
    if (!flush(beside.number()) || !beside.moveTo(*target))
        return false;
    flushFolder(*target);
    return true;
}

} // namespace KVBase
