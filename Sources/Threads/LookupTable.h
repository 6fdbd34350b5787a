#pragma once

#include <KVBase/Platform/MacTypes.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace KVBase
{

/// One registered object.
struct RegistryEntry {
    std::uintptr_t key;
    Ref<void> object;
};

/// An open-addressed table of entries by address. Any number of threads may call `find` while one thread
/// changes the table; an entry or table that was taken out is freed by that thread once no lookup can see it.
class LookupTable {
public:
    /// Room for `entries` entries at no more than half of the slots.
    explicit LookupTable(std::size_t entries);

    /// The entry under `key`, else null.
    RegistryEntry *find(std::uintptr_t key) const noexcept;

    /// Puts `entry` in place of the one with the same key, which it answers, or into a free slot. The table
    /// must have room.
    RegistryEntry *exchange(RegistryEntry *entry) noexcept;

    /// Takes the entry under `key` out and answers it; null without one.
    RegistryEntry *take(std::uintptr_t key) noexcept;

    /// The number of entries in the table.
    std::size_t count() const noexcept { return live; }

    /// Whether one more entry fits without making lookups slow.
    bool hasRoom() const noexcept { return (used + 1) * 2 <= slotCount; }

    /// A table with the same entries and room for one and more; this one stays as it is.
    std::unique_ptr<LookupTable> grown() const;

private:
    using Slot = std::atomic<RegistryEntry *>;

    std::size_t firstSlot(std::uintptr_t key) const noexcept;
    std::size_t nextSlot(std::size_t slot) const noexcept { return (slot + 1) & (slotCount - 1); }
    Slot *slotOf(std::uintptr_t key) const noexcept;

    /// Stands in the slot of a removed entry, so that lookups go on past it. No object has address 0.
    RegistryEntry removedMark{0, nullptr};
    std::size_t slotCount;
    int shift;
    std::unique_ptr<Slot[]> slots;
    std::size_t live = 0;
    /// Slots that are not null: entries and the marks of removed ones.
    std::size_t used = 0;
};

} // namespace KVBase
