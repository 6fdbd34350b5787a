#include "Platform/Services/SystemVersions.h"

#include "Platform/SystemRelease.h"

#include <QtCore/QFile>
#include <QtCore/QSysInfo>

namespace KVBase
{

namespace
{

SystemRelease currentRelease()
{
    for (const char *path : {"/etc/os-release", "/usr/lib/os-release"}) {
        QFile file(QString::fromLatin1(path));
        if (file.open(QIODevice::ReadOnly))
            return SystemRelease::fromText(file.read(65536));
    }
    return {};
}

class LinuxSystemVersions final : public SystemVersions {
public:
    /// There is no media framework, so its selector is unknown.
    OSStatus gestalt(OSType selector, std::int32_t *response) override
    {
        switch (selector) {
        case kGestaltSystemVersion:
            *response = currentRelease().packed();
            return 0;
        case kGestaltSystemVersionMajor:
            *response = 10;
            return 0;
        case kGestaltSystemVersionMinor:
            *response = currentRelease().minorRelease();
            return 0;
        default:
            return kGestaltUndefinedSelector;
        }
    }

    /// A distribution without releases is named after its kernel.
    QString productVersion() override
    {
        const QString version = currentRelease().version;
        return version.isNull() ? QSysInfo::kernelVersion() : version;
    }

    QString productBuildVersion() override
    {
        const QString build = currentRelease().build;
        return build.isNull() ? QSysInfo::kernelVersion() : build;
    }

    /// Newer than every version that behaviour was ever made to depend on.
    double foundationVersionNumber() override { return 1000.0; }
    double appKitVersionNumber() override { return 1000.0; }
};

} // namespace

SystemVersions::~SystemVersions() = default;

SystemVersions *SystemVersions::makeDefault() { return new LinuxSystemVersions; }

template class Service<SystemVersions>;

} // namespace KVBase
