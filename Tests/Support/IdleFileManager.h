#pragma once

#include "Platform/Services/FileManager.h"

namespace KVBase::Tests
{

/// A file system in which everything is there and nothing can be done. Tests override what they are about.
struct IdleFileManager : FileManager {
    bool exists(const QString &) override { return true; }
    bool isFolder(const QString &) override { return true; }
    std::optional<FileAttributes> attributes(const QString &) override { return std::nullopt; }
    std::optional<FileSystemAttributes> fileSystemAttributes(const QString &) override
    {
        return std::nullopt;
    }
    bool forEachEntryBelow(const QString &, const std::function<WalkStep(const FolderEntry &)> &) override
    {
        return false;
    }
    bool createFile(const QString &, std::uint32_t) override { return false; }
    bool createDirectory(const QString &, bool, std::uint32_t) override { return false; }
    bool remove(const QString &) override { return false; }
    bool move(const QString &, const QString &) override { return false; }
    std::optional<QByteArray> read(const QString &, std::uint64_t) override { return std::nullopt; }
    bool write(const QString &, const QByteArray &, const FileWriteOptions &) override { return false; }
    int openForAppend(const QString &, std::uint32_t) override { return -1; }
    bool isWritable(const QString &) override { return true; }
    QString displayName(const QString &) override { return {}; }
    QString resolve(const QString &) override { return {}; }
    OSStatus makeRef(const QString &, FSRef *, bool) override { return -43; }
    QString refPath(const FSRef &) override { return {}; }
    OSStatus refSpec(const FSRef &, FSSpec *) override { return -43; }
};

} // namespace KVBase::Tests
