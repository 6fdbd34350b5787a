#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSEnumerator.h>

#include <QtCore/QList>
#include <QtCore/QVariant>

#include <cstdint>
#include <utility>

namespace KVBase
{

/// The platform's changeable dictionary. A subclass implements the primitives; every derived operation is
/// built on them, one primitive at a time. Values are never nil.
///
/// Keys are values: text, data, numbers (1, 1.0 and true are one key), dates, addresses and UUIDs; they are
/// copied. A nil value, a nil key or a key of another kind raises `NSInvalidArgumentException`; only looking
/// a nil key up answers nil. The order of keys is not defined.
class KV_EXPORT NSMutableDictionary {
public:
    NSMutableDictionary();
    NSMutableDictionary(const NSMutableDictionary &) = delete;
    NSMutableDictionary &operator=(const NSMutableDictionary &) = delete;
    virtual ~NSMutableDictionary();

    // Primitives.

    virtual std::uint32_t count() const = 0;

    /// nil when there is no such key.
    virtual QVariant objectForKey(const QVariant &key) const = 0;

    /// Walks the keys of this moment.
    virtual NSEnumerator keyEnumerator() const = 0;

    /// Does nothing when there is no such key.
    virtual void removeObjectForKey(const QVariant &key) = 0;

    /// Adds the key or replaces its value; a replaced value keeps its first key.
    virtual void setObject(const QVariant &object, const QVariant &key) = 0;

    // Derived operations.

    QVariantList allKeys() const;

    /// The values in the order of `allKeys()`; a key removed in the meantime is left out.
    QVariantList allValues() const;

    /// Removes the keys that there were when it was called.
    void removeAllObjects();

    /// Keys with their values; a key removed in the meantime is left out.
    QList<std::pair<QVariant, QVariant>> copy() const;
};

} // namespace KVBase
