#include <KVBase/KVCrashReporter.h>

#include "Platform/CrashHandler.h"
#include "Platform/Services/CrashFolder.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/SystemVersions.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/Platform/KVNil.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cstring>

namespace KVBase
{

namespace
{

template <std::size_t N>
void copyText(const QByteArray &text, char (&destination)[N])
{
    const std::size_t length = std::min(static_cast<std::size_t>(text.size()), N - 1);
    std::memcpy(destination, text.constData(), length);
    destination[length] = '\0';
}

/// Reports are found by the name of the executable that the bundle states; a program without a bundle has its
/// own name.
QString programName()
{
    const QString executable = InfoDictionary::bundleExecutable();
    return executable.isEmpty()
               ? QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget().section(u'/', -1)
               : executable;
}

QString versionText()
{
    const QString marketing = InfoDictionary::shortVersionString();
    const QString revision = InfoDictionary::bundleVersion();
    if (revision.isEmpty())
        return marketing;
    return QStringLiteral("%1 (%2)").arg(marketing.isEmpty() ? QStringLiteral("*.*") : marketing, revision);
}

CrashNotice makeNotice(const QString &folder)
{
    SystemVersions *const system = Service<SystemVersions>::current();
    CrashNotice notice;
    copyText(programName().replace(u'/', u'_').toUtf8(), notice.program);
    copyText(InfoDictionary::bundleIdentifier().toUtf8(), notice.identifier);
    copyText(versionText().toUtf8(), notice.version);
    copyText(
        (system->productVersion() + QStringLiteral(" (") + system->productBuildVersion() + u')').toUtf8(),
        notice.system);
    copyText(QFile::encodeName(folder), notice.folder);
    return notice;
}

constexpr std::uint32_t kPrivateFolderMode = 0700;

} // namespace

bool KVCrashReporter::install()
{
    if (CrashHandler::isInstalled()) {
        CrashHandler::giveAlternateStack();
        return true;
    }
    const QString folder = Service<CrashFolder>::current()->path();
    const QByteArray program = CrashHandler::reportProgram();
    if (isNil(folder) || program.isEmpty())
        return false;
    if (!Service<FileManager>::current()->createDirectory(folder, true, kPrivateFolderMode))
        return false;
    CrashHandler::install(makeNotice(folder), program);
    return true;
}

void KVCrashReporter::uninstall() { CrashHandler::uninstall(); }

} // namespace KVBase
