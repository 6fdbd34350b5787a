#include "Platform/Services/CrashFolder.h"

#include "Platform/Services/Folders.h"

#include <QtCore/QDir>

namespace KVBase
{

template class Service<CrashFolder>;

CrashFolder::~CrashFolder() = default;

namespace
{

QString tildeExpanded(const QString &path)
{
    return path == u"~" || path.startsWith(u"~/") ? QDir::homePath() + path.mid(1) : path;
}

class LinuxCrashFolder final : public CrashFolder {
public:
    QString path() override
    {
        const QStringList libraries = Service<Folders>::current()->libraryFolders(
            NSUserDomainMask | NSLocalDomainMask | NSNetworkDomainMask);
        if (libraries.isEmpty())
            return {};
        return tildeExpanded(libraries.first() + QStringLiteral("/Logs/CrashReporter"));
    }
};

} // namespace

CrashFolder *CrashFolder::makeDefault() { return new LinuxCrashFolder; }

} // namespace KVBase
