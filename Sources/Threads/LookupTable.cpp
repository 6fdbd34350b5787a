#include "Threads/LookupTable.h"

#include <algorithm>
#include <bit>

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

std::size_t LookupTable::firstSlot(std::uintptr_t key) const noexcept
{
    // Multiplying by the golden ratio spreads addresses, whose low bits are alike, over the upper bits.
    return static_cast<std::size_t>((static_cast<std::uint64_t>(key) * 0x9e3779b97f4a7c15u) >> shift);
}

RegistryEntry *LookupTable::find(std::uintptr_t key) const noexcept
{
    for (std::size_t slot = firstSlot(key);; slot = nextSlot(slot)) {
        RegistryEntry *entry = slots[slot].load(std::memory_order_seq_cst);
        if (entry == nullptr || entry->key == key)
            return entry;
    }
}

LookupTable::Slot *LookupTable::slotOf(std::uintptr_t key) const noexcept
{
    for (std::size_t slot = firstSlot(key);; slot = nextSlot(slot)) {
        const RegistryEntry *entry = slots[slot].load(std::memory_order_relaxed);
        if (entry == nullptr || entry->key == key)
            return &slots[slot];
    }
}

RegistryEntry *LookupTable::exchange(RegistryEntry *entry) noexcept
{
    RegistryEntry *previous = slotOf(entry->key)->exchange(entry, std::memory_order_seq_cst);
    if (previous == nullptr) {
        ++live;
        ++used;
    }
    return previous;
}

RegistryEntry *LookupTable::take(std::uintptr_t key) noexcept
{
    Slot *slot = slotOf(key);
    RegistryEntry *entry = slot->load(std::memory_order_relaxed);
    if (entry == nullptr)
        return nullptr;
    slot->store(&removedMark, std::memory_order_seq_cst);
    --live;
    return entry;
}

std::unique_ptr<LookupTable> LookupTable::grown() const
{
    auto table = std::make_unique<LookupTable>(live * 2 + 2);
    for (std::size_t slot = 0; slot < slotCount; ++slot) {
        RegistryEntry *entry = slots[slot].load(std::memory_order_relaxed);
        if (entry != nullptr && entry != &removedMark)
            table->exchange(entry);
    }
    return table;
}

} // namespace KVBase
