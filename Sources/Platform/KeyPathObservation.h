#pragma once

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace KVBase
{

/// One observation of a key path: listens to the change signal of every property on the way and tells the
/// observer. Lives until it is removed; one thread at a time.
class KeyPathObservation : public QObject, public std::enable_shared_from_this<KeyPathObservation> {
    Q_OBJECT

public:
    using Work = std::function<void(const QVariantMap &change)>;

    KeyPathObservation(QObject *object, QObject *observer, const QString &keyPath, std::uint32_t options,
                       Work work);

    /// Takes the connections back, so that the observed objects see them end.
    ~KeyPathObservation() override;

    /// Connects to the path's properties. Raises `NSInvalidArgumentException` when the path does not fit.
    void start();

    /// Tells the observer of the value that is there, where the options ask for it.
    void tellInitialValue();

    /// Tells the observer that `key` of `changing` will change, where the options ask for it and the key is
    /// on the path.
    void tellPrior(const QObject *changing, const QString &key);

    /// Takes the connections back; the observer hears nothing more.
    void stop();

    bool matches(const QObject *object, const QObject *observer, const QString &keyPath) const;

    /// Whether the object or the observer has been destroyed.
    bool isOver() const { return observed.isNull() || observing.isNull(); }

private Q_SLOTS:
    void pathChanged();

private:
    /// A property on the way, and the object that holds it at present.
    struct Step {
        QPointer<QObject> holder;
        QMetaProperty property;
        QMetaObject::Connection connection;
    };

    void follow();
    QObject *connectStep(std::size_t index, QObject *holder);
    QVariant currentValue() const;
    void tell(const QVariantMap &change);

    QPointer<QObject> observed;
    QPointer<QObject> observing;
    const QObject *observedAddress;
    const QObject *observingAddress;
    QString path;
    QStringList keys;
    std::uint32_t wanted;
    Work handler;
    std::vector<Step> steps;
    QVariant lastValue;
};

} // namespace KVBase
