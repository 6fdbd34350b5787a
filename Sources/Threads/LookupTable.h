#pragma once

#include <KVBase/Platform/MacTypes.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace KVBase
{

/// An open-addressed table of objects by address. Any number of threads may call `find` while one thread
/// changes the table. What was removed stays in its slot, and a table that was replaced stays alive, until
/// that thread knows that no lookup can still see them.
class LookupTable {
public:
    /// The object of a slot does not change while the key is there.
    struct Slot {
        std::atomic<std::uintptr_t> key{kNeverUsed};
        Ref<void> object;
    };

    /// Room for `entries` entries at no more than half of the slots.
    explicit LookupTable(std::size_t entries);

    /// Whether an object can be at that address.
    static bool isAddress(const void *object) noexcept
    {
        const auto address = reinterpret_cast<std::uintptr_t>(object);
        return address != kNeverUsed && address != kRemoved;
    }

    /// The slot of `key`, which is an object's address; null when there is none.
    Slot *find(std::uintptr_t key) const noexcept
    {
        for (std::size_t index = firstSlot(key);; index = nextSlot(index)) {
            Slot &slot = slots[index];
            const std::uintptr_t found = slot.key.load(std::memory_order_seq_cst);
            if (found == key)
                return &slot;
            if (found == kNeverUsed)
                return nullptr;
        }
    }

    /// Adds an object. One of the same key may be there; that one goes on being found until it is removed.
    /// The table must have room.
    void add(std::uintptr_t key, Ref<void> object) noexcept;

    /// Has lookups no longer find the slot's object, which the caller then takes out of it.
    void remove(Slot &slot) noexcept;

    /// The number of objects in the table.
    std::size_t count() const noexcept { return live; }

    /// Whether one more object fits without making lookups slow.
    bool hasRoom() const noexcept { return (used + 1) * 2 <= slotCount; }

    /// A table with the same objects and room for one and more; this one stays as it is.
    std::unique_ptr<LookupTable> grown() const;

private:
    // No object has these addresses. A removed one's slot is not used again, so that lookups go on past it.
    static constexpr std::uintptr_t kNeverUsed = 0;
    static constexpr std::uintptr_t kRemoved = UINTPTR_MAX;

    std::size_t firstSlot(std::uintptr_t key) const noexcept
    {
        // Multiplying by the golden ratio spreads addresses, whose low bits are alike, over the upper bits.
        return static_cast<std::size_t>((static_cast<std::uint64_t>(key) * 0x9e3779b97f4a7c15u) >> shift);
    }
    std::size_t nextSlot(std::size_t index) const noexcept { return (index + 1) & (slotCount - 1); }

    std::size_t slotCount;
    int shift;
    std::unique_ptr<Slot[]> slots;
    std::size_t live = 0;
    /// Slots that are or were in use.
    std::size_t used = 0;
};

} // namespace KVBase
