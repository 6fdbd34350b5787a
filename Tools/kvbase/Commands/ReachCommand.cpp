#include "kvbase/Command.h"
#include "kvbase/StepLimit.h"

#include <KVBase/Reachability.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <memory>
#include <string>
#include <vector>

using namespace KVBase;

namespace
{

struct ReachOptions {
    std::vector<std::string> urls;
    bool diagnose = false;
    kvbase::StepLimit limit;
};

/// A name without a scheme is taken for a host's.
QUrl addressOf(const QString &text)
{
    const QUrl url(text);
    return url.scheme().isEmpty() || !text.contains(QLatin1Char('/')) ? QUrl(QStringLiteral("http://") + text)
                                                                      : url;
}

QVariantMap answerFor(const QString &text)
{
    const QUrl url = addressOf(text);
    return {{QStringLiteral("url"), text},
            {QStringLiteral("reachable"), Reachability::isHostReachable(url)},
            {QStringLiteral("connectionUp"), Reachability::isNetworkConnectionUp(url)}};
}

void printAnswer(const QVariantMap &answer)
{
    kvbase::printLine(
        answer.value(QStringLiteral("url")).toString() +
        (answer.value(QStringLiteral("reachable")).toBool() ? QStringLiteral(": reachable")
                                                            : QStringLiteral(": not reachable")) +
        (answer.value(QStringLiteral("connectionUp")).toBool() ? QStringLiteral(", connection up")
                                                               : QStringLiteral(", connection down")));
}

int run(const ReachOptions &options, const kvbase::Context &context)
{
    QJsonArray answers;
    bool areAllReachable = true;
    for (const QString &text : kvbase::inputsOrStandardInput(options.urls)) {
        const auto step = options.limit.run(text, [&] { return answerFor(text); });
        if (step.end != report::StepEnd::Done)
            return kvbase::exitCodeFor(step);
        const bool isReachable = step.values.value(QStringLiteral("reachable")).toBool();
        areAllReachable = areAllReachable && isReachable;
        if (context.json)
            answers.append(QJsonObject::fromVariantMap(step.values));
        else
            printAnswer(step.values);
        if (!isReachable && options.diagnose)
            Reachability::showNetworkDiagnostics(addressOf(text));
    }
    if (context.json)
        kvbase::printJson(answers);
    return areAllReachable ? kvbase::kSuccess : kvbase::kNegative;
}

const kvbase::CommandRegistration registration(
    "reach", "Say whether hosts can be reached",
    [](CLI::App &app, const kvbase::Context &context) -> std::function<int()> {
        const auto options = std::make_shared<ReachOptions>();
        app.add_option("url", options->urls,
                       "Addresses or host names; the lines of standard input when there are none");
        app.add_flag("--diagnose", options->diagnose,
                     "Open the network settings when a host is not reachable");
        options->limit.addTo(&app);
        app.footer("Nothing is sent to the hosts. Exit code 0 when all are reachable, else 1.\n"
                   "Example: kvbase reach https://example.com localhost");
        return [options, &context] { return run(*options, context); };
    });

} // namespace
