#include "Threads/CallableChain.h"

namespace KVBase
{

CallableChain::~CallableChain()
{
    while (!isEmpty())
        takeFirst();
    shrink();
}

void CallableChain::addChunk()
{
    Chunk *chunk = firstUnused;
    if (chunk == nullptr) {
        chunk = new Chunk;
    } else {
        firstUnused = std::exchange(chunk->next, nullptr);
        chunk->begin = 0;
        chunk->end = 0;
    }
    (last != nullptr ? last->next : first) = chunk;
    last = chunk;
}

void CallableChain::removeFirstChunk() noexcept
{
    Chunk *const chunk = std::exchange(first, first->next);
    if (first == nullptr)
        last = nullptr;
    if (firstUnused == nullptr)
        lastUnused = chunk;
    chunk->next = std::exchange(firstUnused, chunk);
}

void CallableChain::swapContents(CallableChain &other) noexcept
{
    std::swap(first, other.first);
    std::swap(last, other.last);
}

void CallableChain::takeUnused(CallableChain &other) noexcept
{
    if (other.firstUnused == nullptr)
        return;
    (firstUnused != nullptr ? other.lastUnused->next : lastUnused) =
        firstUnused != nullptr ? firstUnused : other.lastUnused;
    firstUnused = std::exchange(other.firstUnused, nullptr);
}

void CallableChain::shrink() noexcept
{
    while (firstUnused != nullptr)
        delete std::exchange(firstUnused, firstUnused->next);
}

} // namespace KVBase
