#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>
#include <optional>

namespace KVBase
{

/// Identifier of this framework's own bundle.
inline constexpr QLatin1StringView kKVBaseBundleIdentifier{"com.kelvo.KVBase"};

/// A folder with an Info.plist and resources: `Contents/Info.plist` with `Contents/Resources/`, or
/// `Info.plist` with `Resources/` or the folder itself. Resources in other languages lie in
/// `<language>.lproj` folders, which are chosen by the default "AppleLanguages", else by the system's
/// languages, else by the bundle's own development region, else English.
///
/// An immutable object with identity: the Info.plist is read when the bundle is made, a string table when it
/// is first asked for. Thread-safe; blocks on the disk alone.
class KV_EXPORT NSBundle {
public:
    /// The application's: `X.app` around an executable in `X.app/Contents/MacOS/`, else
    /// `<prefix>/share/<name>` for an executable `<prefix>/bin/<name>`, else the executable's folder. Never
    /// nil.
    static Ref<NSBundle> mainBundle();

    /// This framework's, compiled in. Never nil.
    static Ref<NSBundle> frameworkBundle();

    /// The bundle of that identifier among the application's, the framework's, and those made from a path
    /// that somebody still holds; the first one wins. nil: unknown.
    static Ref<NSBundle> bundleWithIdentifier(const QString &identifier);

    /// The bundle at a folder, the same object while somebody holds it; nil when there is no folder.
    static Ref<NSBundle> bundleWithPath(const QString &path);

    ~NSBundle();
    NSBundle(const NSBundle &) = delete;
    NSBundle &operator=(const NSBundle &) = delete;

    QString bundlePath() const;

    /// The text of "CFBundleIdentifier"; nil when there is none.
    QString bundleIdentifier() const;

    /// nil when the Info.plist is missing or unreadable.
    std::optional<QVariantMap> infoDictionary() const;

    /// The table "InfoPlist" in the language chosen; nil when there is none.
    std::optional<QVariantMap> localizedInfoDictionary() const;

    /// The path of a resource, first without, then by language; nil when there is none. An extension that is
    /// nil or empty adds nothing to the name.
    QString pathForResource(const QString &name, const QString &extension) const;

    /// The content of a resource, compiled-in ones included; nil when there is none or it is unreadable.
    std::optional<QByteArray> dataForResource(const QString &name, const QString &extension) const;

    /// The text for `key` in a string table (nil or empty: "Localizable"). Without an entry it is `value`,
    /// and the key itself when that is nil or empty. A nil key gives `value`, or the empty text.
    QString localizedStringForKey(const QString &key, const QString &value, const QString &table) const;

private:
    friend struct BundleStrings;
    explicit NSBundle(const QString &path);

    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase

Q_DECLARE_METATYPE(KVBase::Ref<KVBase::NSBundle>)
