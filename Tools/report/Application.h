#pragma once

#include "Platform/Services/Bundles.h"

#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <memory>

namespace report
{

/// Lets the library look at another application as if it were that one: its bundle is the main bundle, and
/// its user defaults are the ones that are read and written. Make it before anything else is asked, and only
/// one.
class Application {
public:
    /// `name` is a bundle's folder, an executable's path, or the name of an executable, which need not be
    /// installed any more. Empty stands for this program.
    explicit Application(const QString &name);
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    /// The name that its crash reports begin with.
    QString executable() const;

private:
    class OtherMainBundle;

    KVBase::Ref<KVBase::NSBundle> bundleFor(const QString &name);
    KVBase::Ref<KVBase::NSBundle> bundleNamed(const QString &executable);

    std::unique_ptr<QTemporaryDir> substitute;
    std::unique_ptr<OtherMainBundle> bundles;
    std::unique_ptr<KVBase::ScopedService<KVBase::Bundles>> guard;
};

} // namespace report
