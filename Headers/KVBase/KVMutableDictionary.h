#pragma once

#include <KVBase/Platform/NSMutableDictionary.h>
#include <KVBase/Platform/NSRecursiveLock.h>

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace KVBase
{

/// A changeable dictionary that threads may share: every primitive runs under one recursive lock.
/// Thread-safe, not copyable. A method blocks for as long as another thread holds the lock.
///
/// What is handed out is a copy that no other thread can take away. What is removed or replaced is released
/// after the lock, so that its destructor may use the dictionary again. An exception leaves after the lock
/// was released.
class KV_EXPORT KVMutableDictionary final : public NSMutableDictionary {
public:
    KVMutableDictionary();

    /// `capacity` is a hint; it changes nothing but speed.
    KVMutableDictionary(std::uint32_t capacity);
    ~KVMutableDictionary() override;

    std::uint32_t count() const override;
    QVariant objectForKey(const QVariant &key) const override;
    NSEnumerator keyEnumerator() const override;
    void removeObjectForKey(const QVariant &key) override;
    void setObject(const QVariant &object, const QVariant &key) override;

    /// Extension: runs `work` while the calling thread holds the lock, so that the operations in it are one
    /// step for other threads; answers what `work` answers. The lock is released when `work` throws. What
    /// `work` removes is released at once, under the lock.
    template <class Work>
    decltype(auto) withLock(Work &&work) const
    {
        const std::lock_guard guard(lock);
        return std::forward<Work>(work)();
    }

    /// Extension: the value under `key`; when there is none, the one that `make` answers, which is stored
    /// first. One step for other threads: `make` runs under the lock, once per missing key. When it throws,
    /// nothing is stored; a nil answer raises `NSInvalidArgumentException`.
    QVariant findOrInsert(const QVariant &key, const std::function<QVariant()> &make);

private:
    struct Table;

    mutable NSRecursiveLock lock;
    std::unique_ptr<Table> table;
};

} // namespace KVBase
