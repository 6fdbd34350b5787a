#include <KVBase/Platform/NSObject.h>

#include <KVBase/Platform/NSException.h>

#include <gtest/gtest.h>

#include <string>

namespace KVBase
{
namespace
{

class Parent : public QObject {
    Q_OBJECT

public:
    QStringList calls;

    Q_INVOKABLE void refresh() { calls.append(QStringLiteral("refresh")); }
    Q_INVOKABLE void refresh(int number) { calls.append(QStringLiteral("refresh %1").arg(number)); }
    Q_INVOKABLE void refresh(const QString &a, const QString &b)
    {
        calls.append(
            QStringLiteral("refresh %1 %2")
                .arg(a.isNull() ? QStringLiteral("nil") : a, b.isNull() ? QStringLiteral("nil") : b));
    }
    Q_INVOKABLE QVariant echo(const QVariant &object) { return object; }
    Q_INVOKABLE int twice(int number) { return 2 * number; }
    Q_INVOKABLE QString nameOf(QObject *object)
    {
        return object != nullptr ? object->objectName() : QString();
    }
    Q_INVOKABLE void fail() { throw NSException(QStringLiteral("Broken"), QStringLiteral("It broke.")); }
    Q_INVOKABLE virtual QString who() { return QStringLiteral("parent"); }

public Q_SLOTS:
    void slot(double number) { calls.append(QString::number(number)); }

private:
    Q_INVOKABLE void hidden() { calls.append(QStringLiteral("hidden")); }
};

class Child : public Parent {
    Q_OBJECT

public:
    Q_INVOKABLE void refresh(const QString &text) { calls.append(QStringLiteral("child ") + text); }
    Q_INVOKABLE QString own() { return QStringLiteral("own"); }
};

TEST(NSObjectTest, ChoosesTheOverloadByTheNumberOfColons)
{
    Parent receiver;
    performSelector(&receiver, "refresh");
    performSelector(&receiver, "refresh:", 7);
    performSelector(&receiver, "refresh:with:", QStringLiteral("a"), QStringLiteral("b"));
    EXPECT_EQ(receiver.calls, (QStringList{QStringLiteral("refresh"), QStringLiteral("refresh 7"),
                                           QStringLiteral("refresh a b")}));
}

TEST(NSObjectTest, DropsSurplusObjectsAndFillsUpWithNil)
{
    Parent receiver;
    performSelector(&receiver, "refresh", 1, 2);
    performSelector(&receiver, "refresh:with:", QStringLiteral("a"));
    performSelector(&receiver, "refresh:with:");
    performSelector(&receiver, "refresh:");
    EXPECT_EQ(receiver.calls, (QStringList{QStringLiteral("refresh"), QStringLiteral("refresh a nil"),
                                           QStringLiteral("refresh nil nil"), QStringLiteral("refresh 0")}));
}

TEST(NSObjectTest, ConvertsObjects)
{
    Parent receiver;
    performSelector(&receiver, "refresh:", QStringLiteral("12"));
    performSelector(&receiver, "slot:", 2);
    EXPECT_EQ(receiver.calls, (QStringList{QStringLiteral("refresh 12"), QStringLiteral("2")}));
    Parent named;
    named.setObjectName(QStringLiteral("named"));
    EXPECT_EQ(performSelector(&receiver, "nameOf:", QVariant::fromValue(&named)).toString(),
              QStringLiteral("named"));
}

TEST(NSObjectTest, AnswersResults)
{
    Parent receiver;
    EXPECT_EQ(performSelector(&receiver, "twice:", 21).toInt(), 42);
    EXPECT_EQ(performSelector(&receiver, "echo:", 3.5), QVariant(3.5));
    EXPECT_FALSE(performSelector(&receiver, "echo:", QVariant()).isValid());
    EXPECT_FALSE(performSelector(&receiver, "refresh").isValid());
}

TEST(NSObjectTest, PrefersTheMostDerivedMethod)
{
    Child receiver;
    performSelector(&receiver, "refresh:", 7);
    EXPECT_EQ(receiver.calls, QStringList(QStringLiteral("child 7")));
    EXPECT_EQ(performSelector(&receiver, "own").toString(), QStringLiteral("own"));
    EXPECT_EQ(performSelector(&receiver, "twice:", 4).toInt(), 8);
}

TEST(NSObjectTest, ReachesPrivateMethods)
{
    Parent receiver;
    performSelector(&receiver, "hidden");
    EXPECT_EQ(receiver.calls, QStringList(QStringLiteral("hidden")));
}

TEST(NSObjectTest, DoesNothingForNil)
{
    EXPECT_FALSE(performSelector(nullptr, "refresh").isValid());
    EXPECT_FALSE(performSelector(nullptr, "refresh:", 1).isValid());
    EXPECT_FALSE(performSelector(nullptr, "refresh:with:", 1, 2).isValid());
    EXPECT_FALSE(respondsToSelector(nullptr, "refresh"));
}

TEST(NSObjectTest, TellsWhichSelectorsItHas)
{
    const Child receiver;
    EXPECT_TRUE(respondsToSelector(&receiver, "refresh"));
    EXPECT_TRUE(respondsToSelector(&receiver, "refresh:"));
    EXPECT_TRUE(respondsToSelector(&receiver, "refresh:anything:"));
    EXPECT_TRUE(respondsToSelector(&receiver, "deleteLater"));
    EXPECT_FALSE(respondsToSelector(&receiver, "refresh:::"));
    EXPECT_FALSE(respondsToSelector(&receiver, "own:"));
    EXPECT_FALSE(respondsToSelector(&receiver, "unknown"));
    EXPECT_FALSE(respondsToSelector(&receiver, KVSelector()));
}

TEST(NSObjectTest, RaisesForAnUnknownSelectorNamingClassAndSelector)
{
    Child receiver;
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            performSelector(&receiver, "unknown:", 1);
            FAIL() << "nothing was raised";
        } catch (const NSException &exception) {
            EXPECT_EQ(exception.name(), QStringLiteral("NSInvalidArgumentException"));
            EXPECT_TRUE(exception.reason().contains(QStringLiteral("Child")));
            EXPECT_TRUE(exception.reason().contains(QStringLiteral("unknown:")));
        }
    }
}

TEST(NSObjectTest, RaisesForAnObjectThatDoesNotConvert)
{
    Parent receiver;
    EXPECT_THROW(performSelector(&receiver, "nameOf:", QVariantMap()), NSException);
    EXPECT_TRUE(receiver.calls.isEmpty());
}

TEST(NSObjectTest, PassesExceptionsOn)
{
    Parent receiver;
    try {
        performSelector(&receiver, "fail");
        FAIL() << "nothing was raised";
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), QStringLiteral("Broken"));
    }
}

} // namespace
} // namespace KVBase

#include "NSObjectTest.moc"
