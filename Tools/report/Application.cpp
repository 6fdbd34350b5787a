#include "report/Application.h"

#include "Platform/ExecutablePath.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>

namespace report
{

using namespace KVBase;

class Application::OtherMainBundle final : public Bundles {
public:
    OtherMainBundle(Bundles *previous, const Ref<NSBundle> &other) : real(previous), bundle(other) {}
    Ref<NSBundle> mainBundle() override { return bundle; }
    Ref<NSBundle> frameworkBundle() override { return real->frameworkBundle(); }
    std::vector<Ref<NSBundle>> knownBundles() override { return real->knownBundles(); }

private:
    Bundles *real;
    Ref<NSBundle> bundle;
};

namespace
{

bool statesItsExecutable(const Ref<NSBundle> &bundle)
{
    return bundle != nullptr && bundle->infoDictionary().has_value() &&
           bundle->infoDictionary()->contains(QStringLiteral("CFBundleExecutable"));
}

} // namespace

Application::Application(const QString &name)
{
    if (name.isEmpty())
        return;
    bundles = std::make_unique<OtherMainBundle>(Service<Bundles>::current(), bundleFor(name));
    guard = std::make_unique<ScopedService<Bundles>>(bundles.get());
}

Application::~Application() = default;

QString Application::executable() const { return InfoDictionary::bundleExecutable(); }

Ref<NSBundle> Application::bundleFor(const QString &name)
{
    const QFileInfo given(name);
    if (given.isDir()) {
        const Ref<NSBundle> bundle = NSBundle::bundleWithPath(QDir::cleanPath(given.absoluteFilePath()));
        if (statesItsExecutable(bundle))
            return bundle;
    }
    const QFileInfo executable(given.isFile() ? name : QStandardPaths::findExecutable(name));
    if (executable.isFile()) {
        const Ref<NSBundle> bundle =
            NSBundle::bundleWithPath(bundlePathForExecutable(executable.absoluteFilePath()));
        if (statesItsExecutable(bundle) &&
            bundle->infoDictionary()->value(QStringLiteral("CFBundleExecutable")) == executable.fileName())
            return bundle;
    }
    return bundleNamed(QFileInfo(QDir::cleanPath(name)).fileName());
}

/// A program without a bundle keeps its settings and its crash reports under its own name.
Ref<NSBundle> Application::bundleNamed(const QString &executable)
{
    substitute = std::make_unique<QTemporaryDir>();
    NSPropertyListSerialization::writeToFile(QVariantMap{{QStringLiteral("CFBundleExecutable"), executable},
                                                         {QStringLiteral("CFBundleIdentifier"), executable},
                                                         {QStringLiteral("CFBundleName"), executable}},
                                             substitute->filePath(QStringLiteral("Info.plist")));
    return NSBundle::bundleWithPath(substitute->path());
}

} // namespace report
