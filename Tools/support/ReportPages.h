#pragma once

#include "report/StepProcess.h"

#include <QtCore/QVariantMap>
#include <QtWidgets/QTabWidget>

#include <chrono>

class QPlainTextEdit;

/// How the window has its pages filled: the program that is started for each step, by its path, and the time
/// that a step may take. The program's arguments are `--step console` and `--step profile`; what it writes is
/// the page's text.
struct ReportSteps {
    QString program;
    std::chrono::milliseconds limit = std::chrono::seconds(30);
};

/// The texts that a support report holds, each on a page that can be read. What may hang is collected by
/// programs of its own, which are ended when they take too long; then their page says so and stays empty.
class ReportPages : public QTabWidget {
    Q_OBJECT

public:
    explicit ReportPages(const ReportSteps &steps, QWidget *parent = nullptr);

    /// Starts to collect the console log and the profile.
    void collect();

    /// Ends what is still being collected.
    void abandon();

    void setCrashReport(const QString &text);

    /// "console", "profile", and "crash" when there is one.
    QVariantMap fields() const;

Q_SIGNALS:
    /// Every page is filled, or says why it is not.
    void collected();

private:
    QPlainTextEdit *addTextPage(const QString &title, const QString &objectName);
    void run(report::StepProcess *step, const QString &name, QPlainTextEdit *page);
    void show(const report::StepResult &result, const QString &name, QPlainTextEdit *page);

    ReportSteps steps;
    QPlainTextEdit *crashPage;
    QPlainTextEdit *consolePage;
    QPlainTextEdit *profilePage;
    int pending = 0;
    report::StepProcess console;
    report::StepProcess profile;
};
