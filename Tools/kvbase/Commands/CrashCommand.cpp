#include "kvbase/Command.h"
#include "kvbase/StepLimit.h"
#include "report/Application.h"
#include "report/Steps.h"

#include <QtCore/QJsonObject>

#include <memory>
#include <string>

namespace kvbase
{

namespace
{

struct Options {
    std::string application;
    bool seenToo = false;
    bool showsText = false;
    bool marks = false;
    StepLimit limit;
};

void print(const QVariantMap &found, const Options &options)
{
    if (!found.contains(QStringLiteral("path")))
        return printLine(QStringLiteral("no new crash report"));
    printLine(options.showsText ? found.value(QStringLiteral("text")).toString()
                                : found.value(QStringLiteral("path")).toString());
}

int run(const Options &options, const Context &context)
{
    const report::Application application(QString::fromStdString(options.application));
    const report::StepResult step = options.limit.run(
        QStringLiteral("crash report"), [&options] { return report::findCrash(options.seenToo); });
    if (step.end != report::StepEnd::Done)
        return exitCodeFor(step);
    const QVariantMap &found = step.values;
    if (context.json)
        printJson(QJsonObject::fromVariantMap(found));
    else
        print(found, options);
    const bool isThere = found.contains(QStringLiteral("path"));
    if (isThere && options.marks)
        report::markCrashAsSeen(found.value(QStringLiteral("date")));
    if (isThere && !found.contains(QStringLiteral("text"))) {
        complain(QStringLiteral("the report cannot be read as text"));
        return kFailure;
    }
    return isThere ? kSuccess : kNegative;
}

const CommandRegistration registration(
    "crash", "Find the new crash report of an application", [](CLI::App &app, const Context &context) {
        const auto options = std::make_shared<Options>();
        app.add_option("application", options->application,
                       "Its bundle, its executable, or the executable's name")
            ->required();
        app.add_flag("--text", options->showsText, "Print the report's text, not its path");
        app.add_flag("--seen-too", options->seenToo, "Also the newest report that is not new any more");
        app.add_flag("--mark", options->marks, "Count it as seen from now on");
        options->limit.addTo(&app);
        app.footer("Exit code 1 when there is none.\n"
                   "Examples:\n  kvbase crash editor\n  kvbase crash /opt/Editor.app --text --mark");
        return [options, &context] { return run(*options, context); };
    });

} // namespace

} // namespace kvbase
