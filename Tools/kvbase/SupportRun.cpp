#include "kvbase/SupportRun.h"

#include "report/Application.h"
#include "report/ReportFolder.h"
#include "report/Steps.h"

#include <KVBase/KVLog.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>

#include <cstdio>
#include <unistd.h>

namespace kvbase
{

namespace
{

QString text(const QVariantMap &values, const char *key)
{
    return values.value(QLatin1StringView(key)).toString();
}

QString lineCount(const QString &text)
{
    const qsizetype lines = text.count(u'\n') + (text.isEmpty() || text.endsWith(u'\n') ? 0 : 1);
    return QStringLiteral("%1 lines").arg(lines);
}

/// The beginning of a long text, on one line.
QString excerpt(const QString &text)
{
    constexpr qsizetype kLength = 60;
    const QString line = text.simplified();
    return line.size() > kLength ? line.left(kLength) + QStringLiteral(" ...") : line;
}

QUrl addressOf(const std::string &text) { return QUrl(QString::fromStdString(text), QUrl::StrictMode); }

} // namespace

SupportRun::SupportRun(const SupportOptions &given, const Context &where) : options(given), context(where) {}

int SupportRun::run()
{
    const report::Application application(QString::fromStdString(options.application));
    folder = options.folder.empty() ? report::usualReportFolder(application.executable())
                                    : QFileInfo(QString::fromStdString(options.folder)).absoluteFilePath();
    if (!openFolder())
        return kFailure;
    describeApplication();
    findCrash();
    readConsole();
    describeMachine();
    const bool mayBeSent = checkAddress();
    fields.insert(QStringLiteral("message"), QString::fromStdString(options.message));
    showForm();
    return finish(mayBeSent ? send() : Verdict::Refused);
}

bool SupportRun::openFolder()
{
    if (!report::makeReportFolder(folder)) {
        complain(QStringLiteral("the folder cannot be made: ") + folder);
        return false;
    }
    KVBase::KVLogSetDefaultDestination();
    KVBase::KVLogOpen(folder + QStringLiteral("/support.log"));
    result.insert(QStringLiteral("folder"), folder);
    return true;
}

void SupportRun::describeApplication()
{
    const QVariantMap found = step(QStringLiteral("application"), report::describeApplication).values;
    const QStringList changes = found.value(QStringLiteral("firstStart")).toStringList();
    say(QStringLiteral("Application: %1, %2").arg(text(found, "application"), text(found, "version")));
    say(QStringLiteral("Start: ") +
        (changes.isEmpty() ? QStringLiteral("nothing is known to have changed") : changes.join(u", ")));
    for (const char *key : {"application", "identifier", "version"})
        fields.insert(QLatin1StringView(key), text(found, key));
    result.insert(QStringLiteral("firstStart"), QJsonArray::fromStringList(changes));
}

void SupportRun::findCrash()
{
    const QVariantMap found =
        step(QStringLiteral("crash report"), [this] { return report::findCrash(options.seenToo); }).values;
    const QString path = text(found, "path");
    result.insert(QStringLiteral("crashReport"), path.isEmpty() ? QJsonValue() : path);
    if (path.isEmpty())
        return say(QStringLiteral("Crash report: none that is new"));
    if (!found.contains(QStringLiteral("text"))) {
        failedSteps.append(QStringLiteral("crash report"));
        return say(QStringLiteral("Crash report: %1 cannot be read").arg(path));
    }
    const QString report = text(found, "text");
    say(QStringLiteral("Crash report: %1, %2").arg(path, lineCount(report)));
    crashDate = found.value(QStringLiteral("date"));
    fields.insert(QStringLiteral("crash"), report);
    files.insert(QStringLiteral("crash.txt"), report);
}

void SupportRun::readConsole()
{
    const QString console = text(
        step(QStringLiteral("console log"), [this] { return report::readConsole(options.lines); }).values,
        "text");
    say(QStringLiteral("Console log: ") + lineCount(console));
    fields.insert(QStringLiteral("console"), console);
    files.insert(QStringLiteral("console.txt"), console);
}

void SupportRun::describeMachine()
{
    const QString profile =
        text(step(QStringLiteral("system profile"), report::describeMachine).values, "text");
    say(QStringLiteral("System profile: ") + lineCount(profile));
    fields.insert(QStringLiteral("profile"), profile);
    files.insert(QStringLiteral("profile.txt"), profile);
}

/// An address is not needed, but one that is given has to be right.
bool SupportRun::checkAddress()
{
    if (options.email.empty()) {
        say(QStringLiteral("E-mail address: none given"));
        return true;
    }
    const QString address = QString::fromStdString(options.email).trimmed();
    const report::StepResult checked =
        step(QStringLiteral("e-mail address"), [address] { return report::checkAddress(address); });
    if (checked.values.value(QStringLiteral("isValid")).toBool()) {
        say(QStringLiteral("E-mail address: %1 is valid").arg(address));
        fields.insert(QStringLiteral("email"), address);
        return true;
    }
    if (checked.end == report::StepEnd::Done) {
        say(QStringLiteral("E-mail address: %1 %2")
                .arg(text(checked.values, "title"), text(checked.values, "reason")));
        result.insert(QStringLiteral("emailError"), QJsonObject::fromVariantMap(checked.values));
    }
    return false;
}

void SupportRun::showForm()
{
    const QString target =
        options.url.empty() ? QStringLiteral("nowhere") : QString::fromStdString(options.url);
    say(QStringLiteral("To be sent to %1:").arg(target));
    for (auto field = fields.begin(); field != fields.end(); ++field)
        say(QStringLiteral("  %1: %2").arg(field.key(), excerpt(field.value().toString())));
    files.insert(QStringLiteral("form.txt"), report::readableForm(fields));
    result.insert(QStringLiteral("fields"), QJsonObject::fromVariantMap(fields));
}

SupportRun::Verdict SupportRun::send()
{
    if (options.url.empty() || options.dryRun) {
        say(options.dryRun ? QStringLiteral("Not sent: this is a dry run")
                           : QStringLiteral("Not sent: no address to send it to was given"));
        return Verdict::NotSent;
    }
    const QUrl url = addressOf(options.url);
    return isReachable(url) ? post(url) : Verdict::Refused;
}

bool SupportRun::isReachable(const QUrl &url)
{
    const report::StepResult tested =
        step(QStringLiteral("reachability"), [&url] { return report::testReachability(url); });
    const bool reachable = tested.values.value(QStringLiteral("isReachable")).toBool();
    say(QStringLiteral("Reachability: %1 %2")
            .arg(url.host(),
                 reachable ? QStringLiteral("can be reached") : QStringLiteral("cannot be reached")));
    result.insert(QStringLiteral("reachable"), reachable);
    return reachable;
}

SupportRun::Verdict SupportRun::post(const QUrl &url)
{
    const report::StepResult posted =
        step(QStringLiteral("post"), [this, &url] { return report::postForm(fields, url); });
    const QString answer = text(posted.values, "answer");
    const QString error = text(posted.values, "error");
    if (posted.values.contains(QStringLiteral("answer"))) {
        constexpr qsizetype kMostShown = 2000;
        say(QStringLiteral("Answer: ") + answer.left(kMostShown).trimmed());
        files.insert(QStringLiteral("answer.txt"), answer);
        result.insert(QStringLiteral("answer"), answer);
    }
    if (posted.end != report::StepEnd::Done)
        return Verdict::Broken;
    if (posted.values.contains(QStringLiteral("error"))) {
        complain(QStringLiteral("post: ") + error);
        result.insert(QStringLiteral("postError"), error);
        return Verdict::Broken;
    }
    if (crashDate.isValid())
        report::markCrashAsSeen(crashDate);
    return Verdict::Sent;
}

bool SupportRun::leaveReport()
{
    const QStringList failed = report::writeReport(folder, files);
    for (const QString &name : failed)
        complain(QStringLiteral("%1 cannot be written").arg(name));
    say(QStringLiteral("Report: ") + folder);
    return failed.isEmpty();
}

int SupportRun::finish(Verdict verdict)
{
    const bool isLeft = leaveReport();
    KVBase::KVLogClose();
    result.insert(QStringLiteral("sent"), verdict == Verdict::Sent);
    result.insert(QStringLiteral("cutSteps"), QJsonArray::fromStringList(cutSteps));
    result.insert(QStringLiteral("failedSteps"), QJsonArray::fromStringList(failedSteps));
    if (context.json)
        printJson(result);
    if (verdict == Verdict::Broken && cutSteps.isEmpty())
        return kFailure;
    if (!isLeft)
        return kFailure;
    if (!cutSteps.isEmpty())
        return kCut;
    if (verdict == Verdict::Refused)
        return kNegative;
    return failedSteps.isEmpty() ? kSuccess : kFailure;
}

report::StepResult SupportRun::step(const QString &name, const std::function<QVariantMap()> &work)
{
    progress(name);
    report::StepResult done = options.limit.run(name, work);
    if (done.end == report::StepEnd::Cut)
        cutSteps.append(name);
    else if (done.end == report::StepEnd::Failed)
        failedSteps.append(name);
    if (done.end != report::StepEnd::Done)
        KVBase::KVLog("%@: %@", name, done.reason);
    return done;
}

void SupportRun::say(const QString &line)
{
    if (!context.json)
        printLine(line);
}

/// Only for someone who watches; a script gets the result alone.
void SupportRun::progress(const QString &name)
{
    if (isatty(STDERR_FILENO) != 0)
        std::fprintf(stderr, "... %s\n", qUtf8Printable(name));
}

} // namespace kvbase
