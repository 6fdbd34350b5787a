#include "Threads/LookupTable.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace KVBase
{

namespace
{

std::size_t slotsFor(std::size_t entries) { return std::bit_ceil(std::max<std::size_t>(entries * 2, 16)); }

} // namespace

LookupTable::LookupTable(std::size_t entries)
    : slotCount(slotsFor(entries)), shift(64 - std::countr_zero(slotCount)),
      slots(std::make_unique<Slot[]>(slotCount))
{}

void LookupTable::add(std::uintptr_t key, Ref<void> object) noexcept
{
    std::size_t index = firstSlot(key);
    while (slots[index].key.load(std::memory_order_relaxed) != kNeverUsed)
        index = nextSlot(index);
    slots[index].object = std::move(object);
    slots[index].key.store(key, std::memory_order_seq_cst);
    ++live;
    ++used;
}

void LookupTable::remove(Slot &slot) noexcept
{
    slot.key.store(kRemoved, std::memory_order_seq_cst);
    --live;
}

std::unique_ptr<LookupTable> LookupTable::grown() const
{
    auto table = std::make_unique<LookupTable>(live * 2 + 2);
    for (std::size_t index = 0; index < slotCount; ++index) {
        const std::uintptr_t key = slots[index].key.load(std::memory_order_relaxed);
        if (key != kNeverUsed && key != kRemoved)
            table->add(key, slots[index].object);
    }
    return table;
}

} // namespace KVBase
