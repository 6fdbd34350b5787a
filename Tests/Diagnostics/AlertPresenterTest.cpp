#include "Platform/Services/AlertPresenter.h"

#include <KVBase/StExceptionDisplaysAlert.h>
#include <KVBase/UException.h>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QTimer>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMessageBox>

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace KVBase
{
namespace
{

/// What the user saw of one panel.
struct SeenPanel {
    QString title;
    QString text;
    QString message;
    Qt::TextFormat textFormat = Qt::AutoText;
    Qt::TextFormat messageFormat = Qt::AutoText;
    QStringList buttons;
    int icon = 0;
};

class AlertPresenterTest : public testing::Test {
protected:
    AlertPresenterTest()
    {
        QObject::connect(&poll, &QTimer::timeout, [this] { dismiss(); });
        poll.start(5);
    }

    /// Notes what the open panel shows and presses its button.
    void dismiss()
    {
        auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        const auto *const label = box->findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel"));
        SeenPanel panel{box->windowTitle(),
                        box->text(),
                        box->informativeText(),
                        box->textFormat(),
                        label != nullptr ? label->textFormat() : Qt::AutoText,
                        {},
                        box->icon()};
        for (const QAbstractButton *button : box->buttons())
            panel.buttons.append(button->text());
        seen.append(panel);
        box->buttons().first()->click();
    }

    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};
    QApplication application{argc, argv};
    QTimer poll;
    QList<SeenPanel> seen;
};

TEST_F(AlertPresenterTest, ShowsPlainTextsAndOneButtonAndWaits)
{
    const QString message = QStringLiteral("Message: <b>50%</b>\nFile: a & b\nSection: %@\nLine 3");
    Service<AlertPresenter>::current()->criticalAlert(QStringLiteral("Title (<i>)"), message,
                                                      QStringLiteral("OK"));
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().text, "Title (<i>)");
    EXPECT_EQ(seen.first().message, message);
    EXPECT_EQ(seen.first().textFormat, Qt::PlainText);
    EXPECT_EQ(seen.first().messageFormat, Qt::PlainText);
    EXPECT_EQ(seen.first().buttons, QStringList({QStringLiteral("OK")}));
    EXPECT_EQ(seen.first().icon, int(QMessageBox::Critical));
}

TEST_F(AlertPresenterTest, BlocksAThrowUntilThePanelIsDismissed)
{
    const StExceptionDisplaysAlert alert(1);
    EXPECT_THROW(UException::ThrowErr(-43, "m", "f", 1), KVErrException);
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().text, "KVErrException (-43)");
}

TEST_F(AlertPresenterTest, QueuesThePanelOfAnotherThreadAndTheThrowGoesOn)
{
    bool thrown = false;
    std::thread([&thrown] {
        const StExceptionDisplaysAlert alert(1);
        try {
            UException::Throw("Name", "m", "f", 1);
        } catch (const KVException &) {
            thrown = true;
        }
    }).join();
    EXPECT_TRUE(thrown);
    EXPECT_EQ(seen.size(), 0);
    QDeadlineTimer limit(20000);
    while (seen.isEmpty() && !limit.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().text, "KVException (Name)");
}

TEST(AlertPresenterWithoutApplicationTest, ShowsNothing)
{
    const StExceptionDisplaysAlert alert(1);
    EXPECT_THROW(UException::ThrowErr(1, "m", "f", 1), KVErrException);
    EXPECT_THROW(UException::Throw("n", "m", "f", 1), KVException);
}

template <class Application>
void throwUnder()
{
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    Application application(argc, argv);
    const StExceptionDisplaysAlert alert(1);
    EXPECT_THROW(UException::ThrowErr(1, "m", "f", 1), KVErrException);
}

TEST(AlertPresenterWithoutWidgetsTest, ShowsNothing)
{
    throwUnder<QCoreApplication>();
    throwUnder<QGuiApplication>();
}

} // namespace
} // namespace KVBase
