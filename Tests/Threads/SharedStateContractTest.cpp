#include <KVBase/KVMutableArray.h>
#include <KVBase/KVObserverHelper.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSNotificationCenter.h>

#include <QtCore/QObject>

#include <gtest/gtest.h>

#include <limits>
#include <thread>

namespace KVBase
{
namespace
{

constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();

TEST(KVMutableArrayContractTest, RaisesAtTheEdgesAndLeavesTheLockFree)
{
    const Ref<KVMutableArray> array = KVMutableArray::array();
    array->insertObject(QStringLiteral("b"), 0);
    array->insertObject(QStringLiteral("c"), 1);
    array->insertObject(QStringLiteral("a"), 0);
    EXPECT_EQ(array->objectEnumerator().allObjects(), (QVariantList{"a", "b", "c"}));
    EXPECT_EQ(array->reverseObjectEnumerator().allObjects(), (QVariantList{"c", "b", "a"}));
    EXPECT_THROW(array->insertObject(1, 4), NSException);
    EXPECT_THROW(array->insertObject(1, kLargest), NSException);
    EXPECT_THROW(array->objectAtIndex(3), NSException);
    EXPECT_THROW(array->objectAtIndex(kLargest), NSException);
    EXPECT_THROW(array->removeObjectAtIndex(3), NSException);
    EXPECT_THROW(array->replaceObjectAtIndex(3, 1), NSException);
    std::uint32_t seen = 0;
    std::thread([&] { seen = array->count(); }).join();
    EXPECT_EQ(seen, 3U);
    KVMutableArray roomy(kLargest);
    EXPECT_EQ(roomy.count(), 0U);
    EXPECT_THROW(roomy.removeLastObject(), NSException);
}

TEST(KVObserverHelperContractTest, CleanupEndsTheObserversNotificationsAndNoOthers)
{
    NSNotificationCenter &center = NSNotificationCenter::defaultCenter();
    const QString name = QStringLiteral("KVObserverHelperContractTestNotification");
    QObject observer;
    QObject other;
    QStringList heard;
    center.addObserver(&observer, name, nullptr, [&](const NSNotification &) { heard << "observer"; });
    center.addObserver(&other, name, nullptr, [&](const NSNotification &) { heard << "other"; });
    {
        KVObserverHelper nobodys(nullptr);
        nobodys.observe(QStringLiteral("objectName"), &other, [](const QVariantMap &) {});
    }
    center.postNotification(NSNotification(name, nullptr, {}));
    EXPECT_EQ(heard, (QStringList{"observer", "other"}));
    {
        const KVObserverHelper helper(&observer);
    }
    center.postNotification(NSNotification(name, nullptr, {}));
    EXPECT_EQ(heard, (QStringList{"observer", "other", "other"}));
}

TEST(KVObserverHelperContractTest, CleanupOfOneHelperLeavesOneOfTwoEqualObservations)
{
    QObject named;
    QObject observer;
    QStringList seen;
    KVObserverHelper first(&observer);
    KVObserverHelper second(&observer);
    first.observe(QStringLiteral("objectName"), &named, [&](const QVariantMap &) { seen << "one"; });
    second.observe(QStringLiteral("objectName"), &named, [&](const QVariantMap &) { seen << "two"; });
    second.cleanupKVO();
    named.setObjectName(QStringLiteral("a"));
    EXPECT_EQ(seen, QStringList{"one"});
    first.cleanup();
    named.setObjectName(QStringLiteral("b"));
    EXPECT_EQ(seen, QStringList{"one"});
}

} // namespace
} // namespace KVBase
