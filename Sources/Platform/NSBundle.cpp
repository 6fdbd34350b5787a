#include <KVBase/Platform/NSBundle.h>

#include "Platform/BundleRegistry.h"
#include "Platform/BundleStrings.h"
#include "Platform/LanguageChoice.h"
#include "Platform/ResourceFile.h"
#include "Platform/Services/Bundles.h"

#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <mutex>

namespace KVBase
{

namespace
{

/// Every bundle that was made from a path and still lives. Never destroyed, so that it works until the end.
struct Registry {
    std::mutex mutex;
    std::vector<std::weak_ptr<NSBundle>> bundles;
};

Registry &registry()
{
    static Registry *const only = new Registry;
    return *only;
}

QString infoPathIn(const QString &bundlePath)
{
    const QString contents = bundlePath + QStringLiteral("/Contents");
    return (QFileInfo(contents).isDir() ? contents : bundlePath) + QStringLiteral("/Info.plist");
}

QString resourceFolderIn(const QString &bundlePath)
{
    const QString contents = bundlePath + QStringLiteral("/Contents");
    if (QFileInfo(contents).isDir())
        return contents + QStringLiteral("/Resources");
    const QString resources = bundlePath + QStringLiteral("/Resources");
    return QFileInfo(resources).isDir() ? resources : bundlePath;
}

QString fileName(const QString &name, const QString &extension)
{
    return extension.isEmpty() ? name : name + u'.' + extension;
}

} // namespace

struct NSBundle::Private {
    QString path;
    QString resources;
    std::optional<QVariantMap> info;

    mutable std::mutex mutex;
    mutable std::optional<QStringList> folders;
    mutable QHash<QString, Ref<const BundleStrings>> tables;

    /// The folders that resources are looked for in, best first. The languages are read at the first question
    /// and stay, so that the texts of one process are in one language. Needs the mutex.
    const QStringList &searchFolders() const;

    QString find(const QString &file) const;
    Ref<const BundleStrings> load(const QString &table) const;
};

const QStringList &NSBundle::Private::searchFolders() const
{
    if (folders)
        return *folders;
    QStringList available =
        QDir(resources).entryList({QStringLiteral("*.lproj")}, QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (QString &name : available)
        name.chop(6);
    const QString region =
        info.value_or(QVariantMap()).value(QStringLiteral("CFBundleDevelopmentRegion")).toString();
    folders = QStringList{resources};
    for (const QString &name : chosenLocalizations(available, preferredLanguages(), region))
        folders->append(resources + u'/' + name + QStringLiteral(".lproj"));
    return *folders;
}

QString NSBundle::Private::find(const QString &file) const
{
    const std::lock_guard lock(mutex);
    for (const QString &folder : searchFolders()) {
        const QString candidate = folder + u'/' + file;
        if (QFileInfo::exists(candidate))
            return candidate;
    }
    return {};
}

Ref<const BundleStrings> NSBundle::Private::load(const QString &table) const
{
    const QString file = find(table + QStringLiteral(".strings"));
    const std::optional<QByteArray> data = file.isNull() ? std::nullopt : contentsOfFile(file);
    BundleStrings strings;
    strings.exists = data.has_value();
    if (data)
        strings.texts = PropertyLists::stringTableFromData(*data);
    return std::make_shared<const BundleStrings>(std::move(strings));
}

Ref<const BundleStrings> BundleStrings::of(const NSBundle &bundle, const QString &table)
{
    const QString name = table.isEmpty() ? QStringLiteral("Localizable") : table;
    const NSBundle::Private &d = *bundle.d;
    {
        const std::lock_guard lock(d.mutex);
        const auto known = d.tables.constFind(name);
        if (known != d.tables.cend())
            return *known;
    }
    const Ref<const BundleStrings> loaded = d.load(name);
    const std::lock_guard lock(d.mutex);
    auto place = d.tables.find(name);
    if (place == d.tables.end())
        place = d.tables.insert(name, loaded);
    return *place;
}

NSBundle::NSBundle(const QString &path) : d(std::make_unique<Private>())
{
    d->path = path;
    d->resources = resourceFolderIn(path);
    d->info = NSPropertyListSerialization::dictionaryWithContentsOfFile(infoPathIn(path));
}

NSBundle::~NSBundle() = default;

Ref<NSBundle> NSBundle::mainBundle() { return Service<Bundles>::current()->mainBundle(); }

Ref<NSBundle> NSBundle::frameworkBundle() { return Service<Bundles>::current()->frameworkBundle(); }

Ref<NSBundle> NSBundle::bundleWithIdentifier(const QString &identifier)
{
    if (identifier.isNull())
        return nullptr;
    Bundles *const service = Service<Bundles>::current();
    std::vector<Ref<NSBundle>> candidates = service->knownBundles();
    candidates.insert(candidates.begin(), {service->mainBundle(), service->frameworkBundle()});
    for (const Ref<NSBundle> &bundle : candidates) {
        if (bundle != nullptr && bundle->bundleIdentifier() == identifier &&
            !bundle->bundleIdentifier().isNull())
            return bundle;
    }
    return nullptr;
}

Ref<NSBundle> NSBundle::bundleWithPath(const QString &path)
{
    const QFileInfo folder(path);
    if (path.isEmpty() || !folder.isDir())
        return nullptr;
    const QString cleaned = QDir::cleanPath(folder.absoluteFilePath());
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().bundles, [](const std::weak_ptr<NSBundle> &bundle) { return bundle.expired(); });
    for (const std::weak_ptr<NSBundle> &known : registry().bundles) {
        const Ref<NSBundle> bundle = known.lock();
        if (bundle != nullptr && bundle->bundlePath() == cleaned)
            return bundle;
    }
    Ref<NSBundle> made(new NSBundle(cleaned));
    registry().bundles.push_back(made);
    return made;
}

std::vector<Ref<NSBundle>> liveBundles()
{
    std::vector<Ref<NSBundle>> live;
    const std::lock_guard lock(registry().mutex);
    for (const std::weak_ptr<NSBundle> &known : registry().bundles) {
        if (Ref<NSBundle> bundle = known.lock())
            live.push_back(std::move(bundle));
    }
    return live;
}

QString NSBundle::bundlePath() const { return d->path; }

QString NSBundle::bundleIdentifier() const
{
    return d->info ? d->info->value(QStringLiteral("CFBundleIdentifier")).toString() : QString();
}

std::optional<QVariantMap> NSBundle::infoDictionary() const { return d->info; }

std::optional<QVariantMap> NSBundle::localizedInfoDictionary() const
{
    const Ref<const BundleStrings> strings = BundleStrings::of(*this, QStringLiteral("InfoPlist"));
    if (!strings->exists)
        return std::nullopt;
    QVariantMap dictionary;
    for (auto text = strings->texts.cbegin(); text != strings->texts.cend(); ++text)
        dictionary.insert(text.key(), text.value());
    return dictionary;
}

QString NSBundle::pathForResource(const QString &name, const QString &extension) const
{
    return name.isEmpty() ? QString() : d->find(fileName(name, extension));
}

std::optional<QByteArray> NSBundle::dataForResource(const QString &name, const QString &extension) const
{
    const QString path = pathForResource(name, extension);
    return path.isNull() ? std::nullopt : contentsOfFile(path);
}

QString NSBundle::localizedStringForKey(const QString &key, const QString &value, const QString &table) const
{
    if (key.isNull())
        return value.isNull() ? QStringLiteral("") : value;
    const Ref<const BundleStrings> strings = BundleStrings::of(*this, table);
    const auto text = strings->texts.constFind(key);
    if (text != strings->texts.cend())
        return *text;
    return value.isEmpty() ? key : value;
}

} // namespace KVBase
