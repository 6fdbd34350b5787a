#include "Platform/Services/Folders.h"

#include <QtCore/QDir>
#include <QtCore/QStandardPaths>

namespace KVBase
{

namespace
{

class LinuxFolders final : public Folders {
public:
    /// There is no Library of the network, and the system's own is nobody's to write to.
    QStringList libraryFolders(std::uint32_t domains) override
    {
        QStringList folders;
        if ((domains & NSUserDomainMask) != 0)
            folders.append(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
        if ((domains & NSLocalDomainMask) != 0)
            folders.append(QStringLiteral("/usr/local/share"));
        if ((domains & NSSystemDomainMask) != 0)
            folders.append(QStringLiteral("/usr/share"));
        return folders;
    }

    QString temporaryFolder() override { return QDir::tempPath(); }

    QString frameworksFolder() override { return QStringLiteral("/System/Library/Frameworks"); }
};

} // namespace

Folders::~Folders() = default;

Folders *Folders::makeDefault() { return new LinuxFolders; }

template class Service<Folders>;

} // namespace KVBase
