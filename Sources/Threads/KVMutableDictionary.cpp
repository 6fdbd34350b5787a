#include <KVBase/KVMutableDictionary.h>

#include "Threads/CollectionChecks.h"
#include "Threads/DictionaryKey.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

#include <algorithm>
#include <unordered_map>

namespace KVBase
{

namespace
{

struct KeyHash {
    std::size_t operator()(const DictionaryKey &key) const { return key.hash(); }
};

/// A key as it was given, and its value.
struct Entry {
    QVariant key;
    QVariant value;
};

DictionaryKey requireKey(const QVariant &key, const char *method)
{
    std::optional<DictionaryKey> made = DictionaryKey::fromObject(key);
    if (made)
        return *std::move(made);
    const QString reason = isNil(key) ? QStringLiteral("%1: the key is nil")
                                      : QStringLiteral("%1: an object of this kind cannot be a key");
    throw NSException(NSInvalidArgumentException, reason.arg(QLatin1StringView(method)));
}

} // namespace

struct KVMutableDictionary::Table {
    std::unordered_map<DictionaryKey, Entry, KeyHash> entries;
};

KVMutableDictionary::KVMutableDictionary() : KVMutableDictionary(0u) {}

KVMutableDictionary::KVMutableDictionary(std::uint32_t capacity) : table(std::make_unique<Table>())
{
    table->entries.reserve(std::min(capacity, kLargestReserve));
}

KVMutableDictionary::~KVMutableDictionary() = default;

std::uint32_t KVMutableDictionary::count() const
{
    const std::lock_guard guard(lock);
    return static_cast<std::uint32_t>(table->entries.size());
}

QVariant KVMutableDictionary::objectForKey(const QVariant &key) const
{
    if (isNil(key))
        return {};
    const DictionaryKey wanted = requireKey(key, "objectForKey:");
    const std::lock_guard guard(lock);
    const auto found = table->entries.find(wanted);
    return found == table->entries.end() ? QVariant() : found->second.value;
}

NSEnumerator KVMutableDictionary::keyEnumerator() const
{
    QVariantList keys;
    const std::lock_guard guard(lock);
    keys.reserve(static_cast<qsizetype>(table->entries.size()));
    for (const auto &[key, entry] : table->entries)
        keys.append(entry.key);
    return NSEnumerator(std::move(keys));
}

// In the two below, what is removed is declared before the guard: it outlives it, so that its destructor runs
// unlocked.

void KVMutableDictionary::removeObjectForKey(const QVariant &key)
{
    const DictionaryKey wanted = requireKey(key, "removeObjectForKey:");
    decltype(table->entries)::node_type removed;
    const std::lock_guard guard(lock);
    removed = table->entries.extract(wanted);
}

void KVMutableDictionary::setObject(const QVariant &object, const QVariant &key)
{
    requireObject(object, "setObject:forKey:");
    DictionaryKey wanted = requireKey(key, "setObject:forKey:");
    QVariant held = object;
    const std::lock_guard guard(lock);
    const auto found = table->entries.find(wanted);
    if (found != table->entries.end())
        found->second.value.swap(held);
    else
        table->entries.emplace(std::move(wanted), Entry{key, std::move(held)});
}

QVariant KVMutableDictionary::findOrInsert(const QVariant &key, const std::function<QVariant()> &make)
{
    DictionaryKey wanted = requireKey(key, "findOrInsert");
    const std::lock_guard guard(lock);
    const auto found = table->entries.find(wanted);
    if (found != table->entries.end())
        return found->second.value;
    QVariant made = make();
    requireObject(made, "findOrInsert");
    // `make` may have stored a value under the same key; that one stays.
    return table->entries.try_emplace(std::move(wanted), Entry{key, std::move(made)}).first->second.value;
}

} // namespace KVBase
