#include "support/SupportWindow.h"

#include "report/Steps.h"

#include <KVBase/KVLog.h>

#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

using namespace KVBase;

namespace
{

QString text(const QVariantMap &values, const char *key)
{
    return values.value(QLatin1StringView(key)).toString();
}

/// Labels show what others wrote: as it stands, on as many lines as it takes, and for the clipboard too.
QLabel *makeLabel(const QString &objectName)
{
    auto *const label = new QLabel;
    label->setObjectName(objectName);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QString postProblem(const QVariantMap &result)
{
    const QString error = text(result, "error");
    return error.isEmpty() ? QStringLiteral("The report could not be sent.")
                           : QStringLiteral("The report could not be sent. ") + error;
}

} // namespace

SupportWindow::SupportWindow(const QUrl &url, const ReportSteps &steps, QWidget *parent)
    : QDialog(parent, Qt::Window), target(url),
      worker(KVBackgroundThread::backgroundThreadWithName(QStringLiteral("support"))),
      application(report::describeApplication()), pages(new ReportPages(steps))
{
    build();
    updateSendButton();
    connect(pages, &ReportPages::collected, this, [this] {
        isCollected = true;
        updateSendButton();
        Q_EMIT collected();
    });
    // The user defaults behind the crash reports belong to the application's own thread.
    showCrash(report::findCrash(false));
    pages->collect();
}

SupportWindow::~SupportWindow()
{
    // A field that has the focus loses it while the window goes, and would have its text judged by what is
    // left.
    addressField->disconnect(this);
}

void SupportWindow::done(int result)
{
    pages->abandon();
    QDialog::done(result);
}

void SupportWindow::build()
{
    constexpr QSize kComfortable(720, 640);
    setWindowTitle(QStringLiteral("Support for %1").arg(text(application, "application")));
    auto *const column = new QVBoxLayout(this);
    column->addWidget(makeHead());
    column->addWidget(pages, 1);
    column->addWidget(makeEntryFields());
    column->addWidget(makeFoot());
    resize(kComfortable);
    addressField->setFocus();
}

QWidget *SupportWindow::makeHead()
{
    auto *const head = new QWidget;
    auto *const column = new QVBoxLayout(head);
    column->setContentsMargins(0, 0, 0, 0);
    QLabel *const title = makeLabel(QStringLiteral("titleLabel"));
    QFont large = title->font();
    large.setBold(true);
    large.setPointSizeF(large.pointSizeF() * 1.3);
    title->setFont(large);
    title->setText(text(application, "application"));
    QLabel *const version = makeLabel(QStringLiteral("versionLabel"));
    version->setText(text(application, "version"));
    crashLabel = makeLabel(QStringLiteral("crashLabel"));
    crashLabel->setText(QStringLiteral("Looking for crash reports ..."));
    column->addWidget(title);
    column->addWidget(version);
    column->addWidget(crashLabel);
    QLabel *const hint = makeLabel(QStringLiteral("hintLabel"));
    hint->setText(QStringLiteral("This is what will be sent. Nothing else leaves your computer."));
    column->addWidget(hint);
    return head;
}

QWidget *SupportWindow::makeEntryFields()
{
    constexpr int kMessageHeight = 80;
    addressField = new QLineEdit;
    addressField->setObjectName(QStringLiteral("addressField"));
    addressField->setPlaceholderText(QStringLiteral("you@example.com"));
    addressReason = makeLabel(QStringLiteral("addressReason"));
    addressReason->hide();
    messageField = new QPlainTextEdit;
    messageField->setObjectName(QStringLiteral("messageField"));
    messageField->setPlaceholderText(QStringLiteral("What did you do when it happened?"));
    messageField->setTabChangesFocus(true);
    messageField->setMaximumHeight(kMessageHeight);
    connect(addressField, &QLineEdit::editingFinished, this, &SupportWindow::validate);
    connect(addressField, &QLineEdit::textEdited, this, [this] { addressReason->hide(); });

    auto *const fields = new QWidget;
    auto *const rows = new QFormLayout(fields);
    rows->setContentsMargins(0, 0, 0, 0);
    auto *const address = new QVBoxLayout;
    address->addWidget(addressField);
    address->addWidget(addressReason);
    auto *const label = new QLabel(QStringLiteral("&E-mail address:"));
    label->setBuddy(addressField);
    rows->addRow(label, address);
    rows->addRow(QStringLiteral("&What happened:"), messageField);
    return fields;
}

QWidget *SupportWindow::makeFoot()
{
    statusLabel = makeLabel(QStringLiteral("statusLabel"));
    sendButton = new QPushButton(QStringLiteral("&Send"));
    sendButton->setObjectName(QStringLiteral("sendButton"));
    sendButton->setDefault(true);
    connect(sendButton, &QPushButton::clicked, this, &SupportWindow::send);
    closeButton = new QPushButton(QStringLiteral("C&lose"));
    closeButton->setObjectName(QStringLiteral("closeButton"));
    closeButton->setAutoDefault(false);
    connect(closeButton, &QPushButton::clicked, this, &QDialog::reject);
    auto *const foot = new QWidget;
    auto *const row = new QHBoxLayout(foot);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(statusLabel, 1);
    row->addWidget(closeButton);
    row->addWidget(sendButton);
    return foot;
}

void SupportWindow::showCrash(const QVariantMap &found)
{
    const QString path = text(found, "path");
    pages->setCrashReport(text(found, "text"));
    crashDate = found.value(QStringLiteral("date"));
    if (path.isEmpty())
        crashLabel->setText(QStringLiteral("There is no new crash report."));
    else if (!found.contains(QStringLiteral("text")))
        crashLabel->setText(QStringLiteral("There is a new crash report that cannot be read: ") + path);
    else
        crashLabel->setText(QStringLiteral("The application has crashed. Its report: ") + path);
}

void SupportWindow::validate()
{
    const QString address = addressField->text().trimmed();
    const QVariantMap checked =
        address.isEmpty() ? QVariantMap{{QStringLiteral("isValid"), true}} : report::checkAddress(address);
    isAddressValid = checked.value(QStringLiteral("isValid")).toBool();
    addressReason->setText(text(checked, "title") + u'\n' + text(checked, "reason"));
    addressReason->setVisible(!isAddressValid);
}

void SupportWindow::updateSendButton()
{
    sendButton->setEnabled(isCollected && !isSent && pending == 0 && target.isValid());
    if (!target.isValid())
        statusLabel->setText(QStringLiteral("There is no address to send the report to."));
}

QVariantMap SupportWindow::form() const
{
    QVariantMap fields = pages->fields();
    fields.insert(QStringLiteral("email"), addressField->text().trimmed());
    fields.insert(QStringLiteral("message"), messageField->toPlainText());
    for (const char *key : {"application", "identifier", "version"})
        fields.insert(QLatin1StringView(key), text(application, key));
    return fields;
}

void SupportWindow::send()
{
    validate();
    if (!isAddressValid) {
        addressField->setFocus();
        statusLabel->setText(QStringLiteral("The e-mail address needs another look."));
        return;
    }
    statusLabel->setText(QStringLiteral("Sending ..."));
    onWorker(
        [fields = form(), url = target] {
            if (!report::testReachability(url).value(QStringLiteral("isReachable")).toBool())
                return QVariantMap{
                    {QStringLiteral("error"), url.host() + QStringLiteral(" cannot be reached.")}};
            return report::postForm(fields, url);
        },
        [this](const QVariantMap &result) { showAnswer(result); });
    updateSendButton();
}

void SupportWindow::showAnswer(const QVariantMap &result)
{
    constexpr qsizetype kMostShown = 500;
    const bool success =
        result.contains(QStringLiteral("answer")) && !result.contains(QStringLiteral("error"));
    statusLabel->setText(success ? text(result, "answer").left(kMostShown).trimmed() : postProblem(result));
    KVLog("Support report: %@", statusLabel->text());
    isSent = success;
    if (success && crashDate.isValid())
        report::markCrashAsSeen(crashDate);
    if (success)
        closeButton->setFocus();
    updateSendButton();
    Q_EMIT posted(success);
}

void SupportWindow::onWorker(const std::function<QVariantMap()> &work,
                             const std::function<void(const QVariantMap &)> &done)
{
    ++pending;
    worker->perform([this, work, done] {
        QVariantMap answer;
        try {
            answer = work();
        } catch (const std::exception &error) {
            answer.insert(QStringLiteral("error"), QString::fromUtf8(error.what()));
        }
        QMetaObject::invokeMethod(
            this,
            [this, answer, done] {
                --pending;
                done(answer);
            },
            Qt::QueuedConnection);
    });
}
