#pragma once

#include "kvbase/StepLimit.h"

#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

namespace kvbase
{

struct SupportOptions {
    std::string application;
    std::string email;
    std::string message;
    std::string url;
    std::string folder;
    std::int32_t lines = 100;
    bool seenToo = false;
    bool dryRun = false;
    StepLimit limit;
};

/// One walk from the crash report to the server's answer. Every step that may block is bounded; a step that
/// fails is noted and the walk goes on without it, as far as that makes sense.
class SupportRun {
public:
    SupportRun(const SupportOptions &given, const Context &where);

    /// Answers the exit code.
    int run();

private:
    enum class Verdict { Sent, NotSent, Refused, Broken };

    bool openFolder();
    void describeApplication();
    void findCrash();
    void readConsole();
    void describeMachine();
    bool checkAddress();
    void showForm();
    Verdict send();
    bool isReachable(const QUrl &url);
    Verdict post(const QUrl &url);
    bool leaveReport();
    int finish(Verdict verdict);

    report::StepResult step(const QString &name, const std::function<QVariantMap()> &work);
    void say(const QString &line);
    void progress(const QString &name);

    const SupportOptions &options;
    const Context &context;
    QString folder;
    QVariantMap fields;
    QMap<QString, QString> files;
    QJsonObject result;
    QStringList cutSteps;
    QStringList failedSteps;
    QVariant crashDate;
};

} // namespace kvbase
