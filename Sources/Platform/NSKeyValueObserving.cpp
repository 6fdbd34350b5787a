#include <KVBase/Platform/NSKeyValueObserving.h>

#include "Platform/KeyPathObservation.h"

#include <KVBase/Platform/NSLog.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

namespace KVBase::NSKeyValueObserving
{

namespace
{

using Observation = std::shared_ptr<KeyPathObservation>;

/// Every observation of the process, in the order of registration. The lock is not held while an observer is
/// called or an observation ends.
class ObservationList {
public:
    /// Never destroyed: objects with static lifetime may end their observations late.
    static ObservationList &shared()
    {
        static auto *const list = new ObservationList;
        return *list;
    }

    void add(const Observation &observation)
    {
        const std::vector<Observation> over = takeOver();
        const std::lock_guard guard(lock);
        observations.push_back(observation);
    }

    /// The latest that matches, taken out; null without one.
    Observation takeLatest(const QObject *object, const QObject *observer, const QString &keyPath)
    {
        const std::vector<Observation> over = takeOver();
        const std::lock_guard guard(lock);
        const auto found =
            std::find_if(observations.rbegin(), observations.rend(),
                         [&](const Observation &each) { return each->matches(object, observer, keyPath); });
        if (found == observations.rend())
            return nullptr;
        Observation taken = *found;
        observations.erase(std::next(found).base());
        return taken;
    }

    std::vector<Observation> all() const
    {
        const std::lock_guard guard(lock);
        return observations;
    }

private:
    /// Those whose object or observer has gone: another object may have its address by now.
    std::vector<Observation> takeOver()
    {
        const std::lock_guard guard(lock);
        const auto middle = std::stable_partition(observations.begin(), observations.end(),
                                                  [](const Observation &each) { return !each->isOver(); });
        std::vector<Observation> over(middle, observations.end());
        observations.erase(middle, observations.end());
        return over;
    }

    mutable std::mutex lock;
    std::vector<Observation> observations;
};

void callObserver(QObject *observer, const QString &keyPath, QObject *object, const QVariantMap &change,
                  void *context)
{
    const QMetaObject *meta = observer->metaObject();
    const int index = meta->indexOfMethod("observeValueForKeyPath(QString,QObject*,QVariantMap,void*)");
    if (index < 0) {
        NSLog("%s has no method observeValueForKeyPath(QString, QObject *, QVariantMap, void *); a change of "
              "\"%@\" "
              "was not delivered",
              meta->className(), keyPath);
        return;
    }
    meta->method(index).invoke(observer, Qt::DirectConnection, Q_ARG(QString, keyPath),
                               Q_ARG(QObject *, object), Q_ARG(QVariantMap, change), Q_ARG(void *, context));
}

} // namespace

void addObserver(QObject *object, QObject *observer, const QString &keyPath, std::uint32_t options,
                 void *context)
{
    addObserver(object, observer, keyPath, options,
                [weakObject = QPointer(object), weakObserver = QPointer(observer), keyPath,
                 context](const QVariantMap &change) {
                    callObserver(weakObserver.data(), keyPath, weakObject.data(), change, context);
                });
}

void addObserver(QObject *object, QObject *observer, const QString &keyPath, std::uint32_t options,
                 std::function<void(const QVariantMap &change)> work)
{
    if (object == nullptr || observer == nullptr || keyPath.isNull())
        return;
    const auto observation =
        std::make_shared<KeyPathObservation>(object, observer, keyPath, options, std::move(work));
    observation->start();
    ObservationList::shared().add(observation);
    observation->tellInitialValue();
}

void removeObserver(QObject *object, QObject *observer, const QString &keyPath)
{
    if (const Observation observation = ObservationList::shared().takeLatest(object, observer, keyPath))
        observation->stop();
}

void willChangeValueForKey(QObject *object, const QString &key)
{
    for (const Observation &observation : ObservationList::shared().all())
        observation->tellPrior(object, key);
}

} // namespace KVBase::NSKeyValueObserving
