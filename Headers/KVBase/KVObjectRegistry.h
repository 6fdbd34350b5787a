#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <cstdint>

namespace KVBase
{

/// The process-wide set of live objects by address: tells code that was handed a bare pointer, such as a
/// plain callback's context, whether the object behind it still counts. Bare pointers are compared and never
/// followed, so asking about an object that was freed is safe. Equal objects at different addresses are
/// different entries.
///
/// Thread-safe. Looking up takes no lock and waits for nobody. Registering and unregistering take a lock and
/// wait for the lookups under way, which last nanoseconds.
class KV_EXPORT KVObjectRegistry {
public:
    /// The address as a number.
    static std::uintptr_t keyForObject(const void *object);

    /// Adds the object, or replaces the entry of the same address, and keeps it alive until it is
    /// unregistered. nil raises `NSInvalidArgumentException`.
    static void registerObject(const Ref<void> &object);

    /// Removes the entry of that address, however often it was registered; without one, or for null, nothing
    /// happens. The object is released before the call returns, outside any lock. The last removal frees the
    /// registry's storage.
    static void unregisterObject(const void *object);

    /// The registered object at that address, else null.
    static Ref<void> registeredObject(const void *object);

    /// Whether an object is registered at that address.
    static bool isObjectRegistered(const void *object);

    KVObjectRegistry() = delete;
};

} // namespace KVBase
