#pragma once

#include <cstdint>

namespace KVBase
{

/// A reference to a file or folder that exists: opaque, and valid in this process only.
struct FSRef {
    std::uint8_t hidden[80] = {};
};

/// A volume, the identifier of a folder on it, and a name below that folder.
struct FSSpec {
    std::int16_t vRefNum = 0;
    std::int32_t parID = 0;
    /// A length byte, then up to 63 bytes.
    std::uint8_t name[64] = {};
};

} // namespace KVBase
