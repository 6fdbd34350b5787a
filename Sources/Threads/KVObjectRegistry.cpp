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

bool isHeldAlready(const LookupTable *table, const Ref<void> &object)
{
    const RegistryEntry *entry =
        table != nullptr ? table->find(KVObjectRegistry::keyForObject(object.get())) : nullptr;
    return entry != nullptr && !entry->object.owner_before(object) && !object.owner_before(entry->object);
}

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

std::uintptr_t KVObjectRegistry::keyForObject(const void *object)
{
    return reinterpret_cast<std::uintptr_t>(object);
}

void KVObjectRegistry::registerObject(const Ref<void> &object)
{
    if (object == nullptr)
        throw NSException(NSInvalidArgumentException, QStringLiteral("registerObject: the object is nil"));
    // Declared before the guard: what is replaced is freed unlocked.
    std::unique_ptr<RegistryEntry> replaced;
    std::unique_ptr<LookupTable> outgrown;
    auto entry = std::make_unique<RegistryEntry>(RegistryEntry{keyForObject(object.get()), object});
    const std::lock_guard guard(sChange);
    if (isHeldAlready(sObjectRegistry.load(std::memory_order_relaxed), object))
        return;
    LookupTable *table = tableWithRoom(outgrown);
    replaced.reset(table->exchange(entry.release()));
    if (replaced != nullptr || outgrown != nullptr)
        sGate.drain();
}

void KVObjectRegistry::unregisterObject(const void *object)
{
    std::unique_ptr<RegistryEntry> removed;
    std::unique_ptr<LookupTable> emptied;
    const std::lock_guard guard(sChange);
    LookupTable *table = sObjectRegistry.load(std::memory_order_relaxed);
    if (table == nullptr || object == nullptr)
        return;
    removed.reset(table->take(keyForObject(object)));
    if (removed == nullptr)
        return;
    if (table->count() == 0) {
        sObjectRegistry.store(nullptr, std::memory_order_seq_cst);
        emptied.reset(table);
    }
    sGate.drain();
}

Ref<void> KVObjectRegistry::registeredObject(const void *object)
{
    if (object == nullptr)
        return nullptr;
    const LookupGate::Pass pass(sGate);
    const LookupTable *table = sObjectRegistry.load(std::memory_order_seq_cst);
    const RegistryEntry *entry = table != nullptr ? table->find(keyForObject(object)) : nullptr;
    return entry != nullptr ? entry->object : nullptr;
}

bool KVObjectRegistry::isObjectRegistered(const void *object)
{
    if (object == nullptr)
        return false;
    const LookupGate::Pass pass(sGate);
    const LookupTable *table = sObjectRegistry.load(std::memory_order_seq_cst);
    return table != nullptr && table->find(keyForObject(object)) != nullptr;
}

} // namespace KVBase
