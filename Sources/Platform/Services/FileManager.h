#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/Platform/Files.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace KVBase
{

/// What the file system says about one item. Sizes in bytes; `mode` holds the permission bits alone.
struct FileAttributes {
    enum class Kind : std::uint8_t { RegularFile, Folder, SymbolicLink, Other };

    Kind kind = Kind::Other;
    std::uint64_t size = 0;
    std::uint32_t mode = 0;
    std::uint32_t owner = 0;
    std::uint32_t group = 0;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t modifiedSeconds = 0;
    std::int32_t modifiedNanoseconds = 0;

    bool isFolder() const { return kind == Kind::Folder; }
    bool isRegularFile() const { return kind == Kind::RegularFile; }
    bool isSymbolicLink() const { return kind == Kind::SymbolicLink; }

    /// In UTC, to the millisecond.
    KV_EXPORT QDateTime modificationDate() const;
};

/// Of the file system that holds a path, in bytes. `freeSize` is what the calling user may still use.
struct FileSystemAttributes {
    std::uint64_t size = 0;
    std::uint64_t freeSize = 0;
    bool readOnly = false;
};

/// One item met on a walk. The views are valid during the call only, and hold the bytes that the file system
/// holds, valid UTF-8 or not.
struct FolderEntry {
    /// Path of the folder that holds the item, below the folder that is walked; empty at the top.
    std::string_view folder;
    std::string_view name;

    /// Absent when the item vanished before it could be asked.
    const FileAttributes *attributes = nullptr;

    /// `folder` and `name` joined; nil when the bytes are not UTF-8.
    KV_EXPORT QString relativePath() const;
};

enum class WalkStep : std::uint8_t { GoOn, SkipFolder, Stop };

/// How a whole file is written.
struct FileWriteOptions {
    /// Permission bits of a file that does not exist yet, less the process's mask. An existing file keeps its
    /// own bits and, where the user may do so, its owner and group.
    std::uint32_t newFileMode = 0666;

    /// Whether a symbolic link stays and its target is replaced; otherwise the link itself is replaced.
    bool followsLink = true;
};

/// The permission bits for what only its owner may read: logs, reports, stored forms.
inline constexpr std::uint32_t kPrivateFileMode = 0600;

/// The file system. Any thread; blocks on the disk only: FIFOs and devices are never waited for. A path that
/// is nil, empty, holds a NUL or is no valid text names nothing, so each question answers as for a missing
/// item.
struct KV_EXPORT FileManager {
    virtual ~FileManager();
    static FileManager *makeDefault();

    /// Whether something is there; a final link is followed, so a dangling one does not count.
    virtual bool exists(const QString &path) = 0;

    /// Whether a folder is there; a final link is followed. Unless overridden `attributes` and `resolve`
    /// tell.
    virtual bool isFolder(const QString &path);

    /// Links are not followed. Nothing when the item cannot be asked.
    virtual std::optional<FileAttributes> attributes(const QString &path) = 0;
    virtual std::optional<FileSystemAttributes> fileSystemAttributes(const QString &path) = 0;

    /// Calls `visit` for everything below `folder`, a folder before what it holds, links not followed except
    /// for `folder` itself. Folders that cannot be read are visited but not entered. Memory and descriptors
    /// do not grow with the number of files or with the depth of the tree but for a few words per level.
    /// False when `folder` could not be opened.
    virtual bool forEachEntryBelow(const QString &folder,
                                   const std::function<WalkStep(const FolderEntry &)> &visit) = 0;

    /// Makes an empty file where nothing is, not even a dangling link; false otherwise.
    virtual bool createFile(const QString &path, std::uint32_t mode = 0666) = 0;

    /// Makes a folder. Without `intermediates` an existing folder is a failure, with them it is not.
    virtual bool createDirectory(const QString &path, bool intermediates, std::uint32_t mode = 0777) = 0;

    /// Removes a file or a link, never a folder.
    virtual bool remove(const QString &path) = 0;

    /// Moves within one file system; a file at `to` is replaced at once.
    virtual bool move(const QString &from, const QString &to) = 0;

    /// The bytes of a regular file from `offset` on; nothing on failure, empty data at or past the end.
    virtual std::optional<QByteArray> read(const QString &path, std::uint64_t offset = 0) = 0;

    /// Puts `data` at `path` whole or not at all: through a file beside it that is flushed and moved over it.
    /// On failure the old file is there unchanged and nothing else is left behind. Only regular files are
    /// replaced.
    virtual bool write(const QString &path, const QByteArray &data, const FileWriteOptions &options = {}) = 0;

    /// A close-on-exec descriptor that appends to a regular file, made with `mode` when missing; the caller
    /// closes it. -1 on failure.
    virtual int openForAppend(const QString &path, std::uint32_t mode = kPrivateFileMode) = 0;

    /// Whether the effective user may write there.
    virtual bool isWritable(const QString &path) = 0;

    /// The name that the desktop shows: a volume's label or the last component. nil for nil.
    virtual QString displayName(const QString &path) = 0;

    /// The path with every link resolved; nil when that fails (loops, dangling links, names that are no
    /// text).
    virtual QString resolve(const QString &path) = 0;

    /// Makes a reference to an existing item; `followLink` says whether a final link stands for its target. A
    /// classic status: -43 nothing there, -120 folder missing, -5000 or -54 not permitted, -50 nil argument.
    virtual OSStatus makeRef(const QString &path, FSRef *ref, bool followLink) = 0;

    /// nil when the reference is not one of this process or its item has gone.
    virtual QString refPath(const FSRef &ref) = 0;

    /// Volume, parent folder and name of the referenced item; -37 when the name has more than 63 bytes.
    virtual OSStatus refSpec(const FSRef &ref, FSSpec *spec) = 0;
};

extern template class KV_EXPORT Service<FileManager>;

} // namespace KVBase
