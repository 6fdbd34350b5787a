#include <KVBase/KVMutableArray.h>

#include "Threads/CollectionChecks.h"

#include <algorithm>

namespace KVBase
{

namespace
{

std::ptrdiff_t offset(std::uint32_t index) { return static_cast<std::ptrdiff_t>(index); }

template <class Iterator>
NSEnumerator enumeratorOver(Iterator begin, Iterator end)
{
    return NSEnumerator(QVariantList(begin, end));
}

} // namespace

Ref<KVMutableArray> KVMutableArray::array() { return std::make_shared<KVMutableArray>(0u); }

KVMutableArray::KVMutableArray() : KVMutableArray(0u) {}

KVMutableArray::KVMutableArray(std::uint32_t capacity)
{
    elements.reserve(std::min(capacity, kLargestReserve));
}

KVMutableArray::~KVMutableArray() = default;

std::uint32_t KVMutableArray::count() const
{
    const std::lock_guard guard(lock);
    return static_cast<std::uint32_t>(elements.size());
}

QVariant KVMutableArray::objectAtIndex(std::uint32_t index) const
{
    const std::lock_guard guard(lock);
    requireIndex(index, elements.size(), "objectAtIndex:");
    return elements[index];
}

void KVMutableArray::addObject(const QVariant &object)
{
    if (requireObject(object, "addObject:") < QMetaType::User) {
        const std::lock_guard guard(lock);
        elements.push_back(object);
        return;
    }
    // Copying it may call code that uses this array.
    QVariant held = object;
    const std::lock_guard guard(lock);
    elements.push_back(std::move(held));
}

void KVMutableArray::insertObject(const QVariant &object, std::uint32_t index)
{
    requireObject(object, "insertObject:atIndex:");
    QVariant held = object;
    const std::lock_guard guard(lock);
    requireIndex(index, elements.size() + 1, "insertObject:atIndex:");
    elements.insert(elements.begin() + offset(index), std::move(held));
}

// In the three below, `removed` is declared before the guard: it outlives it, so that its destructor runs
// unlocked.

void KVMutableArray::removeLastObject()
{
    QVariant removed;
    const std::lock_guard guard(lock);
    requireIndex(0, elements.size(), "removeLastObject");
    removed = std::move(elements.back());
    elements.pop_back();
}

void KVMutableArray::removeObjectAtIndex(std::uint32_t index)
{
    QVariant removed;
    const std::lock_guard guard(lock);
    requireIndex(index, elements.size(), "removeObjectAtIndex:");
    removed = std::move(elements[index]);
    elements.erase(elements.begin() + offset(index));
}

void KVMutableArray::replaceObjectAtIndex(std::uint32_t index, const QVariant &object)
{
    requireObject(object, "replaceObjectAtIndex:withObject:");
    QVariant removed = object;
    const std::lock_guard guard(lock);
    requireIndex(index, elements.size(), "replaceObjectAtIndex:withObject:");
    elements[index].swap(removed);
}

NSEnumerator KVMutableArray::objectEnumerator() const
{
    const std::lock_guard guard(lock);
    return enumeratorOver(elements.begin(), elements.end());
}

NSEnumerator KVMutableArray::reverseObjectEnumerator() const
{
    const std::lock_guard guard(lock);
    return enumeratorOver(elements.rbegin(), elements.rend());
}

std::uint32_t KVMutableArray::findOrInsert(const QVariant &object)
{
    requireObject(object, "findOrInsert");
    QVariant held = object;
    const std::lock_guard guard(lock);
    // By index and on copies: comparing may call code that uses this array.
    for (std::uint32_t index = 0; index < elements.size(); ++index) {
        const QVariant element = elements[index];
        if (element == held)
            return index;
    }
    elements.push_back(std::move(held));
    return static_cast<std::uint32_t>(elements.size() - 1);
}

} // namespace KVBase
