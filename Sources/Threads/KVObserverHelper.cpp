#include <KVBase/KVObserverHelper.h>

#include <KVBase/Platform/NSNotificationCenter.h>

#include <utility>
#include <vector>

namespace KVBase
{

namespace
{

/// What was observed. A record without an object or a key path stands for an observation that was never made.
struct Registration {
    KVTarget object;
    QString keyPath;
};

} // namespace

struct KVObserverHelper::Private {
    /// Not retained, and never followed once it has gone.
    KVTarget observingObject;
    std::vector<Registration> kvoObservers;

    /// The observer's address, also while it is being destroyed: it is only compared.
    QObject *observerAddress = nullptr;
};

KVObserverHelper::KVObserverHelper(QObject *observer) : d(std::make_unique<Private>())
{
    d->observingObject = KVTarget(observer);
    d->observerAddress = observer;
}

KVObserverHelper::~KVObserverHelper() { cleanup(); }

void KVObserverHelper::observeKeyPath(const QString &keyPath, const KVTarget &object, void *context)
{
    observeKeyPath(keyPath, object, context, 0);
}

void KVObserverHelper::observeKeyPath(const QString &keyPath, const KVTarget &object, void *context,
                                      std::uint32_t options)
{
    d->kvoObservers.push_back({object, keyPath});
    NSKeyValueObserving::addObserver(object.object(), d->observingObject.object(), keyPath, options, context);
}

void KVObserverHelper::observe(const QString &keyPath, const KVTarget &object,
                               std::function<void(const QVariantMap &change)> work)
{
    observe(keyPath, object, std::move(work), 0);
}

void KVObserverHelper::observe(const QString &keyPath, const KVTarget &object,
                               std::function<void(const QVariantMap &change)> work, std::uint32_t options)
{
    d->kvoObservers.push_back({object, keyPath});
    NSKeyValueObserving::addObserver(object.object(), d->observingObject.object(), keyPath, options,
                                     std::move(work));
}

void KVObserverHelper::cleanup()
{
    NSNotificationCenter::defaultCenter().removeObserver(d->observerAddress);
    cleanupKVO();
}

void KVObserverHelper::cleanupKVO()
{
    std::vector<Registration> registrations = std::exchange(d->kvoObservers, {});
    for (; !registrations.empty(); registrations.pop_back()) {
        const Registration &last = registrations.back();
        if (last.object.object() != nullptr && !last.keyPath.isNull())
            NSKeyValueObserving::removeObserver(last.object.object(), d->observerAddress, last.keyPath);
    }
}

} // namespace KVBase
