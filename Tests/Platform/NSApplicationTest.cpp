#include <KVBase/Platform/NSApplication.h>

#include <gtest/gtest.h>

#include <QtCore/QTimer>
#include <QtGui/QCloseEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QWindow>

#include <memory>

using namespace KVBase;

class NSApplicationTestDelegate : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE bool applicationShouldTerminate()
    {
        ++questions;
        return agrees;
    }

    bool agrees = true;
    int questions = 0;
};

class NSApplicationTestWindow : public QWindow {
    Q_OBJECT

protected:
    void closeEvent(QCloseEvent *event) override { event->ignore(); }
};

namespace
{

/// Runs the loop; -1 when nothing but the net ended it.
int runLoop(int milliseconds)
{
    QTimer::singleShot(milliseconds, [] { QCoreApplication::exit(-1); });
    return QCoreApplication::exec();
}

struct Application {
    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};
    QGuiApplication application{argc, argv};
};

} // namespace

TEST(NSApplicationTest, ThereIsNoneWithoutQt)
{
    EXPECT_EQ(NSApplication::sharedApplication(), nullptr);
    {
        const Application application;
        EXPECT_NE(NSApplication::sharedApplication(), nullptr);
        EXPECT_EQ(NSApplication::sharedApplication()->currentEvent(), nullptr);
    }
    EXPECT_EQ(NSApplication::sharedApplication(), nullptr);
}

TEST(NSApplicationTest, TheDelegateIsNotRetained)
{
    const Application application;
    auto delegate = std::make_unique<QObject>();
    NSApplication::sharedApplication()->setDelegate(delegate.get());
    EXPECT_EQ(NSApplication::sharedApplication()->delegate(), delegate.get());
    delegate.reset();
    EXPECT_EQ(NSApplication::sharedApplication()->delegate(), nullptr);
}

TEST(NSApplicationTest, TerminatingEndsTheLoop)
{
    const Application application;
    QTimer::singleShot(0, [] { NSApplication::sharedApplication()->terminate(nullptr); });
    EXPECT_EQ(runLoop(60000), 0);
}

TEST(NSApplicationTest, ARequestBeforeTheLoopWaitsForIt)
{
    const Application application;
    NSApplication::sharedApplication()->terminate(nullptr);
    EXPECT_EQ(runLoop(60000), 0);
}

TEST(NSApplicationTest, TheDelegateMayRefuse)
{
    const Application application;
    NSApplicationTestDelegate delegate;
    delegate.agrees = false;
    NSApplication::sharedApplication()->setDelegate(&delegate);
    QTimer::singleShot(0, [] { NSApplication::sharedApplication()->terminate(nullptr); });
    EXPECT_EQ(runLoop(200), -1);
    EXPECT_EQ(delegate.questions, 1);
    delegate.agrees = true;
    QTimer::singleShot(0, [] { NSApplication::sharedApplication()->terminate(nullptr); });
    EXPECT_EQ(runLoop(60000), 0);
}

TEST(NSApplicationTest, AWindowMayRefuse)
{
    const Application application;
    NSApplicationTestWindow window;
    window.show();
    QTimer::singleShot(0, [] { NSApplication::sharedApplication()->terminate(nullptr); });
    EXPECT_EQ(runLoop(200), -1);
}

#include "NSApplicationTest.moc"
