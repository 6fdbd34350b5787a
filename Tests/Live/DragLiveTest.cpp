#include "Support/LoopDriver.h"
#include "Support/OwnXServer.h"

#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>
#include <KVBase/Platform/NSRunLoop.h>

#include <QtCore/QMimeData>
#include <QtCore/QTimer>
#include <QtGui/QDrag>
#include <QtGui/QDropEvent>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMenu>

#include <gtest/gtest.h>

/// What Qt's own test library presses buttons with.
Q_GUI_EXPORT void qt_handleMouseEvent(QWindow *window, const QPointF &local, const QPointF &global,
                                      Qt::MouseButtons state, Qt::MouseButton button, QEvent::Type type,
                                      Qt::KeyboardModifiers modifiers, int timestamp);

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

/// A window out of which something is dragged, and into which it may be dropped.
class DragWindow : public QWidget {
public:
    DragWindow()
    {
        setAcceptDrops(true);
        resize(200, 200);
    }
    int drags = 0;
    int drops = 0;
    Qt::DropAction result = Qt::IgnoreAction;
    std::function<void()> onDrag;
    std::function<void()> afterDrag;

protected:
    void mousePressEvent(QMouseEvent *) override {}
    void mouseMoveEvent(QMouseEvent *event) override
    {
        if (drags > 0 || !(event->buttons() & Qt::LeftButton))
            return;
        ++drags;
        QDrag drag(this);
        auto *content = new QMimeData;
        content->setText(QStringLiteral("dragged"));
        drag.setMimeData(content);
        if (onDrag)
            onDrag();
        result = drag.exec(Qt::CopyAction);
        if (afterDrag)
            afterDrag();
    }
    void dragEnterEvent(QDragEnterEvent *event) override { event->acceptProposedAction(); }
    void dragMoveEvent(QDragMoveEvent *event) override { event->acceptProposedAction(); }
    void dropEvent(QDropEvent *event) override
    {
        ++drops;
        event->acceptProposedAction();
    }
};

class DragLiveTest : public testing::TestWithParam<LoopKind> {
protected:
    void SetUp() override
    {
        if (server.display().isEmpty())
            GTEST_SKIP() << "no X server can be started here";
        qputenv("DISPLAY", server.display());
        // Or a message bus would be started for that screen.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
        // Without a screen a drag would end at once.
        qputenv("QT_QPA_PLATFORM", "xcb");
        driver = std::make_unique<LoopDriver<QApplication>>(GetParam());
        QApplication::setQuitOnLastWindowClosed(false);
        loop = NSRunLoop::currentRunLoop();
        window = std::make_unique<DragWindow>();
        window->show();
        ASSERT_TRUE(spinUntil([&] { return window->windowHandle()->isExposed(); }));
        watch = NSTimer::timerWithTimeInterval(0.002, true, [this](NSTimer &) { look(); });
        KVUTimer::addTimerToAllCommonRunLoopModes(watch);
    }

    void TearDown() override
    {
        if (watch)
            watch->invalidate();
        window.reset();
        driver.reset();
        restore("DISPLAY", oldDisplay);
        restore("DBUS_SESSION_BUS_ADDRESS", oldBus);
        restore("QT_QPA_PLATFORM", oldPlatform);
    }

    /// Takes down each change of the mode.
    void look()
    {
        ++ticks;
        const QString mode = loop->currentMode();
        if (modes.isEmpty() || modes.last() != mode)
            modes.append(mode);
    }

    void mouse(QEvent::Type type, QPoint at, Qt::MouseButtons held)
    {
        timestamp += 1000;
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        qt_handleMouseEvent(window->windowHandle(), at, window->mapToGlobal(at), held, button, type,
                            Qt::NoModifier, timestamp);
    }

    /// Calls `next` in the loop that runs then, once the watch has seen the mode some more times.
    void afterTicks(int count, const std::function<void()> &next)
    {
        auto *timer = new QTimer(window.get());
        const int goal = ticks + count;
        QObject::connect(timer, &QTimer::timeout, timer, [this, timer, goal, next] {
            if (ticks < goal)
                return;
            timer->deleteLater();
            timer->stop();
            next();
        });
        timer->start(1);
    }

    /// Presses the button in the window's corner once its loop runs, and moves it a little.
    void pressAndMove()
    {
        QTimer::singleShot(0, window.get(), [this] {
            mouse(QEvent::MouseButtonPress, {10, 10}, Qt::LeftButton);
            mouse(QEvent::MouseMove, {40, 40}, Qt::LeftButton);
        });
    }

    /// Asks for a call in the default mode and one in every common mode.
    void ask()
    {
        loop->perform(&owner, {}, [this] { ++defaults; }, 0, {NSDefaultRunLoopMode});
        PerformDeferred::performDelayed(&owner, [this] { ++commons; });
    }

    /// The modes one after the other, once the last of them has been seen.
    QStringList modesUntilDefault()
    {
        EXPECT_TRUE(spinUntil([this] { return modes.size() > 1 && modes.last() == NSDefaultRunLoopMode; }))
            << "the default mode never came back";
        return modes;
    }

    static void restore(const char *variable, const QByteArray &value)
    {
        if (value.isNull())
            qunsetenv(variable);
        else
            qputenv(variable, value);
    }

    const QByteArray oldDisplay = qgetenv("DISPLAY");
    const QByteArray oldBus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray oldPlatform = qgetenv("QT_QPA_PLATFORM");
    OwnXServer server;
    std::unique_ptr<LoopDriver<QApplication>> driver;
    std::unique_ptr<DragWindow> window;
    Ref<NSRunLoop> loop;
    Ref<NSTimer> watch;
    QStringList modes;
    int ticks = 0;
    int timestamp = 1000;
    int defaults = 0;
    int commons = 0;
    QObject owner;
};

INSTANTIATE_TEST_SUITE_P(Loops, DragLiveTest, testing::Values(LoopKind::GLib, LoopKind::Plain), nameOfLoop);

TEST_P(DragLiveTest, ADragIsTrackingUntilTheDrop)
{
    int defaultsInDrag = -1;
    int commonsInDrag = -1;
    window->onDrag = [&] {
        ask();
        afterTicks(5, [&] {
            mouse(QEvent::MouseMove, {60, 60}, Qt::LeftButton);
            mouse(QEvent::MouseMove, {80, 80}, Qt::LeftButton);
            afterTicks(5, [&] {
                defaultsInDrag = defaults;
                commonsInDrag = commons;
                mouse(QEvent::MouseButtonRelease, {80, 80}, Qt::NoButton);
            });
        });
    };
    ASSERT_TRUE(spinUntil([&] { return ticks >= 3; }));
    pressAndMove();
    EXPECT_TRUE(spinUntil([&] { return window->drops == 1 && defaults == 1; }));
    EXPECT_EQ(window->result, Qt::CopyAction);
    EXPECT_EQ(commonsInDrag, 1);
    EXPECT_EQ(defaultsInDrag, 0);
    EXPECT_EQ(modesUntilDefault(),
              (QStringList{NSDefaultRunLoopMode, NSEventTrackingRunLoopMode, NSDefaultRunLoopMode}));
}

TEST_P(DragLiveTest, ADragThatIsGivenUpIsTrackingUntilTheButtonIsLetGo)
{
    bool stillHeld = false;
    window->onDrag = [&] {
        afterTicks(5, [&] {
            QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
            QCoreApplication::sendEvent(window->windowHandle(), &escape);
        });
    };
    window->afterDrag = [&] {
        ask();
        afterTicks(5, [&] {
            stillHeld = defaults == 0 && commons == 1;
            mouse(QEvent::MouseButtonRelease, {40, 40}, Qt::NoButton);
        });
    };
    ASSERT_TRUE(spinUntil([&] { return ticks >= 3; }));
    pressAndMove();
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
    EXPECT_TRUE(stillHeld);
    EXPECT_EQ(window->drags, 1);
    EXPECT_EQ(window->drops, 0);
    EXPECT_EQ(window->result, Qt::IgnoreAction);
    EXPECT_EQ(modesUntilDefault(),
              (QStringList{NSDefaultRunLoopMode, NSEventTrackingRunLoopMode, NSDefaultRunLoopMode}));
}

TEST_P(DragLiveTest, AHeldButtonIsTracking)
{
    window->drags = 1;
    ASSERT_TRUE(spinUntil([&] { return ticks >= 3; }));
    pressAndMove();
    afterTicks(8, [&] { mouse(QEvent::MouseButtonRelease, {40, 40}, Qt::NoButton); });
    EXPECT_EQ(modesUntilDefault(),
              (QStringList{NSDefaultRunLoopMode, NSEventTrackingRunLoopMode, NSDefaultRunLoopMode}));
}

TEST_P(DragLiveTest, APopupMenuIsTracking)
{
    QMenu menu;
    menu.addAction(QStringLiteral("one"));
    int defaultsInMenu = -1;
    ASSERT_TRUE(spinUntil([&] { return ticks >= 3; }));
    QTimer::singleShot(0, &owner, [&] {
        QTimer::singleShot(0, &menu, [&] {
            ask();
            afterTicks(8, [&] {
                defaultsInMenu = defaults;
                menu.close();
            });
        });
        menu.exec(window->mapToGlobal(QPoint(20, 20)));
    });
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
    EXPECT_EQ(defaultsInMenu, 0);
    EXPECT_EQ(commons, 1);
    EXPECT_EQ(modesUntilDefault(),
              (QStringList{NSDefaultRunLoopMode, NSEventTrackingRunLoopMode, NSDefaultRunLoopMode}));
}

TEST_P(DragLiveTest, AModalDialogIsAPanelAndAMenuInItTracking)
{
    QDialog dialog(window.get());
    QMenu menu(&dialog);
    menu.addAction(QStringLiteral("one"));
    ASSERT_TRUE(spinUntil([&] { return ticks >= 3; }));
    QTimer::singleShot(0, &owner, [&] {
        afterTicks(8, [&] { menu.popup(dialog.mapToGlobal(QPoint(5, 5))); });
        afterTicks(16, [&] { menu.close(); });
        afterTicks(24, [&] { dialog.accept(); });
        dialog.exec();
    });
    EXPECT_EQ(modesUntilDefault(),
              (QStringList{NSDefaultRunLoopMode, NSModalPanelRunLoopMode, NSEventTrackingRunLoopMode,
                           NSModalPanelRunLoopMode, NSDefaultRunLoopMode}));
}

TEST_P(DragLiveTest, ADialogOpenedByTheDropIsAPanel)
{
    QDialog dialog(window.get());
    window->onDrag = [&] {
        afterTicks(5, [&] {
            mouse(QEvent::MouseMove, {60, 60}, Qt::LeftButton);
            mouse(QEvent::MouseMove, {80, 80}, Qt::LeftButton);
            mouse(QEvent::MouseButtonRelease, {80, 80}, Qt::NoButton);
        });
    };
    window->afterDrag = [&] {
        afterTicks(8, [&] { dialog.accept(); });
        dialog.exec();
    };
    ASSERT_TRUE(spinUntil([&] { return ticks >= 3; }));
    pressAndMove();
    EXPECT_TRUE(spinUntil([&] { return modes.contains(NSModalPanelRunLoopMode) && !dialog.isVisible(); }));
    EXPECT_EQ(modesUntilDefault().last(), NSDefaultRunLoopMode);
    EXPECT_EQ(window->drops, 1);
}

} // namespace
} // namespace KVBase::Tests
