#include "kvbase/Command.h"
#include "kvbase/StepLimit.h"
#include "report/Steps.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <memory>

namespace kvbase
{

namespace
{

struct Options {
    std::int32_t lines = 100;
    StepLimit limit;
};

int run(const Options &options, const Context &context)
{
    const report::StepResult step = options.limit.run(
        QStringLiteral("console log"), [&options] { return report::readConsole(options.lines); });
    if (step.end != report::StepEnd::Done)
        return exitCodeFor(step);
    QString text = step.values.value(QStringLiteral("text")).toString();
    if (text.endsWith(u'\n'))
        text.chop(1);
    if (context.json)
        printJson(QJsonArray::fromStringList(text.split(u'\n')));
    else
        printLine(text);
    return kSuccess;
}

const CommandRegistration
    registration("console", "Print the last lines of the system's console log",
                 [](CLI::App &app, const Context &context) {
                     const auto options = std::make_shared<Options>();
                     app.add_option("-n,--lines", options->lines, "How many lines")->capture_default_str();
                     options->limit.addTo(&app);
                     app.footer("Example:\n  kvbase console --lines 20");
                     return [options, &context] { return run(*options, context); };
                 });

} // namespace

} // namespace kvbase
