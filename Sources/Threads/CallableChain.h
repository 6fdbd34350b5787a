#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVTarget.h>

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

namespace KVBase
{

/// Callables, first in first out, in chunks of memory: adding one moves no other, and emptied chunks are kept
/// and used again. One thread at a time.
class KV_EXPORT CallableChain {
public:
    CallableChain() = default;
    ~CallableChain();
    CallableChain(const CallableChain &) = delete;
    CallableChain &operator=(const CallableChain &) = delete;

    bool isEmpty() const { return first == nullptr; }

    void add(KVCallable &&work)
    {
        if (last == nullptr || last->end == kPerChunk)
            addChunk();
        std::construct_at(last->place(last->end++), std::move(work));
    }

    /// Removes the first one, which must be there, and answers it.
    KVCallable takeFirst()
    {
        KVCallable *const place = first->place(first->begin++);
        KVCallable work = std::move(*place);
        std::destroy_at(place);
        if (first->begin == first->end)
            removeFirstChunk();
        return work;
    }

    /// Exchanges what is in the chains; each keeps its unused chunks.
    void swapContents(CallableChain &other) noexcept;

    /// Takes over the unused chunks of `other`.
    void takeUnused(CallableChain &other) noexcept;

    /// Frees the unused chunks.
    void shrink() noexcept;

private:
    /// A chunk with its ends takes about 4 KB.
    static constexpr std::size_t kPerChunk = 127;

    struct Chunk {
        KVCallable *place(std::size_t index) { return reinterpret_cast<KVCallable *>(memory.data()) + index; }

        Chunk *next = nullptr;
        std::size_t begin = 0;
        std::size_t end = 0;
        alignas(KVCallable) std::array<std::byte, kPerChunk * sizeof(KVCallable)> memory;
    };

    void addChunk();
    void removeFirstChunk() noexcept;

    Chunk *first = nullptr;
    Chunk *last = nullptr;
    Chunk *firstUnused = nullptr;
    Chunk *lastUnused = nullptr;
};

} // namespace KVBase
