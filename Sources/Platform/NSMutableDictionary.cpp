#include <KVBase/Platform/NSMutableDictionary.h>

namespace KVBase
{

NSMutableDictionary::NSMutableDictionary() = default;

NSMutableDictionary::~NSMutableDictionary() = default;

QVariantList NSMutableDictionary::allKeys() const { return keyEnumerator().allObjects(); }

QVariantList NSMutableDictionary::allValues() const
{
    QVariantList values;
    for (const auto &[key, value] : copy())
        values.append(value);
    return values;
}

void NSMutableDictionary::removeAllObjects()
{
    for (const QVariant &key : allKeys())
        removeObjectForKey(key);
}

QList<std::pair<QVariant, QVariant>> NSMutableDictionary::copy() const
{
    QList<std::pair<QVariant, QVariant>> entries;
    for (const QVariant &key : allKeys()) {
        QVariant value = objectForKey(key);
        if (value.isValid())
            entries.append({key, std::move(value)});
    }
    return entries;
}

} // namespace KVBase
