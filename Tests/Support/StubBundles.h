#pragma once

#include "Platform/Services/Bundles.h"
#include "Support/TestPaths.h"

#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <utility>

namespace KVBase::Tests
{

inline void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(content);
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A bundle folder of its own below the scratch folder, gone with the object: `Contents/Info.plist` with the
/// given values, and whatever a test writes into `Contents/Resources`.
class BundleFolder {
public:
    explicit BundleFolder(const QVariantMap &info)
        : folder(scratchFolder() + QStringLiteral("/bundle-XXXXXX.app"))
    {
        QDir().mkpath(path() + QStringLiteral("/Contents"));
        NSPropertyListSerialization::writeToFile(info, path() + QStringLiteral("/Contents/Info.plist"));
    }

    QString path() const { return folder.path(); }
    QString infoPath() const { return path() + QStringLiteral("/Contents/Info.plist"); }
    QString resource(const QString &name) const
    {
        return path() + QStringLiteral("/Contents/Resources/") + name;
    }

    void addResource(const QString &name, const QByteArray &content) const
    {
        writeFile(resource(name), content);
    }

    /// Made anew from what the folder holds now.
    Ref<NSBundle> bundle() const { return NSBundle::bundleWithPath(path()); }

private:
    QTemporaryDir folder;
};

/// Answers the bundles that a test chose; what it did not choose is the real one.
struct StubBundles : Bundles {
    Ref<NSBundle> main;
    Ref<NSBundle> framework;
    std::vector<Ref<NSBundle>> known;

    Ref<NSBundle> mainBundle() override { return main; }
    Ref<NSBundle> frameworkBundle() override { return framework; }
    std::vector<Ref<NSBundle>> knownBundles() override { return known; }
};

/// An application with that Info.plist for as long as the object lives. Its framework is the real one unless
/// another is given.
class StubApplication {
public:
    explicit StubApplication(const QVariantMap &info, Ref<NSBundle> framework = NSBundle::frameworkBundle())
        : folder(info), service(prepared(folder.bundle(), std::move(framework))), guard(&service)
    {}

    const BundleFolder &bundleFolder() const { return folder; }

private:
    static StubBundles prepared(Ref<NSBundle> application, Ref<NSBundle> framework)
    {
        StubBundles stub;
        stub.main = std::move(application);
        stub.framework = std::move(framework);
        return stub;
    }

    BundleFolder folder;
    StubBundles service;
    ScopedService<Bundles> guard;
};

} // namespace KVBase::Tests
