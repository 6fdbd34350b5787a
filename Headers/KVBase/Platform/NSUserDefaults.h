#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <memory>
#include <optional>

namespace KVBase
{

/// The application's settings: what was stored, above what was registered as a default. One property list for
/// each application below the XDG configuration folder, readable by its owner alone, named after the main
/// bundle's identifier, else after the program.
///
/// A change is seen by this process at once. It reaches the disk with `synchronize()`, soon after when the
/// application's loop runs, and at the end of the process. Only the changed keys are written over what
/// another process has stored meanwhile. A file that is no property list is kept under a name of its own
/// before the next write. Thread-safe.
class KV_EXPORT NSUserDefaults {
public:
    /// Never destroyed. The first call reads the file.
    static NSUserDefaults &standardUserDefaults();

    NSUserDefaults(const NSUserDefaults &) = delete;
    NSUserDefaults &operator=(const NSUserDefaults &) = delete;

    /// Values for keys that have none stored. A later registration of a key wins; nothing is written.
    void registerDefaults(const QVariantMap &dictionary);

    /// The stored value, else the registered one; nil when there is neither.
    QVariant objectForKey(const QString &key) const;

    /// A string, or the text of a number; nil for other kinds and for none.
    QString stringForKey(const QString &key) const;

    /// nil for other kinds and for none.
    std::optional<QVariantList> arrayForKey(const QString &key) const;

    /// A number cut to an integer, 1 for true, the leading integer of a string; 0 for other kinds and for
    /// none. Values out of range saturate.
    std::int64_t integerForKey(const QString &key) const;

    /// Stores a property-list value; nil removes. A value that no property list can hold, and a nil key,
    /// change nothing.
    void setObject(const QVariant &object, const QString &key);
    void setInteger(std::int64_t value, const QString &key);

    /// Removes the stored value; a registered one shows again.
    void removeObjectForKey(const QString &key);

    /// Writes the changes and takes in those of other processes. Blocks on the disk and on another process
    /// that is doing the same. false: nothing was written, and the changes wait for the next time.
    bool synchronize();

private:
    NSUserDefaults();
    ~NSUserDefaults();

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
