#include "Platform/Services/Applications.h"

#include "Platform/Services/InstalledApplications_linux.h"
#include "Platform/Services/Processes.h"
#include "Platform/Services/RelaunchCommand.h"

#include <KVBase/Platform/NSBundle.h>

#include <QtCore/QFileInfo>

#include <unistd.h>

namespace KVBase
{

template class Service<Applications>;

Applications::~Applications() = default;

namespace
{

bool isMainBundle(const QString &path)
{
    const Ref<NSBundle> bundle = NSBundle::mainBundle();
    return bundle != nullptr && bundle->bundlePath() == path;
}

class LinuxApplications final : public Applications {
public:
    QString applicationForCreator(OSType creator) override
    {
        if (creator == 0)
            return {};
        const QString text = creatorText(creator);
        const QString bundle = bundleWithSignature(text);
        return bundle.isNull() ? programWithCreatorCode(text) : bundle;
    }

    bool openFile(const QString &path) override
    {
        const QFileInfo file(path);
        if (path.isEmpty() || !file.exists())
            return false;
        // An absolute path is never taken for an option.
        const QString absolute = file.absoluteFilePath();
        Processes *const processes = Service<Processes>::current();
        return processes->launchDetached({QStringLiteral("xdg-open"), absolute}, {}) ||
               processes->launchDetached({QStringLiteral("gio"), QStringLiteral("open"), absolute}, {});
    }

    bool openApplication(const QString &path) override
    {
        const QString program = path.isEmpty() ? QString() : programOfApplication(path);
        return !program.isNull() && Service<Processes>::current()->launchDetached({program}, {});
    }

    void relaunchAfterExit(const QString &path) override
    {
        startAfterExit(path, isMainBundle(path) ? ownProgram() : programOfApplication(path), ::getpid());
    }
};

} // namespace

Applications *Applications::makeDefault() { return new LinuxApplications; }

} // namespace KVBase
