#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <optional>

namespace KVBase
{

/// The property list on disk that an application's settings live in, shared by its processes. A lock file
/// beside it, never removed, keeps two processes from writing over each other's keys. Immutable; any thread.
class KV_EXPORT DefaultsFile {
public:
    /// Which missing folders are made for the file.
    enum class Folders : std::uint8_t { LastOnly, AsNeeded };

    explicit DefaultsFile(const QString &path);

    /// The settings in the file, none when there is no file or a damaged one; nil when it cannot be read.
    std::optional<QVariantMap> read() const;

    /// Puts `changes` over what the file holds now, an invalid value removing its key, and answers the
    /// result. A damaged file is first moved aside. Nothing is written without changes. nil: failed, and the
    /// file is as it was.
    std::optional<QVariantMap> merge(const QVariantMap &changes, Folders folders) const;

private:
    enum class Condition : std::uint8_t { Missing, Sound, Damaged, Closed };
    struct Content {
        Condition condition = Condition::Missing;
        QVariantMap settings;
    };

    Content load() const;
    bool makeFolder(Folders folders) const;
    int lock() const;
    bool keepAside() const;
    std::optional<QVariantMap> mergeLocked(const QVariantMap &changes) const;

    const QString path;
};

} // namespace KVBase
