#include <KVBase/Whirlpool.h>

#include "Text/WhirlpoolBlock.h"

#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>

namespace KVBase
{

namespace
{

constexpr std::int32_t kBlockBits = 512;
constexpr std::size_t kBlockBytes = 64;
/// Where the counter stands in the last block.
constexpr std::size_t kCounterOffset = 32;

/// Adds to the 256-bit counter, whose last byte is the lowest.
void addToCounter(std::uint8_t (&counter)[32], std::uint32_t bits)
{
    std::uint64_t carry = bits;
    for (std::size_t i = sizeof counter; i > 0 && carry != 0; --i) {
        carry += counter[i - 1];
        counter[i - 1] = static_cast<std::uint8_t>(carry);
        carry >>= 8;
    }
}

void processBuffer(WhirlpoolState *state)
{
    whirlpoolBlocks(state->hash, state->buffer, 1);
    state->bufferBits = 0;
    state->bufferPos = 0;
    state->buffer[0] = 0;
}

/// Appends the low `count` bits (1 to 8) of `value`. The bits of the current byte that are not filled are
/// zero.
void appendBits(WhirlpoolState *state, unsigned value, int count)
{
    const int taken = state->bufferBits & 7;
    const int room = 8 - taken;
    const unsigned bits = value & ((1u << count) - 1u);
    std::uint8_t &current = state->buffer[state->bufferPos];
    current = static_cast<std::uint8_t>(current |
                                        (count <= room ? bits << (room - count) : bits >> (count - room)));
    state->bufferBits += std::min(count, room);
    if (count < room)
        return;
    ++state->bufferPos;
    if (state->bufferBits == kBlockBits)
        processBuffer(state);
    const int left = count - room;
    state->buffer[state->bufferPos] = static_cast<std::uint8_t>(left > 0 ? bits << (8 - left) : 0u);
    state->bufferBits += left;
}

/// Appends whole bytes to a buffer that ends at a byte.
void appendBytes(WhirlpoolState *state, const std::uint8_t *source, std::size_t count)
{
    if (state->bufferPos > 0) {
        const auto filled = static_cast<std::size_t>(state->bufferPos);
        const std::size_t part = std::min(count, kBlockBytes - filled);
        std::memcpy(state->buffer + filled, source, part);
        source += part;
        count -= part;
        state->bufferPos += static_cast<std::int32_t>(part);
        state->bufferBits += static_cast<std::int32_t>(part * 8);
        if (state->bufferBits < kBlockBits) {
            state->buffer[state->bufferPos] = 0;
            return;
        }
        processBuffer(state);
    }
    whirlpoolBlocks(state->hash, source, count / kBlockBytes);
    const std::size_t rest = count % kBlockBytes;
    std::memcpy(state->buffer, source + (count - rest), rest);
    state->buffer[rest] = 0;
    state->bufferPos = static_cast<std::int32_t>(rest);
    state->bufferBits = static_cast<std::int32_t>(rest * 8);
}

} // namespace

void NESSIEinit(WhirlpoolState *state)
{
    std::memset(state->bitLength, 0, sizeof state->bitLength);
    std::memset(state->hash, 0, sizeof state->hash);
    state->bufferBits = 0;
    state->bufferPos = 0;
    state->buffer[0] = 0;
}

void NESSIEadd(const std::uint8_t *source, std::uint32_t sourceBits, WhirlpoolState *state)
{
    if (sourceBits == 0)
        return;
    addToCounter(state->bitLength, sourceBits);
    const int oddBits = static_cast<int>(sourceBits & 7u);
    if (oddBits != 0)
        appendBits(state, *source++, oddBits);
    const std::size_t bytes = sourceBits / 8;
    if (bytes == 0)
        return;
    if ((state->bufferBits & 7) == 0) {
        appendBytes(state, source, bytes);
        return;
    }
    for (std::size_t i = 0; i < bytes; ++i)
        appendBits(state, source[i], 8);
}

void NESSIEfinalize(WhirlpoolState *state, std::uint8_t *result)
{
    appendBits(state, 1, 1);
    auto used = static_cast<std::size_t>(state->bufferPos);
    // The bits after the mark in its byte are zero already.
    if ((state->bufferBits & 7) != 0)
        ++used;
    if (used > kCounterOffset) {
        std::memset(state->buffer + used, 0, kBlockBytes - used);
        processBuffer(state);
        used = 0;
    }
    std::memset(state->buffer + used, 0, kCounterOffset - used);
    std::memcpy(state->buffer + kCounterOffset, state->bitLength, sizeof state->bitLength);
    processBuffer(state);
    for (int i = 0; i < 8; ++i)
        qToBigEndian(state->hash[i], result + 8 * i);
}

QString convert(const std::uint8_t *bytes, std::int32_t count)
{
    static constexpr char16_t digits[] = u"0123456789ABCDEF";
    QString text(QLatin1StringView(""));
    for (std::int32_t i = 0; i < count; ++i) {
        text += QChar(digits[bytes[i] >> 4]);
        text += QChar(digits[bytes[i] & 15]);
    }
    return text;
}

} // namespace KVBase
