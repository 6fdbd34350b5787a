#include <KVBase/CurrentEventModifierState.h>
#include <KVBase/ModifierState.h>
#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSEvent.h>
#include <KVBase/Platform/NSRunLoop.h>

#include "Support/LoopDriver.h"

#include <QtCore/QEventLoop>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

using namespace std::chrono_literals;

/// The four answers as one text, "-" where the answer is NO.
std::string answers(const QInputEvent *event)
{
    using namespace ModifierState;
    return std::string(isShiftKeyDown(event) ? "S" : "-") + (isControlKeyDown(event) ? "C" : "-") +
           (isOptionKeyDown(event) ? "O" : "-") + (isCommandKeyDown(event) ? "M" : "-");
}

std::string currentAnswers()
{
    using namespace CurrentEventModifierState;
    return std::string(isShiftKeyDown() ? "S" : "-") + (isControlKeyDown() ? "C" : "-") +
           (isOptionKeyDown() ? "O" : "-") + (isCommandKeyDown() ? "M" : "-");
}

TEST(ModifierKeysTest, EachCombinationOfKeysIsTold)
{
    struct Row {
        Qt::KeyboardModifiers held;
        std::uint32_t flags;
        const char *answers;
    };
    const Row rows[] = {
        {Qt::NoModifier, 0, "----"},
        {Qt::ShiftModifier, 0x20000, "S---"},
        {Qt::ControlModifier, 0x40000, "-C--"},
        {Qt::AltModifier, 0x80000, "--O-"},
        {Qt::MetaModifier, 0x100000, "---M"},
        {Qt::ShiftModifier | Qt::MetaModifier, 0x120000, "S--M"},
        {Qt::ControlModifier | Qt::AltModifier, 0xc0000, "-CO-"},
        {Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier, 0x1e0000, "SCOM"},
        {Qt::KeypadModifier, 0, "----"},
        {Qt::GroupSwitchModifier, 0, "----"},
        {Qt::ShiftModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier, 0x20000, "S---"},
    };
    for (const Row &row : rows) {
        const QKeyEvent key(QEvent::KeyPress, Qt::Key_A, row.held);
        EXPECT_EQ(modifierFlags(&key) & 0x1e0000u, row.flags);
        EXPECT_EQ(answers(&key), row.answers);
        const QMouseEvent mouse(QEvent::MouseButtonPress, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton,
                                Qt::LeftButton, row.held);
        EXPECT_EQ(answers(&mouse), row.answers);
        const QWheelEvent wheel(QPointF(), QPointF(), QPoint(), QPoint(0, 120), Qt::NoButton, row.held,
                                Qt::NoScrollPhase, false);
        EXPECT_EQ(answers(&wheel), row.answers);
    }
}

/// A window that tells what it was told while it handled an event.
class Window : public QWidget {
public:
    std::vector<std::string> seen;
    std::function<void(QEvent *)> onEvent;

protected:
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::MouseButtonPress ||
            event->type() == QEvent::User) {
            seen.push_back(currentAnswers());
            if (onEvent)
                onEvent(event);
            event->accept();
            return true;
        }
        return QWidget::event(event);
    }
};

class CurrentEventModifierKeysTest : public testing::TestWithParam<LoopKind> {
protected:
    CurrentEventModifierKeysTest()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        driver = std::make_unique<LoopDriver<QApplication>>(GetParam());
        (void)currentAnswers();
        window = std::make_unique<Window>();
        window->show();
    }
    ~CurrentEventModifierKeysTest() override
    {
        window.reset();
        driver.reset();
    }
    void sendKey(Qt::KeyboardModifiers held)
    {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_A, held);
        QCoreApplication::sendEvent(window.get(), &key);
    }
    void postKey(Qt::KeyboardModifiers held)
    {
        QCoreApplication::postEvent(window.get(), new QKeyEvent(QEvent::KeyPress, Qt::Key_A, held));
    }
    std::unique_ptr<LoopDriver<QApplication>> driver;
    std::unique_ptr<Window> window;
};
INSTANTIATE_TEST_SUITE_P(Loops, CurrentEventModifierKeysTest,
                         testing::Values(LoopKind::GLib, LoopKind::Plain), nameOfLoop);

TEST_P(CurrentEventModifierKeysTest, TheCurrentEventIsTheOneDelivered)
{
    const QInputEvent *current = nullptr;
    window->onEvent = [&](QEvent *) { current = NSApplication::sharedApplication()->currentEvent(); };
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(1, 1), QPointF(1, 1), Qt::LeftButton, Qt::LeftButton,
                      Qt::AltModifier);
    QCoreApplication::sendEvent(window.get(), &press);
    EXPECT_EQ(current, &press);
    EXPECT_EQ(window->seen, std::vector<std::string>({"--O-"}));
}

TEST_P(CurrentEventModifierKeysTest, NestedEventsEndBackAtTheOuterOne)
{
    std::string after;
    bool nested = false;
    window->onEvent = [&](QEvent *) {
        if (nested)
            return;
        nested = true;
        sendKey(Qt::ControlModifier);
        QEventLoop loop;
        postKey(Qt::AltModifier);
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        loop.exec();
        after = currentAnswers();
    };
    sendKey(Qt::ShiftModifier);
    EXPECT_TRUE(spinUntil([&] { return window->seen.size() == 3; }));
    EXPECT_EQ(window->seen, std::vector<std::string>({"S---", "-C--", "--O-"}));
    EXPECT_EQ(after, "S---");
    EXPECT_EQ(currentAnswers(), "----");
}

TEST_P(CurrentEventModifierKeysTest, AnEventThatIsNoInputEventHasNoModifiers)
{
    QEvent user(QEvent::User);
    QCoreApplication::sendEvent(window.get(), &user);
    EXPECT_EQ(window->seen, std::vector<std::string>({"----"}));
}

TEST_P(CurrentEventModifierKeysTest, AWindowThatGoesWhileHandlingLeavesNoEventBehind)
{
    auto *gone = new Window;
    gone->show();
    gone->onEvent = [gone](QEvent *) { gone->deleteLater(); };
    QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::ShiftModifier);
    QCoreApplication::sendEvent(gone, &key);
    EXPECT_EQ(currentAnswers(), "----");
    spin(10ms);
    EXPECT_EQ(currentAnswers(), "----");
}

} // namespace
} // namespace KVBase::Tests
