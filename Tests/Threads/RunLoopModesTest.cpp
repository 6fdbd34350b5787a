#include <KVBase/Platform/NSRunLoop.h>

#include "Support/LoopDriver.h"

#include <KVBase/KVUTimer.h>
#include <KVBase/PerformDeferred.h>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QTimer>
#include <QtGui/QMouseEvent>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMenu>

/// What Qt's own test library presses buttons with.
Q_GUI_EXPORT void qt_handleMouseEvent(QWindow *window, const QPointF &local, const QPointF &global,
                                      Qt::MouseButtons state, Qt::MouseButton button, QEvent::Type type,
                                      Qt::KeyboardModifiers modifiers, int timestamp);

namespace KVBase
{
namespace
{

using namespace std::chrono_literals;
using Tests::LoopKind;
using Tests::spin;
using Tests::spinUntil;

const QStringList kDefaultOnly{NSDefaultRunLoopMode};

/// Real windows, on a screen that nobody sees.
class RunLoopModesTest : public testing::TestWithParam<LoopKind> {
protected:
    Tests::LoopDriver<QApplication> driver{GetParam()};
    Ref<NSRunLoop> loop = NSRunLoop::currentRunLoop();
    int defaults = 0;
    int commons = 0;
    QString seenMode;
    QObject owner;

    void SetUp() override { QApplication::setQuitOnLastWindowClosed(false); }

    /// Asks for a call in the default mode and one in every common mode.
    void ask()
    {
        loop->perform(
            &owner, {}, [&] { ++defaults; }, 0, kDefaultOnly);
        PerformDeferred::performDelayed(&owner, [&] {
            ++commons;
            seenMode = loop->currentMode();
        });
    }
};

INSTANTIATE_TEST_SUITE_P(Loops, RunLoopModesTest, testing::Values(LoopKind::GLib, LoopKind::Plain),
                         Tests::nameOfLoop);

void send(QWindow *window, QEvent::Type type, Qt::MouseButtons held)
{
    static int timestamp = 1000;
    timestamp += 10000;
    qt_handleMouseEvent(window, QPointF(5, 5), QPointF(5, 5), held, Qt::LeftButton, type, Qt::NoModifier,
                        timestamp);
    QCoreApplication::processEvents();
}

TEST_P(RunLoopModesTest, AModalPanelIsTheModeInsideItsOwnLoop)
{
    QDialog dialog;
    QTimer::singleShot(0, &dialog, [&] { ask(); });
    QTimer::singleShot(50ms, &dialog, &QDialog::accept);
    int defaultsInside = -1;
    QObject::connect(&dialog, &QDialog::accepted, [&] { defaultsInside = defaults; });
    dialog.exec();
    EXPECT_EQ(commons, 1);
    EXPECT_EQ(seenMode, NSModalPanelRunLoopMode);
    EXPECT_EQ(defaultsInside, 0);
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
}

TEST_P(RunLoopModesTest, WhatWaitedForTheDefaultModeComesWhenThePanelCloses)
{
    // In the application's loop, where nothing but the closing tells of it.
    QDialog dialog;
    QTimer::singleShot(0, &owner, [&] {
        QTimer::singleShot(10ms, &dialog, [&] { ask(); });
        QTimer::singleShot(60ms, &dialog, &QDialog::accept);
        dialog.exec();
        EXPECT_EQ(defaults, 0);
    });
    QTimer check;
    QObject::connect(&check, &QTimer::timeout, [&] {
        if (defaults == 1)
            QCoreApplication::exit(3);
    });
    check.start(5);
    QTimer::singleShot(Tests::kNet, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 3);
    EXPECT_EQ(commons, 1);
}

TEST_P(RunLoopModesTest, AModalWindowWithoutALoopOfItsOwnIsNone)
{
    QDialog dialog;
    QString mode;
    QTimer::singleShot(0, &owner, [&] {
        dialog.open();
        ask();
        loop->perform(
            &owner, {},
            [&] {
                mode = loop->currentMode();
                QCoreApplication::exit(0);
            },
            0.02, kDefaultOnly);
    });
    QTimer::singleShot(Tests::kNet, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_EQ(mode, NSDefaultRunLoopMode);
    EXPECT_EQ(defaults, 1);
}

TEST_P(RunLoopModesTest, APanelOverAPanelIsStillAPanel)
{
    QDialog outer;
    QDialog inner;
    QTimer::singleShot(0, &outer, [&] { inner.open(); });
    QTimer::singleShot(20ms, &outer, [&] { ask(); });
    QTimer::singleShot(60ms, &outer, [&] {
        inner.close();
        outer.accept();
    });
    int defaultsInside = -1;
    QObject::connect(&outer, &QDialog::accepted, [&] { defaultsInside = defaults; });
    outer.exec();
    EXPECT_EQ(seenMode, NSModalPanelRunLoopMode);
    EXPECT_EQ(defaultsInside, 0);
}

TEST_P(RunLoopModesTest, AnOpenPopupIsTracking)
{
    QWidget window;
    window.resize(50, 50);
    window.show();
    QMenu menu(&window);
    menu.addAction(QStringLiteral("one"));
    spin(10ms);
    menu.popup(QPoint(10, 10));
    ask();
    EXPECT_TRUE(spinUntil([&] { return commons == 1; }));
    spin(20ms);
    EXPECT_EQ(seenMode, NSEventTrackingRunLoopMode);
    EXPECT_EQ(defaults, 0);
    menu.close();
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
    EXPECT_EQ(loop->currentMode(), QString());
}

TEST_P(RunLoopModesTest, APopupInsideAModalPanelIsTracking)
{
    QDialog dialog;
    QMenu menu(&dialog);
    menu.addAction(QStringLiteral("one"));
    QTimer::singleShot(10ms, &dialog, [&] {
        menu.popup(QPoint(10, 10));
        ask();
    });
    QTimer::singleShot(60ms, &dialog, [&] {
        menu.close();
        dialog.accept();
    });
    dialog.exec();
    EXPECT_EQ(seenMode, NSEventTrackingRunLoopMode);
}

TEST_P(RunLoopModesTest, AHeldButtonIsTrackingUntilItIsLetGo)
{
    QWindow window;
    window.resize(50, 50);
    window.show();
    spin(10ms);
    send(&window, QEvent::MouseButtonPress, Qt::LeftButton);
    ask();
    EXPECT_TRUE(spinUntil([&] { return commons == 1; }));
    spin(20ms);
    EXPECT_EQ(seenMode, NSEventTrackingRunLoopMode);
    EXPECT_EQ(defaults, 0);
    send(&window, QEvent::MouseButtonRelease, Qt::NoButton);
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
}

TEST_P(RunLoopModesTest, AButtonThatOnlyEventsSpeakOfIsTrackingToo)
{
    auto widget = std::make_unique<QWidget>();
    widget->resize(50, 50);
    widget->show();
    spin(10ms);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(widget.get(), &press);
    ask();
    EXPECT_TRUE(spinUntil([&] { return commons == 1; }));
    EXPECT_EQ(seenMode, NSEventTrackingRunLoopMode);
    EXPECT_EQ(defaults, 0);
    // A receiver that goes takes the press with it.
    widget.reset();
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
}

TEST_P(RunLoopModesTest, ATimerInAllCommonModesFiresInAPanelAndWhileTracking)
{
    int all = 0;
    int onlyDefault = 0;
    const auto timer = NSTimer::timerWithTimeInterval(0.005, true, [&](NSTimer &) { ++all; });
    const auto plain = NSTimer::timerWithTimeInterval(0.005, true, [&](NSTimer &) { ++onlyDefault; });
    KVUTimer::addTimerToAllCommonRunLoopModes(timer);
    loop->addTimer(plain, NSDefaultRunLoopMode);
    QDialog dialog;
    int atStart = -1;
    int inPanel = -2;
    QTimer::singleShot(0, &dialog, [&] { atStart = onlyDefault; });
    QTimer close;
    QObject::connect(&close, &QTimer::timeout, [&] {
        if (all < 3)
            return;
        inPanel = onlyDefault;
        dialog.accept();
    });
    close.start(20);
    dialog.exec();
    EXPECT_GE(all, 3);
    EXPECT_EQ(inPanel, atStart) << "the default mode's timer waits";
    EXPECT_TRUE(spinUntil([&] { return onlyDefault > atStart; }));

    QMenu menu;
    menu.addAction(QStringLiteral("one"));
    menu.popup(QPoint(10, 10));
    const int before = all;
    const int defaultBefore = onlyDefault;
    EXPECT_TRUE(spinUntil([&] { return all >= before + 3; }));
    EXPECT_EQ(onlyDefault, defaultBefore);
    menu.close();
    timer->invalidate();
    plain->invalidate();
}

TEST_P(RunLoopModesTest, ARunInOneModeStaysInItWhateverTheUserDoes)
{
    QWindow window;
    window.resize(50, 50);
    window.show();
    spin(10ms);
    send(&window, QEvent::MouseButtonPress, Qt::LeftButton);
    QString mode;
    loop->perform(&owner, {}, [&] { mode = loop->currentMode(); }, 0, {NSConnectionReplyMode});
    loop->runMode(NSConnectionReplyMode, QDateTime::currentDateTime().addMSecs(20));
    EXPECT_EQ(mode, NSConnectionReplyMode);
    send(&window, QEvent::MouseButtonRelease, Qt::NoButton);
}

TEST_P(RunLoopModesTest, ACallMayOpenAModalPanel)
{
    QStringList order;
    PerformDeferred::performDelayed(&owner, [&] {
        QDialog dialog;
        QTimer::singleShot(30ms, &dialog, &QDialog::accept);
        order.append(QStringLiteral("opened"));
        dialog.exec();
        order.append(QStringLiteral("closed"));
    });
    PerformDeferred::performDelayed(&owner,
                                    [&] { order.append(QStringLiteral("inside ") + loop->currentMode()); });
    EXPECT_TRUE(spinUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (QStringList{QStringLiteral("opened"), QStringLiteral("inside NSModalPanelRunLoopMode"),
                                  QStringLiteral("closed")}));
}

TEST_P(RunLoopModesTest, ParkedRequestsCostNoWakeUps)
{
    QMenu menu;
    menu.addAction(QStringLiteral("one"));
    spin(10ms);
    menu.popup(QPoint(10, 10));
    ask();
    EXPECT_TRUE(spinUntil([&] { return commons == 1; }));
    spin(20ms);
    int wakeUps = 0;
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &owner,
                     [&] { ++wakeUps; });
    spin(200ms);
    EXPECT_LT(wakeUps, 50);
    EXPECT_EQ(defaults, 0);
    menu.close();
    EXPECT_TRUE(spinUntil([&] { return defaults == 1; }));
}

} // namespace
} // namespace KVBase
