#include <KVBase/KVObserverHelper.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSKeyValueObserving.h>
#include <KVBase/Platform/NSNotificationCenter.h>

#include "Support/LoopDriver.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

QString s(const char *text) { return QString::fromUtf8(text); }

/// Has three numbers and a link to another; tells which of its signals is disconnected.
class Model : public QObject {
    Q_OBJECT
    Q_PROPERTY(int x MEMBER xValue NOTIFY xChanged)
    Q_PROPERTY(int y MEMBER yValue NOTIFY yChanged)
    Q_PROPERTY(int z MEMBER zValue NOTIFY zChanged)
    Q_PROPERTY(QObject *next READ next WRITE setNext NOTIFY nextChanged)
public:
    explicit Model(QStringList *list = nullptr, const char *label = "") : removals(list), name(s(label)) {}
    QObject *next() const { return nextValue; }
    void setNext(QObject *value)
    {
        if (value == nextValue)
            return;
        nextValue = value;
        Q_EMIT nextChanged();
    }
Q_SIGNALS:
    void xChanged();
    void yChanged();
    void zChanged();
    void nextChanged();

protected:
    void disconnectNotify(const QMetaMethod &signal) override
    {
        if (removals && signal.isValid() && signal.name() != "destroyed")
            removals->append(name + QLatin1Char('.') + QString::fromLatin1(signal.name()));
    }

private:
    int xValue = 0;
    int yValue = 0;
    int zValue = 0;
    QPointer<QObject> nextValue;
    QStringList *removals;
    QString name;
};

class Observer : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void observeValueForKeyPath(const QString &keyPath, QObject *object,
                                            const QVariantMap &change, void *context)
    {
        paths.append(keyPath);
        lastObject = object;
        lastChange = change;
        lastContext = context;
    }
    Q_INVOKABLE void heard(const KVBase::NSNotification &notification)
    {
        notifications.append(notification.name());
    }
    QStringList paths;
    QStringList notifications;
    QObject *lastObject = nullptr;
    QVariantMap lastChange;
    void *lastContext = nullptr;
};

TEST(KVObserverHelperRecordsTest, OptionsChooseWhatTheChangeHolds)
{
    struct Row {
        std::uint32_t options;
        bool initial;
        bool hasOld;
        bool hasNew;
    };
    for (const Row &row : {Row{0, false, false, false}, Row{1, false, false, true},
                           Row{2, false, true, false}, Row{3, false, true, true}, Row{4, true, false, false},
                           Row{5, true, false, true}, Row{7, true, true, true}}) {
        Observer observer;
        Model model;
        model.setProperty("x", 1);
        KVObserverHelper helper(&observer);
        helper.observeKeyPath(s("x"), &model, nullptr, row.options);
        ASSERT_EQ(observer.paths.size(), row.initial ? 1 : 0) << row.options;
        if (row.initial) {
            EXPECT_EQ(observer.lastChange.contains(s("new")), row.hasNew) << row.options;
            EXPECT_FALSE(observer.lastChange.contains(s("old"))) << row.options;
        }
        model.setProperty("x", 2);
        ASSERT_EQ(observer.paths.size(), row.initial ? 2 : 1);
        EXPECT_EQ(observer.lastChange.value(s("old")), row.hasOld ? QVariant(1) : QVariant()) << row.options;
        EXPECT_EQ(observer.lastChange.value(s("new")), row.hasNew ? QVariant(2) : QVariant()) << row.options;
        model.setProperty("x", 3);
        EXPECT_EQ(observer.lastChange.value(s("old")), row.hasOld ? QVariant(2) : QVariant()) << row.options;
    }
}

TEST(KVObserverHelperRecordsTest, RegistrationsAreRemovedLastFirst)
{
    QStringList removals;
    Observer observer;
    Model a(&removals, "A");
    Model b(&removals, "B");
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(s("x"), &a, nullptr);
    helper.observeKeyPath(s("y"), &b, nullptr);
    helper.observeKeyPath(s("z"), &a, nullptr);
    helper.cleanupKVO();
    EXPECT_EQ(removals, QStringList({s("A.zChanged"), s("B.yChanged"), s("A.xChanged")}));
    a.setProperty("x", 9);
    b.setProperty("y", 9);
    EXPECT_TRUE(observer.paths.isEmpty());
}

TEST(KVObserverHelperRecordsTest, TheDestructorRemovesLastFirstToo)
{
    QStringList removals;
    Observer observer;
    Model a(&removals, "A");
    {
        KVObserverHelper helper(&observer);
        helper.observeKeyPath(s("x"), &a, nullptr);
        helper.observe(s("y"), &a, [](const QVariantMap &) {});
    }
    EXPECT_EQ(removals, QStringList({s("A.yChanged"), s("A.xChanged")}));
}

TEST(KVObserverHelperRecordsTest, CleanupEndsTheObserversDeferredSelectors)
{
    Observer observer;
    PerformDeferred::registerDeferredSelector(&observer, "heard:");
    PerformDeferred::performDeferredSelector(&observer, "heard:");
    KVObserverHelper helper(&observer);
    helper.cleanup();
    spin(20ms);
    EXPECT_TRUE(observer.notifications.isEmpty());
}

TEST(KVObserverHelperRecordsTest, SharedObjectsAreKeptUntilCleanupAndPlainOnesMayGo)
{
    Observer observer;
    KVObserverHelper helper(&observer);
    auto shared = std::make_shared<Model>();
    const std::weak_ptr<Model> watch = shared;
    helper.observeKeyPath(s("x"), shared, nullptr);
    shared.reset();
    ASSERT_FALSE(watch.expired());
    auto plain = std::make_unique<Model>();
    helper.observeKeyPath(s("x"), plain.get(), nullptr);
    helper.observeKeyPath(s("next.x"), plain.get(), nullptr);
    plain.reset();
    watch.lock()->setProperty("x", 3);
    EXPECT_EQ(observer.paths.size(), 1);
    helper.cleanupKVO();
    EXPECT_TRUE(watch.expired());
}

TEST(KVObserverHelperRecordsTest, APathWalksThroughObjects)
{
    Observer observer;
    Model first;
    Model second;
    Model third;
    KVObserverHelper helper(&observer);
    helper.observeKeyPath(s("next.next.x"), &first, nullptr, 3);
    EXPECT_TRUE(observer.paths.isEmpty());
    first.setNext(&second);
    third.setProperty("x", 7);
    const qsizetype before = observer.paths.size();
    second.setNext(&third);
    EXPECT_EQ(observer.paths.size(), before + 1);
    EXPECT_EQ(observer.lastChange.value(s("new")), QVariant(7));
    EXPECT_EQ(observer.lastObject, &first);
    EXPECT_EQ(observer.paths.last(), s("next.next.x"));
    third.setProperty("x", 8);
    EXPECT_EQ(observer.lastChange.value(s("old")), QVariant(7));
    EXPECT_EQ(observer.lastChange.value(s("new")), QVariant(8));
    Model fourth;
    fourth.setProperty("x", 30);
    second.setNext(&fourth);
    EXPECT_EQ(observer.lastChange.value(s("new")), QVariant(30));
    const qsizetype count = observer.paths.size();
    third.setProperty("x", 9);
    EXPECT_EQ(observer.paths.size(), count) << "an object no longer on the path";
    helper.cleanupKVO();
    fourth.setProperty("x", 31);
    first.setNext(nullptr);
    EXPECT_EQ(observer.paths.size(), count);
}

TEST(KVObserverHelperRecordsTest, ACallMayCleanUp)
{
    Observer observer;
    Model model;
    KVObserverHelper helper(&observer);
    int calls = 0;
    helper.observe(s("x"), &model, [&](const QVariantMap &) {
        ++calls;
        helper.cleanup();
    });
    helper.observe(s("x"), &model, [&](const QVariantMap &) { ++calls; });
    model.setProperty("x", 1);
    EXPECT_EQ(calls, 1);
    model.setProperty("x", 2);
    EXPECT_EQ(calls, 1);
}

TEST(NSKeyValueObservingRecordsTest, RemovingTakesTheLatestAndIgnoresTheUnknown)
{
    Observer observer;
    Model model;
    int first = 0;
    int second = 0;
    NSKeyValueObserving::removeObserver(&model, &observer, s("x"));
    NSKeyValueObserving::addObserver(&model, &observer, s("x"), 0, &first);
    NSKeyValueObserving::addObserver(&model, &observer, s("x"), 0, &second);
    NSKeyValueObserving::removeObserver(&model, &observer, s("y"));
    NSKeyValueObserving::removeObserver(&model, &observer, s("x"));
    model.setProperty("x", 1);
    EXPECT_EQ(observer.paths.size(), 1);
    EXPECT_EQ(observer.lastContext, &first);
    NSKeyValueObserving::removeObserver(&model, &observer, s("x"));
    model.setProperty("x", 2);
    EXPECT_EQ(observer.paths.size(), 1);
    EXPECT_EQ(NSKeyValueObservingOptionNew, 1u);
    EXPECT_EQ(NSKeyValueObservingOptionOld, 2u);
    EXPECT_EQ(NSKeyValueObservingOptionInitial, 4u);
}

} // namespace
} // namespace KVBase::Tests

#include "ObservationContractTest.moc"
