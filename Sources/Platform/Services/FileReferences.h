#pragma once

#include <KVBase/Platform/Files.h>

#include <cstdint>
#include <optional>
#include <string>

namespace KVBase
{

/// What an `FSRef` stands for: the path under which the item was met, and the item's identity.
struct FileReference {
    std::string path;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
};

/// The record's 80 bytes cannot hold a path, so it holds a number into a table of the process, with one entry
/// per distinct path. Any thread.
FSRef encodeReference(const FileReference &reference);

/// Nothing for a record that this process did not make.
std::optional<FileReference> decodeReference(const FSRef &ref);

/// The identifier of a folder: positive, the same for the same folder until the process ends; 0 when there
/// are no more.
std::int32_t folderIdentifier(std::uint64_t device, std::uint64_t inode);

} // namespace KVBase
