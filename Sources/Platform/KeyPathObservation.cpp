#include "Platform/KeyPathObservation.h"

#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSKeyValueObserving.h>

#include <utility>

namespace KVBase
{

namespace
{

[[noreturn]] void refuse(const QObject *holder, const QString &key, const QString &what)
{
    throw NSException(NSInvalidArgumentException,
                      QStringLiteral("%1 cannot be observed for \"%2\": %3")
                          .arg(QString::fromUtf8(holder->metaObject()->className()), key, what));
}

QMetaProperty propertyOf(const QObject *holder, const QString &key)
{
    const QMetaObject *meta = holder->metaObject();
    const QMetaProperty property = meta->property(meta->indexOfProperty(key.toUtf8().constData()));
    if (!property.isValid())
        refuse(holder, key, QStringLiteral("there is no such property"));
    if (!property.hasNotifySignal() && !property.isConstant())
        refuse(holder, key, QStringLiteral("the property has no change signal"));
    return property;
}

bool holdsObject(const QMetaProperty &property)
{
    return property.metaType().flags().testFlag(QMetaType::PointerToQObject);
}

QMetaMethod changeSlot()
{
    const QMetaObject &meta = KeyPathObservation::staticMetaObject;
    return meta.method(meta.indexOfSlot("pathChanged()"));
}

} // namespace

KeyPathObservation::KeyPathObservation(QObject *object, QObject *observer, const QString &keyPath,
                                       std::uint32_t options, Work work)
    : observed(object), observing(observer), observedAddress(object), observingAddress(observer),
      path(keyPath), keys(keyPath.split(u'.')), wanted(options), handler(std::move(work)),
      steps(static_cast<std::size_t>(keys.size()))
{}

KeyPathObservation::~KeyPathObservation() { stop(); }

void KeyPathObservation::start()
{
    follow();
    lastValue = currentValue();
}

void KeyPathObservation::stop()
{
    for (Step &step : steps)
        QObject::disconnect(std::exchange(step.connection, {}));
    observing.clear();
}

bool KeyPathObservation::matches(const QObject *object, const QObject *observer, const QString &keyPath) const
{
    return observedAddress == object && observingAddress == observer && path == keyPath;
}

void KeyPathObservation::follow()
{
    QObject *holder = observed.data();
    for (std::size_t index = 0; index < steps.size(); ++index)
        holder = connectStep(index, holder);
}

/// Listens to the step's property of `holder`; answers the object that the property holds.
QObject *KeyPathObservation::connectStep(std::size_t index, QObject *holder)
{
    Step &step = steps[index];
    if (holder != step.holder.data() || holder == nullptr) {
        QObject::disconnect(std::exchange(step.connection, {}));
        step.holder = holder;
        step.property = {};
        if (holder == nullptr)
            return nullptr;
        step.property = propertyOf(holder, keys.at(static_cast<qsizetype>(index)));
        if (step.property.hasNotifySignal()) {
            step.connection =
                QObject::connect(holder, step.property.notifySignal(), this, changeSlot(),
                                 Qt::ConnectionType(Qt::DirectConnection | Qt::UniqueConnection));
        }
    }
    if (index + 1 == steps.size())
        return nullptr;
    if (!holdsObject(step.property))
        refuse(holder, keys.at(static_cast<qsizetype>(index)),
               QStringLiteral("the property holds no object"));
    return step.property.read(holder).value<QObject *>();
}

QVariant KeyPathObservation::currentValue() const
{
    const Step &last = steps.back();
    return last.holder != nullptr ? last.property.read(last.holder.data()) : QVariant();
}

void KeyPathObservation::tellInitialValue()
{
    if ((wanted & NSKeyValueObservingOptionInitial) == 0)
        return;
    QVariantMap change;
    if ((wanted & NSKeyValueObservingOptionNew) != 0)
        change.insert(NSKeyValueChangeNewKey, lastValue);
    tell(change);
}

void KeyPathObservation::tellPrior(const QObject *changing, const QString &key)
{
    if ((wanted & NSKeyValueObservingOptionPrior) == 0)
        return;
    for (std::size_t index = 0; index < steps.size(); ++index) {
        if (steps[index].holder.data() != changing || keys.at(static_cast<qsizetype>(index)) != key)
            continue;
        QVariantMap change{{NSKeyValueChangeNotificationIsPriorKey, true}};
        if ((wanted & NSKeyValueObservingOptionOld) != 0)
            change.insert(NSKeyValueChangeOldKey, lastValue);
        tell(change);
        return;
    }
}

void KeyPathObservation::pathChanged()
{
    const auto self = shared_from_this();
    follow();
    const QVariant oldValue = std::exchange(lastValue, currentValue());
    QVariantMap change;
    if ((wanted & NSKeyValueObservingOptionNew) != 0)
        change.insert(NSKeyValueChangeNewKey, lastValue);
    if ((wanted & NSKeyValueObservingOptionOld) != 0)
        change.insert(NSKeyValueChangeOldKey, oldValue);
    tell(change);
}

void KeyPathObservation::tell(const QVariantMap &change)
{
    if (!isOver())
        handler(change);
}

} // namespace KVBase

#include "moc_KeyPathObservation.cpp"
