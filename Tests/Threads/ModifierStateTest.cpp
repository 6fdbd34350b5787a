#include <KVBase/CurrentEventModifierState.h>
#include <KVBase/ModifierState.h>
#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSEvent.h>

#include <gtest/gtest.h>

#include <QtCore/QEventLoop>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace KVBase
{
namespace
{

QKeyEvent keyPress(Qt::KeyboardModifiers modifiers)
{
    return QKeyEvent(QEvent::KeyPress, Qt::Key_X, modifiers);
}

/// The four answers as letters: which keys are down.
std::string keysOf(const QInputEvent *event)
{
    return std::string(ModifierState::isShiftKeyDown(event) ? "S" : "") +
           (ModifierState::isControlKeyDown(event) ? "C" : "") +
           (ModifierState::isOptionKeyDown(event) ? "O" : "") +
           (ModifierState::isCommandKeyDown(event) ? "M" : "");
}

std::string currentKeys()
{
    return std::string(CurrentEventModifierState::isShiftKeyDown() ? "S" : "") +
           (CurrentEventModifierState::isControlKeyDown() ? "C" : "") +
           (CurrentEventModifierState::isOptionKeyDown() ? "O" : "") +
           (CurrentEventModifierState::isCommandKeyDown() ? "M" : "");
}

struct ModifierRow {
    Qt::KeyboardModifiers modifiers;
    const char *keys;
    std::uint32_t flags;
};

TEST(ModifierStateTest, TellsEachKeyByItsBit)
{
    const ModifierRow rows[] = {
        {Qt::NoModifier, "", 0},
        {Qt::ShiftModifier, "S", 0x00020000},
        {Qt::ControlModifier, "C", 0x00040000},
        {Qt::AltModifier, "O", 0x00080000},
        {Qt::MetaModifier, "M", 0x00100000},
        {Qt::MetaModifier | Qt::ShiftModifier, "SM", 0x00120000},
        {Qt::ShiftModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier, "S", 0x00020000},
        {Qt::KeypadModifier | Qt::GroupSwitchModifier, "", 0},
        {Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier, "SCOM", 0x001E0000},
    };
    for (const ModifierRow &row : rows) {
        const QKeyEvent event = keyPress(row.modifiers);
        EXPECT_EQ(keysOf(&event), row.keys);
        EXPECT_EQ(modifierFlags(&event), row.flags);
    }
}

TEST(ModifierStateTest, AnswersNoForNoEvent)
{
    EXPECT_EQ(keysOf(nullptr), "");
    EXPECT_EQ(modifierFlags(nullptr), 0u);
}

TEST(ModifierStateTest, TellsThemOfMouseEventsToo)
{
    const QMouseEvent event(QEvent::MouseButtonPress, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton,
                            Qt::LeftButton, Qt::AltModifier);
    EXPECT_EQ(keysOf(&event), "O");
}

/// A window that does something with each key press and mouse button.
class Window : public QWidget {
public:
    std::function<void(const QInputEvent *)> handle;

protected:
    void keyPressEvent(QKeyEvent *event) override { handle(event); }
    void mousePressEvent(QMouseEvent *event) override { handle(event); }
};

class CurrentEventModifierStateTest : public testing::Test {
protected:
    void sendKey(Qt::KeyboardModifiers modifiers)
    {
        QKeyEvent event = keyPress(modifiers);
        QCoreApplication::sendEvent(&window, &event);
    }

    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};
    QApplication application{argc, argv};
    Window window;
};

TEST(ModifierStateTest, AnswersNoWithoutAnApplication)
{
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    EXPECT_EQ(currentKeys(), "");
}

TEST_F(CurrentEventModifierStateTest, AnswersForTheEventBeingHandledAlone)
{
    std::string during;
    bool isCurrent = false;
    window.handle = [&](const QInputEvent *event) {
        during = currentKeys();
        isCurrent = NSApplication::sharedApplication()->currentEvent() == event;
    };
    EXPECT_EQ(currentKeys(), "");
    sendKey(Qt::MetaModifier | Qt::ShiftModifier);
    EXPECT_EQ(during, "SM");
    EXPECT_TRUE(isCurrent);
    EXPECT_EQ(currentKeys(), "");
    EXPECT_EQ(NSApplication::sharedApplication()->currentEvent(), nullptr);
    sendKey(Qt::NoModifier);
    EXPECT_EQ(during, "");
}

TEST_F(CurrentEventModifierStateTest, AnswersForMouseEvents)
{
    std::string during;
    window.handle = [&](const QInputEvent *) { during = currentKeys(); };
    QMouseEvent event(QEvent::MouseButtonPress, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton, Qt::LeftButton,
                      Qt::ControlModifier);
    QCoreApplication::sendEvent(&window, &event);
    EXPECT_EQ(during, "C");
    EXPECT_EQ(currentKeys(), "");
}

TEST_F(CurrentEventModifierStateTest, AnswersForTheInnermostEvent)
{
    std::vector<std::string> seen;
    window.handle = [&](const QInputEvent *) {
        seen.push_back(currentKeys());
        if (seen.size() == 1) {
            sendKey(Qt::AltModifier);
            seen.push_back(currentKeys());
        }
    };
    sendKey(Qt::ShiftModifier);
    EXPECT_EQ(seen, (std::vector<std::string>{"S", "O", "S"}));
    EXPECT_EQ(currentKeys(), "");
}

TEST_F(CurrentEventModifierStateTest, AnswersInNestedLoops)
{
    std::vector<std::string> seen;
    window.handle = [&](const QInputEvent *) {
        seen.push_back(currentKeys());
        if (seen.size() > 1)
            return;
        QCoreApplication::postEvent(&window, new QKeyEvent(QEvent::KeyPress, Qt::Key_Y, Qt::ControlModifier));
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            seen.push_back(currentKeys());
            loop.quit();
        });
        loop.exec();
        seen.push_back(currentKeys());
    };
    sendKey(Qt::ShiftModifier);
    // The timer of the nested loop fires during the outer event.
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen.front(), "S");
    EXPECT_EQ(seen.back(), "S");
    EXPECT_TRUE((seen[1] == "C" && seen[2] == "S") || (seen[1] == "S" && seen[2] == "C"));
    EXPECT_EQ(currentKeys(), "");
}

TEST_F(CurrentEventModifierStateTest, AnswersNoInTimersOutsideEvents)
{
    std::string during = "?";
    QEventLoop loop;
    QTimer::singleShot(0, &loop, [&] {
        during = currentKeys();
        loop.quit();
    });
    loop.exec();
    EXPECT_EQ(during, "");
}

TEST_F(CurrentEventModifierStateTest, ForgetsTheEventWhenItsHandlerThrows)
{
    window.handle = [](const QInputEvent *) { throw std::runtime_error("handler"); };
    EXPECT_THROW(sendKey(Qt::ShiftModifier), std::runtime_error);
    EXPECT_EQ(currentKeys(), "");
}

TEST_F(CurrentEventModifierStateTest, LeavesDeliveryAsItIs)
{
    // What the receiver answers, whether it accepts, its parents and objects that delete themselves later.
    QWidget parent;
    auto *child = new QWidget(&parent);
    QKeyEvent event = keyPress(Qt::ShiftModifier);
    event.setAccepted(false);
    QCoreApplication::sendEvent(child, &event);
    EXPECT_FALSE(event.isAccepted());

    window.handle = [](const QInputEvent *input) { const_cast<QInputEvent *>(input)->accept(); };
    event.setAccepted(false);
    EXPECT_TRUE(QCoreApplication::sendEvent(&window, &event));
    EXPECT_TRUE(event.isAccepted());

    QPointer<QObject> later = new QObject;
    window.handle = [&](const QInputEvent *) { later->deleteLater(); };
    QEventLoop loop;
    QTimer::singleShot(0, &loop, [&] { sendKey(Qt::NoModifier); });
    QObject::connect(later.data(), &QObject::destroyed, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    EXPECT_TRUE(later.isNull());
}

/// Counts what passes by.
class CountingFilter : public QObject {
public:
    bool eventFilter(QObject *, QEvent *event) override
    {
        keys += event->type() == QEvent::KeyPress ? 1 : 0;
        return swallows && event->type() == QEvent::KeyPress;
    }
    int keys = 0;
    bool swallows = false;
};

TEST_F(CurrentEventModifierStateTest, LetsFiltersSeeEachEventOnce)
{
    CountingFilter filter;
    application.installEventFilter(&filter);
    int handled = 0;
    window.handle = [&](const QInputEvent *) { ++handled; };
    sendKey(Qt::ShiftModifier);
    EXPECT_EQ(filter.keys, 1);
    EXPECT_EQ(handled, 1);
    filter.swallows = true;
    sendKey(Qt::ShiftModifier);
    EXPECT_EQ(handled, 1);
    EXPECT_EQ(currentKeys(), "");
}

TEST_F(CurrentEventModifierStateTest, AnswersNoOnOtherThreads)
{
    std::string onOther = "?";
    window.handle = [&](const QInputEvent *) {
        std::thread other([&] { onOther = currentKeys(); });
        other.join();
    };
    sendKey(Qt::ShiftModifier);
    EXPECT_EQ(onOther, "");
}

TEST_F(CurrentEventModifierStateTest, WorksInALaterApplicationToo)
{
    std::string during;
    window.handle = [&](const QInputEvent *) { during = currentKeys(); };
    sendKey(Qt::AltModifier);
    EXPECT_EQ(during, "O");
}

} // namespace
} // namespace KVBase
