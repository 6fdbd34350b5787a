#include <KVBase/KVPlistLocalizer.h>

#include "Platform/BundleStrings.h"

#include <utility>
#include <vector>

namespace KVBase
{

namespace
{

/// Walks a tree with a stack of its own, so that depth costs memory and never the thread's stack.
class Walk {
public:
    explicit Walk(Ref<const BundleStrings> strings) : table(std::move(strings)) {}

    QVariantList localizeArray(const QVariantList &array)
    {
        levels.emplace_back(array);
        run();
        return std::move(levels.back().list);
    }

    QVariantMap localizeDictionary(const QVariantMap &dictionary)
    {
        levels.emplace_back(dictionary);
        run();
        return std::move(levels.back().map);
    }

private:
    /// A container that is being copied: how far, and what has come of it so far.
    struct Level {
        explicit Level(const QVariantList &array) : listSource(array) { list.reserve(array.size()); }
        explicit Level(const QVariantMap &dictionary)
            : isMap(true), mapSource(dictionary), entry(mapSource.cbegin())
        {}

        bool atEnd() const { return isMap ? entry == mapSource.cend() : index == listSource.size(); }
        const QVariant &value() const { return isMap ? entry.value() : listSource[index]; }

        /// Stores what became of the current value and goes to the next one.
        void put(QVariant result)
        {
            if (isMap) {
                map.insert(map.cend(), entry.key(), result);
                ++entry;
            } else {
                list.append(std::move(result));
                ++index;
            }
        }

        QVariant result() const { return isMap ? QVariant(map) : QVariant(list); }

        bool isMap = false;
        QVariantList listSource;
        qsizetype index = 0;
        QVariantList list;
        QVariantMap mapSource;
        QVariantMap::const_iterator entry;
        QVariantMap map;
    };

    /// Works until the outermost container is done.
    void run()
    {
        while (levels.size() > 1 || !levels.back().atEnd()) {
            if (levels.back().atEnd()) {
                QVariant finished = levels.back().result();
                levels.pop_back();
                levels.back().put(std::move(finished));
            } else {
                step(levels.back().value());
            }
        }
    }

    void step(const QVariant &value)
    {
        switch (value.typeId()) {
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            levels.emplace_back(value.toList());
            break;
        case QMetaType::QVariantMap:
            levels.emplace_back(*static_cast<const QVariantMap *>(value.constData()));
            break;
        case QMetaType::QString:
            levels.back().put(translated(value));
            break;
        default:
            levels.back().put(value);
        }
    }

    QVariant translated(const QVariant &value) const
    {
        const auto *const text = static_cast<const QString *>(value.constData());
        const auto found = text->isNull() ? table->texts.cend() : table->texts.constFind(*text);
        return found == table->texts.cend() ? value : QVariant(*found);
    }

    Ref<const BundleStrings> table;
    std::vector<Level> levels;
};

} // namespace

QVariant KVPlistLocalizer::localizePlist(const QVariant &plist, const QString &table,
                                         const Ref<NSBundle> &bundle)
{
    switch (plist.typeId()) {
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return localizeArray(plist.toList(), table, bundle);
    case QMetaType::QVariantMap:
        return localizeDictionary(plist.toMap(), table, bundle);
    case QMetaType::QString:
        return localizeString(plist.toString(), table, bundle);
    default:
        return plist;
    }
}

QVariantList KVPlistLocalizer::localizeArray(const QVariantList &array, const QString &table,
                                             const Ref<NSBundle> &bundle)
{
    return bundle == nullptr ? array : Walk(BundleStrings::of(*bundle, table)).localizeArray(array);
}

QVariantMap KVPlistLocalizer::localizeDictionary(const QVariantMap &dictionary, const QString &table,
                                                 const Ref<NSBundle> &bundle)
{
    return bundle == nullptr ? dictionary
                             : Walk(BundleStrings::of(*bundle, table)).localizeDictionary(dictionary);
}

QString KVPlistLocalizer::localizeString(const QString &string, const QString &table,
                                         const Ref<NSBundle> &bundle)
{
    if (bundle == nullptr || string.isNull())
        return string;
    return bundle->localizedStringForKey(string, QString(), table);
}

} // namespace KVBase
