#pragma once

#include "Platform/Services/FileManager.h"

#include <sys/stat.h>

namespace KVBase
{

inline FileAttributes::Kind kindOfMode(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return FileAttributes::Kind::RegularFile;
    case S_IFDIR:
        return FileAttributes::Kind::Folder;
    case S_IFLNK:
        return FileAttributes::Kind::SymbolicLink;
    default:
        return FileAttributes::Kind::Other;
    }
}

inline FileAttributes attributesOfStatus(const struct stat &status)
{
    FileAttributes attributes;
    attributes.kind = kindOfMode(status.st_mode);
    attributes.size = status.st_size > 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
    attributes.mode = status.st_mode & 07777;
    attributes.owner = status.st_uid;
    attributes.group = status.st_gid;
    attributes.device = status.st_dev;
    attributes.inode = status.st_ino;
    attributes.modifiedSeconds = status.st_mtim.tv_sec;
    attributes.modifiedNanoseconds = static_cast<std::int32_t>(status.st_mtim.tv_nsec);
    return attributes;
}

} // namespace KVBase
