#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <memory>

namespace KVBase
{

/// Edits the "Contents/Info.plist" of a bundle on disk: open, change, `commit()`. Changes stay in memory
/// until then and are lost with the object. A file that could not be read as a dictionary gives nil for every
/// key, takes no values and cannot be committed. One thread at a time.
class KV_EXPORT KVMutableInfoPlist {
public:
    static Ref<KVMutableInfoPlist> mutableInfoPlistWithBundleAtPath(const QString &path);
    static Ref<KVMutableInfoPlist> mutableInfoPlistWithBundleAtURL(const QUrl &url);

    explicit KVMutableInfoPlist(const QString &bundlePath);
    explicit KVMutableInfoPlist(const QUrl &bundleUrl);
    ~KVMutableInfoPlist();
    KVMutableInfoPlist(const KVMutableInfoPlist &) = delete;
    KVMutableInfoPlist &operator=(const KVMutableInfoPlist &) = delete;

    /// The value under a plain key; nil when there is none.
    QVariant valueForKey(const QString &key) const;

    /// nil removes the key. Any value is taken; one that no property list can hold makes `commit()` fail.
    void setValue(const QVariant &value, const QString &key);

    /// Replaces the file by the current values, whole or not at all, and keeps its permissions, its owner and
    /// a symbolic link. A binary file stays binary, any other becomes XML. Further changes and commits may
    /// follow.
    bool commit();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
