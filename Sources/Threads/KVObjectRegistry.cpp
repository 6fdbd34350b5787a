#include <KVBase/KVObjectRegistry.h>

#include "Threads/LookupGate.h"
#include "Threads/LookupTable.h"

#include <KVBase/Platform/NSException.h>

#include <mutex>

namespace KVBase
{

namespace
{

/// Null while the registry is empty. Changed under `sChange` alone.
constinit std::atomic<LookupTable *> sObjectRegistry{nullptr};
constinit std::mutex sChange;
constinit LookupGate sGate;

/// The key, without the call that an exported function costs.
std::uintptr_t keyOf(const void *object) { return reinterpret_cast<std::uintptr_t>(object); }

bool isSame(const Ref<void> &a, const Ref<void> &b) { return !a.owner_before(b) && !b.owner_before(a); }

/// The table with room for one more entry. One that grew takes the place of the old one, which is answered
/// through `outgrown`.
LookupTable *tableWithRoom(std::unique_ptr<LookupTable> &outgrown)
{
    LookupTable *table = sObjectRegistry.load(std::memory_order_relaxed);
    if (table != nullptr && table->hasRoom())
        return table;
    LookupTable *larger = (table != nullptr ? table->grown() : std::make_unique<LookupTable>(1)).release();
    sObjectRegistry.store(larger, std::memory_order_seq_cst);
    outgrown.reset(table);
    return larger;
}

} // namespace

std::uintptr_t KVObjectRegistry::keyForObject(const void *object) { return keyOf(object); }

void KVObjectRegistry::registerObject(const Ref<void> &object)
{
    if (!LookupTable::isAddress(object.get()))
        throw NSException(NSInvalidArgumentException, QStringLiteral("registerObject: the object is nil"));
    const std::uintptr_t key = keyOf(object.get());
    // Declared before the guard: what is replaced is freed unlocked.
    Ref<void> replaced;
    std::unique_ptr<LookupTable> outgrown;
    const std::lock_guard guard(sChange);
    const LookupTable *known = sObjectRegistry.load(std::memory_order_relaxed);
    const LookupTable::Slot *held = known != nullptr ? known->find(key) : nullptr;
    if (held != nullptr && isSame(held->object, object))
        return;
    LookupTable *table = tableWithRoom(outgrown);
    LookupTable::Slot *old = table->find(key);
    table->add(key, object);
    if (old != nullptr)
        table->remove(*old);
    if (old != nullptr || outgrown != nullptr)
        sGate.drain();
    if (old != nullptr)
        replaced = std::move(old->object);
}

void KVObjectRegistry::unregisterObject(const void *object)
{
    Ref<void> removed;
    std::unique_ptr<LookupTable> emptied;
    const std::lock_guard guard(sChange);
    LookupTable *table = sObjectRegistry.load(std::memory_order_relaxed);
    const bool mayBeThere = table != nullptr && LookupTable::isAddress(object);
    LookupTable::Slot *slot = mayBeThere ? table->find(keyOf(object)) : nullptr;
    if (slot == nullptr)
        return;
    table->remove(*slot);
    if (table->count() == 0) {
        sObjectRegistry.store(nullptr, std::memory_order_seq_cst);
        emptied.reset(table);
    }
    sGate.drain();
    removed = std::move(slot->object);
}

Ref<void> KVObjectRegistry::registeredObject(const void *object)
{
    if (!LookupTable::isAddress(object))
        return nullptr;
    const LookupGate::Pass pass(sGate);
    const LookupTable *table = sObjectRegistry.load(std::memory_order_seq_cst);
    const LookupTable::Slot *slot = table != nullptr ? table->find(keyOf(object)) : nullptr;
    return slot != nullptr ? slot->object : nullptr;
}

bool KVObjectRegistry::isObjectRegistered(const void *object)
{
    if (!LookupTable::isAddress(object))
        return false;
    const LookupGate::Pass pass(sGate);
    const LookupTable *table = sObjectRegistry.load(std::memory_order_seq_cst);
    return table != nullptr && table->find(keyOf(object)) != nullptr;
}

} // namespace KVBase
