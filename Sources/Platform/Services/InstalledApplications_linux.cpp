#include "Platform/Services/InstalledApplications_linux.h"

#include "Platform/DesktopEntry.h"
#include "Platform/Services/FileManager.h"

#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QStandardPaths>

#include <array>
#include <optional>

namespace KVBase
{

namespace
{

/// The XDG data folders, the user's first.
QStringList dataFolders() { return QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation); }

QString infoFile(const QString &bundlePath)
{
    const QString inContents = bundlePath + QStringLiteral("/Contents/Info.plist");
    return QFileInfo::exists(inContents) ? inContents : bundlePath + QStringLiteral("/Info.plist");
}

QVariantMap infoOf(const QString &bundlePath)
{
    const QString file = infoFile(bundlePath);
    if (!QFileInfo(file).isFile())
        return {};
    return NSPropertyListSerialization::dictionaryWithContentsOfFile(file).value_or(QVariantMap());
}

QStringList foldersIn(const QString &parent, const QString &pattern)
{
    QStringList paths;
    for (const QString &name :
         QDir(parent).entryList({pattern}, QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        paths.append(parent + u'/' + name);
    return paths;
}

QStringList installedBundles()
{
    const QString bundles = QStringLiteral("*.app");
    QStringList paths = foldersIn(QDir::homePath() + QStringLiteral("/Applications"), bundles);
    for (const QString &data : dataFolders())
        paths += foldersIn(data, QStringLiteral("*"));
    paths += foldersIn(QStringLiteral("/Applications"), bundles);
    paths += foldersIn(QStringLiteral("/opt"), bundles);
    return paths;
}

std::optional<DesktopEntry> readEntry(const QString &path)
{
    const auto data = Service<FileManager>::current()->read(path);
    return data ? std::optional(DesktopEntry(*data)) : std::nullopt;
}

/// Identifier of each entry below a folder, with its path: what lies in sub-folders has "-" for "/".
QMap<QString, QString> entriesBelow(const QString &folder)
{
    QMap<QString, QString> entries;
    Service<FileManager>::current()->forEachEntryBelow(folder, [&](const FolderEntry &entry) {
        const QString relative = entry.relativePath();
        if (relative.endsWith(QLatin1StringView(".desktop")))
            entries.insert(QString(relative).replace(u'/', u'-'), folder + u'/' + relative);
        return WalkStep::GoOn;
    });
    return entries;
}

QString programFile(const QString &name)
{
    if (name.startsWith(u'/'))
        return QFileInfo(name).isExecutable() ? name : QString();
    const QString found = name.isEmpty() ? QString() : QStandardPaths::findExecutable(name);
    return found.isEmpty() ? QString() : found;
}

bool isProgram(const QFileInfo &file) { return file.isFile() && file.isExecutable(); }

QString programOfBundle(const QString &bundlePath)
{
    const QString path = QDir::cleanPath(QDir(bundlePath).absolutePath());
    QString name = infoOf(path).value(QStringLiteral("CFBundleExecutable")).toString();
    if (name.isEmpty())
        name = QFileInfo(path).fileName().remove(QRegularExpression(QStringLiteral("\\.app$")));
    const std::array candidates{path + QStringLiteral("/Contents/MacOS/") + name, path + u'/' + name,
                                QFileInfo(path).path() + QStringLiteral("/../bin/") + name};
    for (const QString &candidate : candidates) {
        if (isProgram(QFileInfo(candidate)))
            return QDir::cleanPath(candidate);
    }
    return {};
}

} // namespace

QString creatorText(OSType creator)
{
    QString text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text.append(QLatin1Char(static_cast<char>((creator >> shift) & 0xff)));
    return text;
}

QString bundleWithSignature(const QString &signature)
{
    for (const QString &path : installedBundles()) {
        if (infoOf(path).value(QStringLiteral("CFBundleSignature")).toString() == signature)
            return path;
    }
    return {};
}

QString programWithCreatorCode(const QString &code)
{
    // The first entry of an identifier hides those in later folders, even if it says that the application is
    // gone.
    QSet<QString> seen;
    for (const QString &data : dataFolders()) {
        const QMap<QString, QString> entries = entriesBelow(data + QStringLiteral("/applications"));
        for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
            const auto read = seen.contains(entry.key()) ? std::nullopt : readEntry(entry.value());
            seen.insert(entry.key());
            if (!read || read->isTrue(QStringLiteral("Hidden")) ||
                read->value(QStringLiteral("X-CreatorCode")) != code)
                continue;
            const QStringList command = read->command();
            const QString program = command.isEmpty() ? QString() : programFile(command.first());
            if (!program.isNull())
                return program;
        }
    }
    return {};
}

QString programOfApplication(const QString &path)
{
    const QFileInfo file(path);
    if (file.isDir())
        return programOfBundle(path);
    return !path.isEmpty() && isProgram(file) ? file.absoluteFilePath() : QString();
}

} // namespace KVBase
