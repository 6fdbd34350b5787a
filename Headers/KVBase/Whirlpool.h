#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// A Whirlpool digest in progress: plain, owned by the caller, one thread at a time.
struct WhirlpoolState {
    /// The number of message bits so far, a 256-bit big-endian counter.
    std::uint8_t bitLength[32];
    /// The block that is being filled.
    std::uint8_t buffer[64];
    /// The number of bits in the buffer, below 512 between calls.
    std::int32_t bufferBits;
    /// The index of the buffer's byte that the next bit goes into.
    std::int32_t bufferPos;
    /// The chaining value.
    std::uint64_t hash[8];
};

extern "C" {

/// Starts a digest.
KV_EXPORT void NESSIEinit(WhirlpoolState *state);

/// Appends `sourceBits` bits (not bytes), the most significant bit of a byte first. With a count that is no
/// multiple of 8 the first source byte gives its low `sourceBits` mod 8 bits only and whole bytes follow.
/// Exactly ceil(sourceBits / 8) bytes are read, none for 0. Any division of a message into calls gives the
/// same digest.
KV_EXPORT void NESSIEadd(const std::uint8_t *source, std::uint32_t sourceBits, WhirlpoolState *state);

/// Ends the digest and writes its 64 bytes to `result`. Only `NESSIEinit` makes the state usable again.
KV_EXPORT void NESSIEfinalize(WhirlpoolState *state, std::uint8_t *result);

} // extern "C"

/// Each byte as two upper-case hexadecimal digits, in order; the empty string, not nil, for a count below 1.
KV_EXPORT QString convert(const std::uint8_t *bytes, std::int32_t count);

} // namespace KVBase
