#pragma once

#include <QtCore/QMetaMethod>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <utility>
#include <vector>

namespace KVBase::Tests
{

/// Something to observe. It writes down which observations of its properties end.
class ObservedPerson : public QObject {
    Q_OBJECT
    Q_PROPERTY(int age READ age WRITE setAge NOTIFY ageChanged)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(KVBase::Tests::ObservedPerson *friend READ friendOfMine WRITE setFriend NOTIFY friendChanged)
    Q_PROPERTY(QString species READ species CONSTANT)
    Q_PROPERTY(int silent READ age WRITE setAge)

public:
    explicit ObservedPerson(QString label = {}, QStringList *endings = nullptr)
        : ownLabel(std::move(label)), endedObservations(endings)
    {}

    int age() const { return currentAge; }
    QString name() const { return currentName; }
    ObservedPerson *friendOfMine() const { return currentFriend; }
    QString species() const { return QStringLiteral("human"); }

    void setAge(int age)
    {
        currentAge = age;
        Q_EMIT ageChanged();
    }
    void setName(const QString &name)
    {
        currentName = name;
        Q_EMIT nameChanged(name);
    }
    void setFriend(ObservedPerson *person)
    {
        currentFriend = person;
        Q_EMIT friendChanged();
    }

Q_SIGNALS:
    void ageChanged();
    void nameChanged(const QString &name);
    void friendChanged();

protected:
    void disconnectNotify(const QMetaMethod &signal) override
    {
        if (endedObservations != nullptr)
            endedObservations->append(ownLabel + u'.' + QString::fromLatin1(signal.name()));
    }

private:
    QString ownLabel;
    QStringList *endedObservations;
    int currentAge = 0;
    QString currentName;
    ObservedPerson *currentFriend = nullptr;
};

/// Writes down what it is told.
class RecordingObserver : public QObject {
    Q_OBJECT

public:
    struct Call {
        QString keyPath;
        QObject *object;
        QVariantMap change;
        void *context;
    };

    Q_INVOKABLE void observeValueForKeyPath(const QString &keyPath, QObject *object,
                                            const QVariantMap &change, void *context)
    {
        calls.push_back({keyPath, object, change, context});
    }

    std::vector<Call> calls;
};

} // namespace KVBase::Tests
