#include "support/ReportPages.h"

#include <KVBase/KVLog.h>

#include <QtGui/QFontDatabase>
#include <QtWidgets/QPlainTextEdit>

ReportPages::ReportPages(const ReportSteps &given, QWidget *parent)
    : QTabWidget(parent), steps(given),
      crashPage(addTextPage(QStringLiteral("&Crash Report"), QStringLiteral("crashPage"))),
      consolePage(addTextPage(QStringLiteral("C&onsole Log"), QStringLiteral("consolePage"))),
      profilePage(addTextPage(QStringLiteral("System &Profile"), QStringLiteral("profilePage")))
{}

QPlainTextEdit *ReportPages::addTextPage(const QString &title, const QString &objectName)
{
    auto *const page = new QPlainTextEdit;
    page->setObjectName(objectName);
    page->setReadOnly(true);
    page->setTabChangesFocus(true);
    page->setLineWrapMode(QPlainTextEdit::NoWrap);
    page->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    page->setPlaceholderText(QStringLiteral("Being collected ..."));
    addTab(page, title);
    return page;
}

void ReportPages::collect()
{
    pending = 2;
    run(&console, QStringLiteral("console"), consolePage);
    run(&profile, QStringLiteral("profile"), profilePage);
}

void ReportPages::abandon()
{
    console.abandon();
    profile.abandon();
}

void ReportPages::setCrashReport(const QString &text)
{
    crashPage->setPlaceholderText(QStringLiteral("No crash report is sent."));
    crashPage->setPlainText(text);
    // Nobody wants to read an empty page first.
    setCurrentWidget(text.isEmpty() ? consolePage : crashPage);
}

QVariantMap ReportPages::fields() const
{
    QVariantMap fields{{QStringLiteral("console"), consolePage->toPlainText()},
                       {QStringLiteral("profile"), profilePage->toPlainText()}};
    if (!crashPage->toPlainText().isEmpty())
        fields.insert(QStringLiteral("crash"), crashPage->toPlainText());
    return fields;
}

void ReportPages::run(report::StepProcess *step, const QString &name, QPlainTextEdit *page)
{
    connect(step, &report::StepProcess::ended, this, [this, name, page](const report::StepResult &result) {
        show(result, name, page);
        if (--pending == 0)
            Q_EMIT collected();
    });
    step->start({steps.program, QStringLiteral("--step"), name}, steps.limit);
}

void ReportPages::show(const report::StepResult &result, const QString &name, QPlainTextEdit *page)
{
    page->setPlainText(result.values.value(QStringLiteral("text")).toString());
    if (result.end == report::StepEnd::Done)
        return page->setPlaceholderText(QStringLiteral("There is nothing to send."));
    page->setPlaceholderText(QStringLiteral("Nothing is sent of this. ") + result.reason);
    KVBase::KVLog("%@: %@", name, result.reason);
}
