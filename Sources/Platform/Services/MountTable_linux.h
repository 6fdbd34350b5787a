#pragma once

#include <KVBase/KVExport.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KVBase
{

/// One line of the process's mount table.
struct MountPoint {
    std::string path;
    /// The device's path, as "/dev/sda1"; anything for file systems without one.
    std::string source;
    std::uint64_t device = 0;
};

/// All mounts in the order in which they were made; empty when the table cannot be read.
std::vector<MountPoint> mountTable();

/// The mounts that a table in the kernel's form ("mountinfo") lists; lines of another form are left out.
KV_EXPORT std::vector<MountPoint> parseMountTable(std::string_view text);

} // namespace KVBase
