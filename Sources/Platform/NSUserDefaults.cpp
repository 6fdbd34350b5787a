#include <KVBase/Platform/NSUserDefaults.h>

#include "Platform/DefaultsFile.h"
#include "Platform/ExecutablePath.h"
#include "Platform/PropertyLists/PropertyListValue.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSLog.h>

#include "Platform/CheckedCast.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtCore/QStandardPaths>
#include <QtCore/QThread>

#include <cstdlib>
#include <limits>
#include <mutex>

#include <unistd.h>

namespace KVBase
{

namespace
{

/// The application's name as a file name.
QString applicationIdentifier()
{
    const Ref<NSBundle> bundle = NSBundle::mainBundle();
    QString identifier = bundle != nullptr ? bundle->bundleIdentifier() : QString();
    if (identifier.isEmpty())
        identifier = QFileInfo(executablePath()).fileName();
    return identifier.replace(u'/', u'-');
}

QString defaultsPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' +
           applicationIdentifier() + QStringLiteral(".plist");
}

/// The integer that a text begins with, as text is turned into numbers everywhere on the platform.
std::int64_t leadingInteger(const QString &text)
{
    const QByteArray digits = text.toUtf8();
    return std::strtoll(digits.constData(), nullptr, 10);
}

std::int64_t integerValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::ULongLong:
        return std::numeric_limits<std::int64_t>::max();
    case QMetaType::Double:
        return checkedCast<std::int64_t>(value.toDouble());
    case QMetaType::QString:
        return leadingInteger(value.toString());
    default:
        return 0;
    }
}

bool isNumber(const QVariant &value)
{
    const int type = value.typeId();
    return type == QMetaType::Bool || type == QMetaType::LongLong || type == QMetaType::ULongLong ||
           type == QMetaType::Double;
}

} // namespace

/// `stored` is what the file held at the last look with this process's changes in it; `changes` are those
/// that the file does not hold yet, an invalid value standing for a removal.
struct NSUserDefaults::Private {
    Private() : file(defaultsPath()), stored(file.read().value_or(QVariantMap())) {}

    const DefaultsFile file;
    const pid_t process = ::getpid();

    mutable std::mutex mutex;
    QVariantMap registered;
    QVariantMap stored;
    QVariantMap changes;

    /// The application object that a save waits for; one that goes away takes the request with it.
    QPointer<QCoreApplication> saveIsQueuedWith;

    void change(const QString &key, const QVariant &value);
    void queueSave();
    bool save(DefaultsFile::Folders folders);
};

void NSUserDefaults::Private::change(const QString &key, const QVariant &value)
{
    const std::lock_guard lock(mutex);
    if (value.isValid())
        stored.insert(key, value);
    else
        stored.remove(key);
    changes.insert(key, value);
    queueSave();
}

/// Other threads than the application's wait for the next save: the application object may be going away.
void NSUserDefaults::Private::queueSave()
{
    QCoreApplication *const application = QCoreApplication::instance();
    if (application == nullptr || application->thread() != QThread::currentThread() ||
        saveIsQueuedWith == application)
        return;
    saveIsQueuedWith = application;
    QMetaObject::invokeMethod(
        application,
        [this] {
            {
                const std::lock_guard lock(mutex);
                saveIsQueuedWith = nullptr;
            }
            save(DefaultsFile::Folders::AsNeeded);
        },
        Qt::QueuedConnection);
}

bool NSUserDefaults::Private::save(DefaultsFile::Folders folders)
{
    const std::lock_guard lock(mutex);
    const std::optional<QVariantMap> merged = file.merge(changes, folders);
    if (!merged)
        return false;
    stored = *merged;
    changes.clear();
    return true;
}

NSUserDefaults::NSUserDefaults() : d(std::make_unique<Private>()) {}

NSUserDefaults::~NSUserDefaults() = default;

NSUserDefaults &NSUserDefaults::standardUserDefaults()
{
    static NSUserDefaults *const only = [] {
        auto *const made = new NSUserDefaults;
        // What is still waiting at the end is written, but never by a forked child on its parent's behalf,
        // and never into folders that have been taken away meanwhile.
        std::atexit([] {
            Private &last = *standardUserDefaults().d;
            if (last.process == ::getpid() && !last.changes.isEmpty())
                last.save(DefaultsFile::Folders::LastOnly);
        });
        return made;
    }();
    return *only;
}

void NSUserDefaults::registerDefaults(const QVariantMap &dictionary)
{
    const std::lock_guard lock(d->mutex);
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        const QVariant value = PropertyLists::propertyListValue(entry.value(), nullptr);
        if (value.isValid())
            d->registered.insert(entry.key(), value);
    }
}

QVariant NSUserDefaults::objectForKey(const QString &key) const
{
    const std::lock_guard lock(d->mutex);
    const auto stored = d->stored.constFind(key);
    return stored != d->stored.cend() ? *stored : d->registered.value(key);
}

QString NSUserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    return value.typeId() == QMetaType::QString || isNumber(value) ? value.toString() : QString();
}

std::optional<QVariantList> NSUserDefaults::arrayForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    return value.toList();
}

std::int64_t NSUserDefaults::integerForKey(const QString &key) const
{
    return integerValue(objectForKey(key));
}

void NSUserDefaults::setObject(const QVariant &object, const QString &key)
{
    if (isNil(object))
        return removeObjectForKey(key);
    QString reason;
    const QVariant value = PropertyLists::propertyListValue(object, &reason);
    if (key.isNull())
        return;
    if (value.isValid())
        d->change(key, value);
    else
        NSLog("The user defaults do not take a value for %@. %@", key, reason);
}

void NSUserDefaults::setInteger(std::int64_t value, const QString &key)
{
    setObject(static_cast<qlonglong>(value), key);
}

void NSUserDefaults::removeObjectForKey(const QString &key)
{
    if (!key.isNull())
        d->change(key, QVariant());
}

bool NSUserDefaults::synchronize() { return d->save(DefaultsFile::Folders::AsNeeded); }

} // namespace KVBase
