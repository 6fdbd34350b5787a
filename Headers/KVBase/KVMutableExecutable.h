#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <memory>

namespace KVBase
{

/// Patches strings in an executable on disk byte for byte, its size unchanged: open, replace, `commit()`. The
/// whole file is held in memory. A file that could not be read has nothing to replace and cannot be
/// committed. One thread at a time.
class KV_EXPORT KVMutableExecutable {
public:
    static Ref<KVMutableExecutable> mutableExecutableWithBundleAtPath(const QString &path,
                                                                      const QString &executableName);
    static Ref<KVMutableExecutable> mutableExecutableWithBundleAtURL(const QUrl &url,
                                                                     const QString &executableName);
    static Ref<KVMutableExecutable> mutableExecutableWithExecutableAtURL(const QUrl &url);

    /// The file "Contents/MacOS/<executableName>" of the bundle.
    KVMutableExecutable(const QString &bundlePath, const QString &executableName);
    KVMutableExecutable(const QUrl &bundleUrl, const QString &executableName);
    explicit KVMutableExecutable(const QUrl &executableUrl);
    ~KVMutableExecutable();
    KVMutableExecutable(const KVMutableExecutable &) = delete;
    KVMutableExecutable &operator=(const KVMutableExecutable &) = delete;

    /// Overwrites every occurrence of the search string's first n bytes by the replacement's first n bytes, n
    /// being the smaller of the two lengths in characters. Only those n bytes are compared and written, and
    /// replaced bytes are not searched again: for a clean result both strings are ASCII and of one length,
    /// the shorter one padded by the caller. Answers whether there was an occurrence; false when either
    /// string is nil or empty.
    bool replaceString(const QString &search, const QString &replacement);

    /// Replaces the file by the patched bytes, whole or not at all, and keeps its permissions, its owner and
    /// a symbolic link. A running program keeps its old file.
    bool commit();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
