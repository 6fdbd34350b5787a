#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSEnumerator.h>
#include <KVBase/Platform/NSRange.h>

#include <QtCore/QVariant>

#include <cstdint>

namespace KVBase
{

/// The platform's changeable array. A subclass implements the primitives; every derived operation is built on
/// them, one primitive at a time, and is as safe on several threads as they are. Elements are never nil.
///
/// An index past the end raises `NSRangeException`, a nil element `NSInvalidArgumentException`; the array is
/// then unchanged.
class KV_EXPORT NSMutableArray {
public:
    NSMutableArray();
    NSMutableArray(const NSMutableArray &) = delete;
    NSMutableArray &operator=(const NSMutableArray &) = delete;
    virtual ~NSMutableArray();

    // Primitives.

    virtual std::uint32_t count() const = 0;

    /// The element at `index`; raises `NSRangeException` unless `index` is below the count.
    virtual QVariant objectAtIndex(std::uint32_t index) const = 0;

    /// Appends.
    virtual void addObject(const QVariant &object) = 0;

    /// Inserts before the element at `index`; the count is a valid index and appends.
    virtual void insertObject(const QVariant &object, std::uint32_t index) = 0;

    /// Raises `NSRangeException` when the array is empty.
    virtual void removeLastObject() = 0;
    virtual void removeObjectAtIndex(std::uint32_t index) = 0;
    virtual void replaceObjectAtIndex(std::uint32_t index, const QVariant &object) = 0;

    /// Walks the elements of this moment, first to last.
    virtual NSEnumerator objectEnumerator() const = 0;

    /// Walks the elements of this moment, last to first.
    virtual NSEnumerator reverseObjectEnumerator() const = 0;

    // Derived operations. Objects are equal when Qt compares them as equal; nil equals nothing.

    bool containsObject(const QVariant &object) const;

    /// The index of the first equal element, else `NSNotFound`.
    std::uint32_t indexOfObject(const QVariant &object) const;

    /// Appends one object after the other; raises at the first nil one.
    void addObjectsFromArray(const QVariantList &objects);

    /// Removes every equal element. Where another thread changes the array at the same time, an element that
    /// has moved may be missed or removed in place of the equal one.
    void removeObject(const QVariant &object);

    /// Removes as many elements as there were when it was called.
    void removeAllObjects();

    /// Whether the elements are those of `objects`, in order.
    bool isEqualToArray(const QVariantList &objects) const;

    /// The elements of this moment.
    QVariantList copy() const;
};

} // namespace KVBase
