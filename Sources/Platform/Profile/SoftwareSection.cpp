#include "Platform/Profile/Sections.h"

#include <QtCore/QtGlobal>

#include <gnu/libc-version.h>

namespace KVBase::Profile
{

namespace
{

/// The value of `key` in an os-release file, without its quotes.
QString releaseValue(const QByteArray &text, const QByteArray &key)
{
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray &line : lines) {
        if (!line.startsWith(key + '='))
            continue;
        QByteArray value = line.mid(key.size() + 1).trimmed();
        const bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'');
        if (quoted && value.back() == value.front())
            value = value.mid(1, value.size() - 2);
        return QString::fromUtf8(value).simplified();
    }
    return {};
}

QString systemName(const SystemFiles &files)
{
    QByteArray release = files.bytes(QStringLiteral("/etc/os-release"));
    if (release.isEmpty())
        release = files.bytes(QStringLiteral("/usr/lib/os-release"));
    const QString name = releaseValue(release, "PRETTY_NAME");
    return name.isEmpty() ? releaseValue(release, "NAME") : name;
}

QString kernelName(const SystemFiles &files)
{
    const QString folder = QStringLiteral("/proc/sys/kernel/");
    return (files.text(folder + QStringLiteral("ostype")) + u' ' +
            files.text(folder + QStringLiteral("osrelease")) + u' ' +
            files.text(folder + QStringLiteral("version")))
        .simplified();
}

QString upTime(const SystemFiles &files)
{
    const QString text = files.text(QStringLiteral("/proc/uptime"));
    if (text.isEmpty())
        return {};
    const qlonglong minutes = static_cast<qlonglong>(text.section(u' ', 0, 0).toDouble()) / 60;
    return QStringLiteral("%1 days %2:%3")
        .arg(minutes / 1440)
        .arg(minutes / 60 % 24)
        .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

/// The file system type of the root folder, from lines of "device folder type options ...".
QString rootFileSystem(const SystemFiles &files)
{
    QString type;
    const QList<QByteArray> lines = files.bytes(QStringLiteral("/proc/mounts")).split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() > 2 && fields[1] == "/")
            type = QString::fromUtf8(fields[2]);
    }
    return type;
}

} // namespace

QVariantList softwareItems(const SystemFiles &files)
{
    QVariantMap item{{QStringLiteral("_name"), QStringLiteral("System Software Overview")}};
    setUnlessEmpty(&item, QStringLiteral("System"), systemName(files));
    setUnlessEmpty(&item, QStringLiteral("Kernel"), kernelName(files));
    setUnlessEmpty(&item, QStringLiteral("Boot File System"), rootFileSystem(files));
    setUnlessEmpty(&item, QStringLiteral("Time Since Boot"), upTime(files));
    setUnlessEmpty(&item, QStringLiteral("C Library"), QString::fromLatin1(gnu_get_libc_version()));
    setUnlessEmpty(&item, QStringLiteral("Qt"), QString::fromLatin1(qVersion()));
    setUnlessEmpty(&item, QStringLiteral("Desktop"),
                   qEnvironmentVariable("XDG_CURRENT_DESKTOP").simplified());
    setUnlessEmpty(&item, QStringLiteral("Session"), qEnvironmentVariable("XDG_SESSION_TYPE").simplified());
    setUnlessEmpty(&item, QStringLiteral("Language"), qEnvironmentVariable("LANG").simplified());
    return {item};
}

} // namespace KVBase::Profile
