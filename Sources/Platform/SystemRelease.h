#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdint>

namespace KVBase
{

/// A distribution's release as its os-release file gives it.
struct KV_EXPORT SystemRelease {
    /// Reads the lines `NAME=value` of an os-release file; what is missing stays nil or 0.
    static SystemRelease fromText(const QByteArray &osRelease);

    /// "12", "22.04"; nil when the distribution has no releases.
    QString version;

    /// The build that the distribution names; nil when it names none, or calls it "rolling".
    QString build;

    /// The number before and the number behind the first dot of `version`.
    std::int32_t major = 0;
    std::int32_t minor = 0;

    /// The minor release that callers compare with: the distribution's major release, at least 6, so that
    /// every current system counts as newer than all the releases that are asked for by name.
    std::int32_t minorRelease() const;

    /// 0x1000, sixteen times the minor release, and the distribution's minor release up to 9.
    std::int32_t packed() const;
};

} // namespace KVBase
