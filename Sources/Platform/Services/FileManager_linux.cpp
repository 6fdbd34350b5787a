#include "Platform/Services/FileManager.h"

#include "Platform/FileDescriptor.h"
#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileAttributes_linux.h"
#include "Platform/Services/FileReferences.h"
#include "Platform/Services/FileReplacement_linux.h"
#include "Platform/Services/FolderWalk_linux.h"
#include "Platform/Services/Volumes.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace KVBase
{

using namespace NSPathUtilities;

namespace
{

constexpr OSStatus kNoError = 0;
constexpr OSStatus kIOError = -36;
constexpr OSStatus kBadName = -37;
constexpr OSStatus kFileNotFound = -43;
constexpr OSStatus kWriteProtected = -44;
constexpr OSStatus kParameterError = -50;
constexpr OSStatus kPermissionError = -54;
constexpr OSStatus kMemoryFull = -108;
constexpr OSStatus kFolderNotFound = -120;
constexpr OSStatus kAccessDenied = -5000;

constexpr std::int32_t kParentOfRoot = 1;
constexpr std::size_t kLongestSpecName = 63;

std::optional<struct stat> statusOf(const QString &path, bool followLink)
{
    const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
    struct stat status;
    if (!bytes || ::fstatat(AT_FDCWD, bytes->constData(), &status, followLink ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return status;
}

bool isAccessible(const QString &path, int how)
{
    const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
    return bytes && ::faccessat(AT_FDCWD, bytes->constData(), how, AT_EACCESS) == 0;
}

std::string folderOf(const std::string &path)
{
    const std::size_t end = path.find_last_not_of('/');
    const std::size_t separator = end == std::string::npos ? end : path.find_last_of('/', end);
    if (separator == std::string::npos)
        return path.starts_with('/') ? "/" : ".";
    return path.substr(0, separator + 1);
}

OSStatus statusOfError(int error, const QByteArray &path)
{
    struct stat parent;
    switch (error) {
    case ENOENT:
        return ::stat(folderOf(path.toStdString()).c_str(), &parent) == 0 ? kFileNotFound : kFolderNotFound;
    case ENOTDIR:
        return kFolderNotFound;
    case ELOOP:
        return kFileNotFound;
    case EACCES:
        return kAccessDenied;
    case EPERM:
        return kPermissionError;
    case EROFS:
        return kWriteProtected;
    case ENAMETOOLONG:
        return kBadName;
    case ENOMEM:
        return kMemoryFull;
    default:
        return kIOError;
    }
}

struct FreeMemory {
    void operator()(char *text) const { std::free(text); }
};

std::string resolveBytes(const char *path)
{
    const std::unique_ptr<char, FreeMemory> resolved(::realpath(path, nullptr));
    return resolved != nullptr ? std::string(resolved.get()) : std::string();
}

/// The path of an item with the folders above it resolved; the item itself may be a link.
std::string spelledPath(const QByteArray &path, bool followLink)
{
    // The system follows a link before a trailing separator, too.
    if (followLink || path.endsWith('/'))
        return resolveBytes(path.constData());
    std::string bytes = path.toStdString();
    const std::string name = bytes.substr(bytes.find_last_of('/') + 1);
    if (name == "." || name == "..")
        return resolveBytes(bytes.c_str());
    const std::string folder = resolveBytes(folderOf(bytes).c_str());
    if (folder.empty())
        return folder;
    return folder == "/" ? folder + name : folder + '/' + name;
}

/// Fills the parts of a record that are known, so that a caller sees the volume even of a name that is too
/// long.
OSStatus fillSpec(const std::string &path, std::int16_t volume, FSSpec *spec)
{
    struct stat parent;
    const std::string folder = folderOf(path);
    if (::stat(folder.c_str(), &parent) != 0)
        return statusOfError(errno, QByteArray::fromStdString(path));
    const std::string name = path == "/" ? path : path.substr(path.find_last_of('/') + 1);
    spec->vRefNum = volume;
    spec->parID = path == "/" ? kParentOfRoot : folderIdentifier(parent.st_dev, parent.st_ino);
    if (name.size() > kLongestSpecName)
        return kBadName;
    spec->name[0] = static_cast<std::uint8_t>(name.size());
    std::memcpy(spec->name + 1, name.data(), name.size());
    return kNoError;
}

/// Searching a large file takes up to half as long again on small pages. Advice only: a failure changes
/// nothing.
void adviseLargePages(char *bytes, qsizetype size)
{
    constexpr std::uintptr_t kLargePage = 2 * 1024 * 1024;
    const auto start = reinterpret_cast<std::uintptr_t>(bytes);
    const std::uintptr_t first = (start + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t end = (start + static_cast<std::uintptr_t>(size)) / kLargePage * kLargePage;
    if (first < end)
        ::madvise(bytes + (first - start), end - first, MADV_HUGEPAGE);
}

/// Grows with what is read: the size in the attributes is a hint only, and kernel files have none. Throws
/// `std::bad_alloc` when the memory does not suffice.
std::optional<QByteArray> readToEnd(int descriptor, std::uint64_t expected)
{
    constexpr std::uint64_t kLargest = std::uint64_t(1) << 40;
    constexpr qsizetype kStep = 64 * 1024;
    QByteArray data;
    qsizetype wanted = static_cast<qsizetype>(std::min(expected, kLargest)) + 1;
    for (;;) {
        const qsizetype filled = data.size();
        data.resize(filled + wanted);
        adviseLargePages(data.data() + filled, wanted);
        const auto got = readFully(descriptor, data.data() + filled, static_cast<std::size_t>(wanted));
        if (got < 0)
            return std::nullopt;
        data.resize(filled + static_cast<qsizetype>(got));
        if (got < wanted)
            return data;
        wanted = std::max(kStep, data.size() / 2);
    }
}

class LinuxFileManager final : public FileManager {
public:
    bool exists(const QString &path) override { return isAccessible(path, F_OK); }

    bool isFolder(const QString &path) override
    {
        const auto status = statusOf(path, true);
        return status && S_ISDIR(status->st_mode);
    }

    std::optional<FileAttributes> attributes(const QString &path) override
    {
        const auto status = statusOf(path, false);
        return status ? std::optional(attributesOfStatus(*status)) : std::nullopt;
    }

    std::optional<FileSystemAttributes> fileSystemAttributes(const QString &path) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        struct statvfs status;
        if (!bytes || ::statvfs(bytes->constData(), &status) != 0)
            return std::nullopt;
        const std::uint64_t block = status.f_frsize;
        return FileSystemAttributes{status.f_blocks * block, status.f_bavail * block,
                                    (status.f_flag & ST_RDONLY) != 0};
    }

    bool forEachEntryBelow(const QString &folder,
                           const std::function<WalkStep(const FolderEntry &)> &visit) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(folder);
        return bytes && FolderWalk(visit).run(bytes->constData());
    }

    bool createFile(const QString &path, std::uint32_t mode) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        return bytes &&
               FileDescriptor(::open(bytes->constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode))
                   .isValid();
    }

    bool createDirectory(const QString &path, bool intermediates, std::uint32_t mode) override;

    bool remove(const QString &path) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        return bytes && ::unlink(bytes->constData()) == 0;
    }

    bool move(const QString &from, const QString &to) override
    {
        const std::optional<QByteArray> source = fileSystemRepresentation(from);
        const std::optional<QByteArray> target = fileSystemRepresentation(to);
        return source && target && ::rename(source->constData(), target->constData()) == 0;
    }

    std::optional<QByteArray> read(const QString &path, std::uint64_t offset) override;

    bool write(const QString &path, const QByteArray &data, const FileWriteOptions &options) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        return bytes && replaceFile(*bytes, data, options);
    }

    int openForAppend(const QString &path, std::uint32_t mode) override;

    bool isWritable(const QString &path) override { return isAccessible(path, W_OK); }

    QString displayName(const QString &path) override
    {
        if (path.isEmpty())
            return path;
        const QString label = Service<Volumes>::current()->nameAt(path);
        return label.isEmpty() ? lastPathComponent(path) : label;
    }

    QString resolve(const QString &path) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        const std::string resolved = bytes ? resolveBytes(bytes->constData()) : std::string();
        return resolved.empty() ? QString() : stringWithFileSystemRepresentation(resolved);
    }

    OSStatus makeRef(const QString &path, FSRef *ref, bool followLink) override;
    QString refPath(const FSRef &ref) override;
    OSStatus refSpec(const FSRef &ref, FSSpec *spec) override;
};

bool LinuxFileManager::createDirectory(const QString &path, bool intermediates, std::uint32_t mode)
{
    const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
    if (!bytes)
        return false;
    if (::mkdir(bytes->constData(), mode) == 0)
        return true;
    if (!intermediates || (errno != ENOENT && errno != EEXIST))
        return false;
    std::string prefix = isAbsolutePath(path) ? "/" : "";
    for (const QString &component : pathComponents(path)) {
        if (component != u"/")
            prefix += component.toStdString() + '/';
        if (component != u"/" && ::mkdir(prefix.c_str(), mode) != 0 &&
            !isFolder(QString::fromStdString(prefix)))
            return false;
    }
    return isFolder(path);
}

std::optional<QByteArray> LinuxFileManager::read(const QString &path, std::uint64_t offset)
{
    const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
    if (!bytes)
        return std::nullopt;
    // Without O_NONBLOCK the open of a FIFO would wait for a writer.
    const FileDescriptor file(::open(bytes->constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (!file.isValid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
        return QByteArray("");
    if (offset > 0 && ::lseek(file.get(), static_cast<off_t>(offset), SEEK_SET) < 0)
        return std::nullopt;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    try {
        return readToEnd(file.get(), size > offset ? size - offset : 0);
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}

int LinuxFileManager::openForAppend(const QString &path, std::uint32_t mode)
{
    const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
    if (!bytes)
        return -1;
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file(::open(bytes->constData(), kFlags, mode));
    struct stat status;
    if (!file.isValid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return -1;
    return file.release();
}

OSStatus LinuxFileManager::makeRef(const QString &path, FSRef *ref, bool followLink)
{
    if (ref == nullptr || path.isNull())
        return kParameterError;
    const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
    struct stat status;
    if (!bytes || bytes->isEmpty())
        return kFileNotFound;
    if (::fstatat(AT_FDCWD, bytes->constData(), &status, followLink ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
        return statusOfError(errno, *bytes);
    const std::string spelled = spelledPath(*bytes, followLink);
    if (spelled.empty())
        return statusOfError(errno, *bytes);
    *ref = encodeReference({spelled, status.st_dev, status.st_ino});
    return kNoError;
}

QString LinuxFileManager::refPath(const FSRef &ref)
{
    const std::optional<FileReference> reference = decodeReference(ref);
    struct stat status;
    if (!reference || ::lstat(reference->path.c_str(), &status) != 0)
        return {};
    if (status.st_dev != reference->device || status.st_ino != reference->inode)
        return {};
    return stringWithFileSystemRepresentation(reference->path);
}

OSStatus LinuxFileManager::refSpec(const FSRef &ref, FSSpec *spec)
{
    const std::optional<FileReference> reference = decodeReference(ref);
    if (!reference || spec == nullptr)
        return kParameterError;
    struct stat status;
    if (::lstat(reference->path.c_str(), &status) != 0)
        return statusOfError(errno, QByteArray::fromStdString(reference->path));
    const QString path = stringWithFileSystemRepresentation(reference->path);
    return fillSpec(reference->path, Service<Volumes>::current()->volumeOfLink(path), spec);
}

} // namespace

FileManager *FileManager::makeDefault() { return new LinuxFileManager; }

} // namespace KVBase
