#pragma once

#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSMutableArray.h>
#include <KVBase/Platform/NSRecursiveLock.h>

#include <mutex>
#include <utility>
#include <vector>

namespace KVBase
{

/// A changeable array that threads may share: every primitive runs under one recursive lock. Thread-safe, not
/// copyable. A method blocks for as long as another thread holds the lock.
///
/// What is handed out is a copy that no other thread can take away. What is removed or replaced is released
/// after the lock, so that its destructor may use the array again. An exception leaves after the lock was
/// released.
class KV_EXPORT KVMutableArray final : public NSMutableArray {
public:
    /// A new empty array.
    static Ref<KVMutableArray> array();

    KVMutableArray();

    /// `capacity` is a hint; it changes nothing but speed.
    KVMutableArray(std::uint32_t capacity);
    ~KVMutableArray() override;

    std::uint32_t count() const override;
    QVariant objectAtIndex(std::uint32_t index) const override;
    void addObject(const QVariant &object) override;
    void insertObject(const QVariant &object, std::uint32_t index) override;
    void removeLastObject() override;
    void removeObjectAtIndex(std::uint32_t index) override;
    void replaceObjectAtIndex(std::uint32_t index, const QVariant &object) override;
    NSEnumerator objectEnumerator() const override;
    NSEnumerator reverseObjectEnumerator() const override;

    /// Extension: runs `work` while the calling thread holds the lock, so that the operations in it are one
    /// step for other threads; answers what `work` answers. The lock is released when `work` throws. What
    /// `work` removes is released at once, under the lock.
    template <class Work>
    decltype(auto) withLock(Work &&work) const
    {
        const std::lock_guard guard(lock);
        return std::forward<Work>(work)();
    }

    /// Extension: the index of the first element equal to `object`, which is appended when there is none; one
    /// step for other threads. Raises `NSInvalidArgumentException` for nil.
    std::uint32_t findOrInsert(const QVariant &object);

private:
    mutable NSRecursiveLock lock;
    std::vector<QVariant> elements;
};

} // namespace KVBase
