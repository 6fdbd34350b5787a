#include <KVBase/Platform/NSNotificationCenter.h>

#include <KVBase/Platform/NSObject.h>

#include <QtCore/QHash>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace KVBase
{

namespace
{

struct Registration {
    QPointer<QObject> observer;
    QPointer<QObject> object;
    const void *objectAddress = nullptr;
    KVSelector selector;
    std::function<void(const NSNotification &)> work;
    std::uint64_t sequence = 0;
    bool anyName = false;
    std::atomic<bool> ended{false};

    bool isDead() const { return observer.isNull() || (objectAddress != nullptr && object.isNull()); }

    bool concerns(const NSNotification &notification) const
    {
        return !isDead() && (objectAddress == nullptr || objectAddress == notification.objectIdentity());
    }
};

using Registrations = std::vector<std::shared_ptr<Registration>>;

/// Moves what `unwanted` says from `list` to `removed`, whose holder lets it go outside the lock.
template <class Predicate>
void moveOut(Registrations &list, Registrations &removed, Predicate unwanted)
{
    const auto kept = std::stable_partition(
        list.begin(), list.end(), [&](const auto &registration) { return !unwanted(*registration); });
    for (auto it = kept; it != list.end(); ++it) {
        (*it)->ended.store(true);
        removed.push_back(std::move(*it));
    }
    list.erase(kept, list.end());
}

void call(const Registration &registration, const NSNotification &notification)
{
    QObject *observer = registration.observer.data();
    if (observer == nullptr || registration.ended.load())
        return;
    if (registration.work)
        registration.work(notification);
    else
        performSelector(observer, registration.selector, QVariant::fromValue(notification));
}

} // namespace

struct NSNotificationCenter::Private {
    void add(std::shared_ptr<Registration> registration, const QString &name);
    Registrations concerned(const NSNotification &notification);

    template <class Predicate>
    void removeEverywhere(Registrations &removed, Predicate unwanted)
    {
        for (auto it = byName.begin(); it != byName.end();) {
            moveOut(it->second, removed, unwanted);
            it = it->second.empty() ? byName.erase(it) : std::next(it);
        }
    }

    std::mutex mutex;
    /// Those for any name stand under the empty name.
    std::unordered_map<QString, Registrations> byName;
    std::uint64_t nextSequence = 0;
    std::size_t count = 0;
    std::size_t sweepAbove = 64;
};

void NSNotificationCenter::Private::add(std::shared_ptr<Registration> registration, const QString &name)
{
    Registrations removed;
    const std::lock_guard lock(mutex);
    registration->sequence = nextSequence++;
    registration->anyName = name.isNull();
    byName[name].push_back(std::move(registration));
    if (++count <= sweepAbove)
        return;
    removeEverywhere(removed, [](const Registration &old) { return old.isDead(); });
    count = 0;
    for (const auto &[listName, list] : byName)
        count += list.size();
    sweepAbove = 2 * count + 64;
}

Registrations NSNotificationCenter::Private::concerned(const NSNotification &notification)
{
    Registrations found;
    const auto collect = [&](const QString &name) {
        const auto list = byName.find(name);
        if (list == byName.end())
            return;
        for (const auto &registration : list->second)
            if ((registration->anyName || !notification.name().isEmpty() == !name.isEmpty()) &&
                registration->concerns(notification))
                found.push_back(registration);
    };
    const std::lock_guard lock(mutex);
    collect(notification.name());
    if (!notification.name().isEmpty())
        collect(QString());
    std::sort(found.begin(), found.end(),
              [](const auto &a, const auto &b) { return a->sequence < b->sequence; });
    return found;
}

NSNotificationCenter::NSNotificationCenter() : d(std::make_unique<Private>()) {}

NSNotificationCenter::~NSNotificationCenter() = default;

NSNotificationCenter &NSNotificationCenter::defaultCenter()
{
    static auto *const center = new NSNotificationCenter;
    return *center;
}

void NSNotificationCenter::addObserver(QObject *observer, const KVSelector &selector, const QString &name,
                                       QObject *object)
{
    if (observer == nullptr)
        return;
    auto registration = std::make_shared<Registration>();
    registration->observer = observer;
    registration->object = object;
    registration->objectAddress = object;
    registration->selector = selector;
    d->add(std::move(registration), name);
}

void NSNotificationCenter::addObserver(QObject *observer, const QString &name, QObject *object,
                                       std::function<void(const NSNotification &)> work)
{
    if (observer == nullptr || !work)
        return;
    auto registration = std::make_shared<Registration>();
    registration->observer = observer;
    registration->object = object;
    registration->objectAddress = object;
    registration->work = std::move(work);
    d->add(std::move(registration), name);
}

void NSNotificationCenter::removeObserver(QObject *observer) { removeObserver(observer, QString(), nullptr); }

void NSNotificationCenter::removeObserver(QObject *observer, const QString &name, QObject *object)
{
    const auto unwanted = [&](const Registration &registration) {
        return registration.isDead() || (registration.observer == observer &&
                                         (object == nullptr || registration.objectAddress == object));
    };
    Registrations removed;
    const std::lock_guard lock(d->mutex);
    if (name.isNull()) {
        d->removeEverywhere(removed, unwanted);
        return;
    }
    const auto list = d->byName.find(name);
    if (list == d->byName.end())
        return;
    moveOut(list->second, removed, unwanted);
    if (list->second.empty())
        d->byName.erase(list);
}

void NSNotificationCenter::postNotification(const NSNotification &notification)
{
    for (const auto &registration : d->concerned(notification))
        call(*registration, notification);
}

} // namespace KVBase
