#include <KVBase/Platform/NSClass.h>

#include <QtCore/QByteArray>

#include <algorithm>
#include <mutex>
#include <vector>

namespace KVBase
{

namespace
{

struct Entry {
    const NSClassRegistration *registration = nullptr;
    QByteArray name;
    QObject *classObject = nullptr;
};

/// The framework's classes and those of the platform that it brings along.
constexpr const char *kFrameworkClasses[] = {
    "ABAddressBook",
    "ABPerson",
    "ABSearchElement",
    "CIColor",
    "CIFilter",
    "CSRegex",
    "KVAppVersionUtils",
    "KVBackgroundThread",
    "KVBitmapContext",
    "KVCIFilterUtils",
    "KVConsole",
    "KVCrashReporter",
    "KVErrException",
    "KVException",
    "KVHTTPPost",
    "KVImageUtils",
    "KVMainThread",
    "KVMutableArray",
    "KVMutableDictionary",
    "KVMutableExecutable",
    "KVMutableInfoPlist",
    "KVObjectRegistry",
    "KVObserverHelper",
    "KVPathUtils",
    "KVPlistLocalizer",
    "KVQuartzExtreme",
    "KVSystemProfiler",
    "KVUTimer",
    "KV_VCard",
    "NSApplication",
    "NSBitmapImageRep",
    "NSBundle",
    "NSEnumerator",
    "NSError",
    "NSException",
    "NSImage",
    "NSImageRep",
    "NSMutableArray",
    "NSMutableDictionary",
    "NSNotification",
    "NSNotificationCenter",
    "NSNotificationQueue",
    "NSObject",
    "NSPropertyListSerialization",
    "NSRunLoop",
    "NSTimer",
    "NSUserDefaults",
};

/// Never destroyed: a module's registration may end after everything else. The framework's own classes stand
/// below all others; they are made with the registry, because nothing is done when the library is loaded.
struct Registry {
    Registry()
    {
        for (const char *name : kFrameworkClasses)
            entries.push_back({nullptr, name, new QObject});
    }

    std::mutex mutex;
    std::vector<Entry> entries;

    QObject *find(QByteArrayView name) const
    {
        const auto entry = std::find_if(entries.rbegin(), entries.rend(),
                                        [name](const Entry &known) { return known.name == name; });
        return entry == entries.rend() ? nullptr : entry->classObject;
    }
};

Registry &registry()
{
    static Registry *const only = new Registry;
    return *only;
}

} // namespace

NSClassRegistration::NSClassRegistration(const char *name, QObject *classObject)
{
    const std::lock_guard lock(registry().mutex);
    registry().entries.push_back({this, name, classObject});
}

NSClassRegistration::~NSClassRegistration()
{
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().entries, [this](const Entry &entry) { return entry.registration == this; });
}

QObject *NSClassFromString(const QString &name)
{
    if (name.isEmpty())
        return nullptr;
    const std::lock_guard lock(registry().mutex);
    return registry().find(name.toUtf8());
}

QObject *NSClassOfObject(const QObject *object)
{
    if (object == nullptr)
        return nullptr;
    const std::lock_guard lock(registry().mutex);
    for (const QMetaObject *type = object->metaObject(); type != nullptr; type = type->superClass()) {
        const QByteArrayView full(type->className());
        const qsizetype scope = full.lastIndexOf("::");
        QObject *found = registry().find(full);
        if (found == nullptr && scope >= 0)
            found = registry().find(full.sliced(scope + 2));
        if (found != nullptr)
            return found;
    }
    return nullptr;
}

} // namespace KVBase
