#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QObject>
#include <QtCore/QString>

namespace KVBase
{

/// The class object of that name: a `QObject` whose invokable methods are the class methods. null: no such
/// class. Any thread; the object is not owned and lives as long as its registration.
KV_EXPORT QObject *NSClassFromString(const QString &name);

/// The class object of the nearest registered class of `object`'s meta-object chain, with or without the
/// namespace in its name; null when there is none or `object` is null.
KV_EXPORT QObject *NSClassOfObject(const QObject *object);

/// Registers a class by name while it lives. Thread-safe; a later registration of a name wins, and its end
/// brings the earlier one back. A module that registers from file scope must not be unloaded.
class KV_EXPORT NSClassRegistration {
public:
    NSClassRegistration(const char *name, QObject *classObject);
    ~NSClassRegistration();
    NSClassRegistration(const NSClassRegistration &) = delete;
    NSClassRegistration &operator=(const NSClassRegistration &) = delete;
};

} // namespace KVBase
