#include "Platform/Services/Applications.h"

#include "Platform/Services/InstalledApplications_linux.h"
#include "Platform/Services/Processes.h"
#include "Platform/Services/RelaunchCommand.h"

#include <KVBase/Platform/NSBundle.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdlib>
#include <unistd.h>

namespace KVBase
{

template class Service<Applications>;

Applications::~Applications() = default;

namespace
{

bool isProgram(const QFileInfo &file) { return file.isFile() && file.isExecutable(); }

/// What starting the application at `path` means; nil when it means nothing.
QString programFor(const QString &path)
{
    const QFileInfo file(path);
    if (file.isDir())
        return programOfBundle(path);
    return isProgram(file) ? file.absoluteFilePath() : QString();
}

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
        const QString program = path.isEmpty() ? QString() : programFor(path);
        return !program.isNull() && Service<Processes>::current()->launchDetached({program}, {});
    }

    void relaunchAfterExit(const QString &path) override
    {
        const QString program = isMainBundle(path) ? ownProgram() : programFor(path);
        qputenv("LAUNCH_PATH", QFile::encodeName(path));
        qputenv("LAUNCH_PROGRAM", QFile::encodeName(program));
        qputenv("LAUNCH_PROCESS", QByteArray::number(::getpid()));
        qputenv("LAUNCH_START", ownStartTime());
        qputenv("LAUNCH_LANGUAGE", initialEnvironmentValue("LANGUAGE"));
        // Its answer says nothing: the shell returns as soon as the waiting one runs in the background.
        [[maybe_unused]] const int ignored = std::system(relaunchCommand().constData());
    }
};

} // namespace

Applications *Applications::makeDefault() { return new LinuxApplications; }

} // namespace KVBase
