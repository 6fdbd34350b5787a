#include "Platform/SystemRelease.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace KVBase
{

namespace
{

/// A major release beyond this would not fit the packed number.
constexpr std::int32_t kHighestMajor = 0x07fffe00 - 1;

QString unquoted(const QString &value)
{
    const bool quoted = value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') &&
                        value.back() == value.front();
    return quoted ? value.sliced(1, value.size() - 2) : value;
}

std::int32_t leadingNumber(QStringView text)
{
    std::int64_t number = 0;
    for (const QChar digit : text) {
        if (digit < u'0' || digit > u'9')
            break;
        number = std::min<std::int64_t>(number * 10 + (digit.unicode() - u'0'), kHighestMajor);
    }
    return static_cast<std::int32_t>(number);
}

} // namespace

SystemRelease SystemRelease::fromText(const QByteArray &osRelease)
{
    SystemRelease release;
    for (const QString &line : QString::fromUtf8(osRelease).split(u'\n')) {
        const QString value = unquoted(line.section(u'=', 1).trimmed());
        if (value.isEmpty())
            continue;
        if (line.startsWith(QLatin1StringView("VERSION_ID=")))
            release.version = value;
        else if (line.startsWith(QLatin1StringView("BUILD_ID=")) && value != QLatin1StringView("rolling"))
            release.build = value;
    }
    release.major = leadingNumber(release.version);
    release.minor = leadingNumber(release.version.section(u'.', 1, 1));
    return release;
}

std::int32_t SystemRelease::minorRelease() const { return std::max(major, 6); }

std::int32_t SystemRelease::packed() const { return 0x1000 + minorRelease() * 16 + std::min(minor, 9); }

} // namespace KVBase
