#include "support/SupportWindow.h"

#include "HangingTool.h"
#include "Support/ToolRunner.h"
#include "SupportFixtures.h"
#include "report/Application.h"

#include <KVBase/CrashReport.h>
#include <KVBase/KVMainThread.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

namespace KVBase::Tests
{
namespace
{

/// The window of the application "Tool", collected.
class SupportWindowTest : public testing::Test {
protected:
    SupportWindowTest() : application(argc, argv), tool(QStringLiteral("Tool"))
    {
        KVMainThread::markCurrentThreadAsMainThread();
        forgetTool();
        NSUserDefaults::standardUserDefaults().removeObjectForKey(KVCrashReporterLastDateKey);
    }

    void open(const QString &url)
    {
        make(url, {programFolder() + QStringLiteral("/kvbase-support")});
        EXPECT_TRUE(waitFor(&SupportWindow::collected));
    }

    void make(const QString &url, const ReportSteps &steps)
    {
        window = std::make_unique<SupportWindow>(QUrl(url), steps);
        window->show();
    }

    template <class Signal>
    bool waitFor(Signal signal)
    {
        QEventLoop loop;
        QObject::connect(window.get(), signal, &loop, [&loop] { loop.exit(1); });
        QTimer::singleShot(60000, &loop, [&loop] { loop.exit(0); });
        return loop.exec() == 1;
    }

    template <class Widget>
    Widget *find(const char *name) const
    {
        return window->findChild<Widget *>(QLatin1StringView(name));
    }

    QString label(const char *name) const { return find<QLabel>(name)->text(); }
    QString page(const char *name) const { return find<QPlainTextEdit>(name)->toPlainText(); }

    int argc = 1;
    char program[5] = "test";
    char *argv[2] = {program, nullptr};
    QApplication application;
    report::Application tool;
    std::unique_ptr<SupportWindow> window;
};

TEST_F(SupportWindowTest, ShowsWhatWouldBeSent)
{
    const QString path = addCrashReport("It broke in the middle.\n");
    open(QStringLiteral("http://127.0.0.1:9/"));
    EXPECT_EQ(label("titleLabel"), QStringLiteral("Tool"));
    EXPECT_EQ(label("crashLabel"), QStringLiteral("The application has crashed. Its report: ") + path);
    EXPECT_EQ(page("crashPage"), QStringLiteral("It broke in the middle.\n"));
    EXPECT_TRUE(page("profilePage").startsWith(QStringLiteral("Hardware:\n")));
    EXPECT_FALSE(page("consolePage").isEmpty());
    EXPECT_TRUE(find<QPushButton>("sendButton")->isEnabled());
}

TEST_F(SupportWindowTest, SaysThatThereIsNoNewCrashReport)
{
    open(QStringLiteral("http://127.0.0.1:9/"));
    EXPECT_EQ(label("crashLabel"), QStringLiteral("There is no new crash report."));
    EXPECT_EQ(page("crashPage"), QString());
}

TEST_F(SupportWindowTest, SaysWhichReportCannotBeRead)
{
    const QString path = addCrashReport("caf\xe9");
    open(QStringLiteral("http://127.0.0.1:9/"));
    EXPECT_EQ(label("crashLabel"),
              QStringLiteral("There is a new crash report that cannot be read: ") + path);
}

TEST_F(SupportWindowTest, CannotSendToNowhere)
{
    open(QString());
    EXPECT_FALSE(find<QPushButton>("sendButton")->isEnabled());
    EXPECT_EQ(label("statusLabel"), QStringLiteral("There is no address to send the report to."));
}

TEST_F(SupportWindowTest, SaysWhatIsWrongWithTheAddressAndSendsNothing)
{
    const Collector collector;
    open(collector.url);
    find<QLineEdit>("addressField")->setText(QStringLiteral("jane@example"));
    find<QPushButton>("sendButton")->click();
    EXPECT_TRUE(find<QLabel>("addressReason")->isVisible());
    EXPECT_TRUE(label("addressReason").startsWith(QStringLiteral("No top level domain given.\n")))
        << qPrintable(label("addressReason"));
    EXPECT_FALSE(window->isBusy());
    EXPECT_TRUE(collector.fields().isEmpty());
}

TEST_F(SupportWindowTest, PostsTheFormAndShowsTheAnswer)
{
    addCrashReport("It broke.\n");
    const Collector collector;
    open(collector.url);
    find<QLineEdit>("addressField")->setText(QStringLiteral(" jane@example.com "));
    find<QPlainTextEdit>("messageField")->setPlainText(QStringLiteral("It just stopped."));
    bool success = false;
    QObject::connect(window.get(), &SupportWindow::posted, window.get(),
                     [&success](bool sent) { success = sent; });
    find<QPushButton>("sendButton")->click();
    EXPECT_FALSE(find<QPushButton>("sendButton")->isEnabled());
    ASSERT_TRUE(waitFor(&SupportWindow::posted));
    EXPECT_TRUE(success);
    EXPECT_EQ(label("statusLabel"), QStringLiteral("Thank you. Your report is stored as form-0001.json."));
    const QJsonObject fields = collector.fields();
    EXPECT_EQ(fields.value(QStringLiteral("email")).toString(), QStringLiteral("jane@example.com"));
    EXPECT_EQ(fields.value(QStringLiteral("message")).toString(), QStringLiteral("It just stopped."));
    EXPECT_EQ(fields.value(QStringLiteral("crash")).toString(), QStringLiteral("It broke.\n"));
    EXPECT_EQ(fields.value(QStringLiteral("application")).toString(), QStringLiteral("Tool"));
    EXPECT_FALSE(CrashReport::newCrashLogExists()) << "what was sent is not new any more";
}

TEST_F(SupportWindowTest, SendsOnce)
{
    const Collector collector;
    open(collector.url);
    find<QPushButton>("sendButton")->click();
    ASSERT_TRUE(waitFor(&SupportWindow::posted));
    EXPECT_FALSE(find<QPushButton>("sendButton")->isEnabled());
    EXPECT_TRUE(find<QPushButton>("closeButton")->isEnabled());
}

TEST_F(SupportWindowTest, StaysUsableWhileAToolHangsAndSendsTheRestOnceItIsCut)
{
    const HangingTool hanging;
    const Collector collector;
    addCrashReport("It broke.\n");
    make(collector.url, {hanging.program(), std::chrono::seconds(2)});
    EXPECT_FALSE(find<QPushButton>("sendButton")->isEnabled());
    find<QLineEdit>("addressField")->setText(QStringLiteral("jane@example.com"));
    ASSERT_TRUE(waitFor(&SupportWindow::collected));
    EXPECT_TRUE(hanging.hasEnded());
    EXPECT_EQ(page("consolePage"), QString());
    EXPECT_EQ(find<QPlainTextEdit>("consolePage")->placeholderText(),
              QStringLiteral("Nothing is sent of this. It was cut after 2 seconds."));
    EXPECT_EQ(find<QPlainTextEdit>("profilePage")->placeholderText(),
              QStringLiteral("Nothing is sent of this. It was cut after 2 seconds."));
    find<QPushButton>("sendButton")->click();
    ASSERT_TRUE(waitFor(&SupportWindow::posted));
    EXPECT_EQ(collector.fields().value(QStringLiteral("crash")).toString(), QStringLiteral("It broke.\n"));
    EXPECT_EQ(collector.fields().value(QStringLiteral("console")).toString(), QString());
}

TEST_F(SupportWindowTest, EndsAToolThatHangsWhenItIsClosed)
{
    const HangingTool hanging;
    make(QString(), {hanging.program(), std::chrono::hours(1)});
    while (!hanging.hasBegun())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QTimer::singleShot(0, window.get(), &QWidget::close);
    QTimer::singleShot(60000, &application, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0) << "the last window has gone";
    EXPECT_TRUE(hanging.hasEnded());
    EXPECT_FALSE(window->isBusy());
}

TEST_F(SupportWindowTest, SaysWhichPageCouldNotBeCollected)
{
    make(QStringLiteral("http://127.0.0.1:9/"), {QStringLiteral("/no/such/program")});
    EXPECT_TRUE(waitFor(&SupportWindow::collected));
    EXPECT_EQ(find<QPlainTextEdit>("profilePage")->placeholderText(),
              QStringLiteral("Nothing is sent of this. No process could be started."));
    EXPECT_TRUE(find<QPushButton>("sendButton")->isEnabled());
}

TEST_F(SupportWindowTest, SaysWhyThePostFailedAndCanSendAgain)
{
    addCrashReport("It broke.\n");
    open(QStringLiteral("http://127.0.0.1:1/"));
    find<QPushButton>("sendButton")->click();
    ASSERT_TRUE(waitFor(&SupportWindow::posted));
    EXPECT_TRUE(label("statusLabel").startsWith(QStringLiteral("The report could not be sent. ")))
        << qPrintable(label("statusLabel"));
    EXPECT_TRUE(find<QPushButton>("sendButton")->isEnabled());
    EXPECT_TRUE(CrashReport::newCrashLogExists()) << "what was not sent stays new";
}

TEST(SupportWindowProgramTest, OpensAndTakesItsPicture)
{
    const QTemporaryDir folder;
    const QString picture = folder.filePath(QStringLiteral("window.png"));
    const ToolResult result = runProgram(programFolder() + QStringLiteral("/kvbase-support"),
                                         {QStringLiteral("Tool"), QStringLiteral("--picture"), picture});
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    const QImage image(picture);
    EXPECT_GE(image.width(), 300);
    EXPECT_GE(image.height(), 300);
}

TEST(SupportWindowProgramTest, RefusesWhatMakesNoSense)
{
    const struct {
        const char *option, *value;
    } rows[] = {{"--url", "not an address"}, {"--url", "http://"}, {"--url", "/a/path"},
                {"--timeout", "soon"},       {"--timeout", "0"},   {"--timeout", "nan"},
                {"--timeout", "1e9"}};
    for (const auto &row : rows) {
        const ToolResult result = runProgram(
            programFolder() + QStringLiteral("/kvbase-support"),
            {QStringLiteral("Tool"), QString::fromLatin1(row.option), QString::fromLatin1(row.value)});
        EXPECT_EQ(result.exitCode, 64) << row.value;
        EXPECT_TRUE(result.err.startsWith(QByteArray("kvbase-support: ") + row.option + ": \"" + row.value +
                                          "\" makes no sense here\n"))
            << result.err.constData();
    }
}

TEST(SupportWindowProgramTest, PrintsAPageForItsWindow)
{
    const ToolResult profile = runProgram(programFolder() + QStringLiteral("/kvbase-support"),
                                          {QStringLiteral("--step"), QStringLiteral("profile")});
    EXPECT_EQ(profile.exitCode, 0);
    EXPECT_TRUE(profile.out.startsWith("Hardware:\n"));
    const ToolResult console = runProgram(programFolder() + QStringLiteral("/kvbase-support"),
                                          {QStringLiteral("--step"), QStringLiteral("console")});
    EXPECT_EQ(console.exitCode, 0);
    EXPECT_FALSE(console.out.isEmpty());
    EXPECT_FALSE(console.out.startsWith("Hardware:\n"));
}

} // namespace
} // namespace KVBase::Tests
