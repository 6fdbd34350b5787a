#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/NSKeyValueObserving.h>

#include <QtCore/QString>

#include <cstdint>
#include <functional>
#include <memory>

namespace KVBase
{

/// Keeps account of the key-value observations of one observer and removes them, last registered first, when
/// it is cleaned up or destroyed: an observer that owns its helper cannot forget one. Used on the observer's
/// thread; not copyable.
///
/// An observed object given as shared pointer is kept alive until cleanup; one given as plain pointer may go
/// earlier, which ends its observations.
class KV_EXPORT KVObserverHelper {
public:
    /// The observer is not retained: it owns the helper.
    KVObserverHelper(QObject *observer);

    /// `cleanup()`.
    ~KVObserverHelper();
    KVObserverHelper(const KVObserverHelper &) = delete;
    KVObserverHelper &operator=(const KVObserverHelper &) = delete;

    /// Observes with options 0.
    void observeKeyPath(const QString &keyPath, const KVTarget &object, void *context);

    /// Records the object and the key path, then observes as `NSKeyValueObserving::addObserver` does, with
    /// its exceptions. The same pair twice is two observations. A nil object or key path is recorded and
    /// observes nothing.
    void observeKeyPath(const QString &keyPath, const KVTarget &object, void *context, std::uint32_t options);

    /// The same with a callable in place of the observer's method.
    void observe(const QString &keyPath, const KVTarget &object,
                 std::function<void(const QVariantMap &change)> work);
    void observe(const QString &keyPath, const KVTarget &object,
                 std::function<void(const QVariantMap &change)> work, std::uint32_t options);

    /// Removes every registration of the observer from the default notification center, also those not made
    /// through the helper, then does `cleanupKVO()`.
    void cleanup();

    /// Removes the observations, last registered first. The helper can be used again.
    void cleanupKVO();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
