#include "Platform/Services/Bundles.h"

#include "Platform/BundleRegistry.h"
#include "Platform/ExecutablePath.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <array>

#include <unistd.h>

namespace KVBase
{

QString executablePath()
{
    std::array<char, 4096> target{};
    const ssize_t length = ::readlink("/proc/self/exe", target.data(), target.size());
    QString path = length > 0 ? QFile::decodeName(QByteArray(target.data(), length)) : QString();
    // The kernel's mark on a program whose file was replaced while it ran.
    const QLatin1StringView mark(" (deleted)");
    if (path.endsWith(mark))
        path.chop(mark.size());
    return path;
}

QString bundlePathForExecutable(const QString &executable)
{
    const QFileInfo file(executable);
    const QDir folder = file.absoluteDir();
    const QString path = folder.absolutePath();
    if (path.endsWith(QLatin1StringView(".app/Contents/MacOS")))
        return path.chopped(QLatin1StringView("/Contents/MacOS").size());
    if (folder.dirName() == QLatin1StringView("bin")) {
        const QString shared = QDir::cleanPath(path + QStringLiteral("/../share/") + file.fileName());
        if (QFileInfo(shared).isDir())
            return shared;
    }
    return path;
}

namespace
{

/// Both bundles are made at the first question and kept.
class LinuxBundles final : public Bundles {
public:
    Ref<NSBundle> mainBundle() override
    {
        static const Ref<NSBundle> *const bundle =
            new Ref<NSBundle>(NSBundle::bundleWithPath(bundlePathForExecutable(executablePath())));
        return *bundle;
    }

    Ref<NSBundle> frameworkBundle() override
    {
        static const Ref<NSBundle> *const bundle =
            new Ref<NSBundle>(NSBundle::bundleWithPath(QStringLiteral(":/KVBase")));
        return *bundle;
    }

    std::vector<Ref<NSBundle>> knownBundles() override { return liveBundles(); }
};

} // namespace

Bundles::~Bundles() = default;

Bundles *Bundles::makeDefault() { return new LinuxBundles; }

template class Service<Bundles>;

} // namespace KVBase
