#include "kvbase/Command.h"

#include "Platform/Services/SystemVersions.h"

#include <KVBase/Runtime.h>
#include <KVBase/UEnvironment.h>

#include <QtCore/QJsonObject>

#include <memory>
#include <string>

namespace
{

using namespace KVBase;

struct Options {
    std::string framework;
    std::string className;
    std::string atLeast;
};

QString hexadecimal(std::uint32_t number)
{
    return QStringLiteral("0x%1").arg(number, 4, 16, QLatin1Char('0'));
}

QString yesOrNo(bool answer) { return answer ? QStringLiteral("yes") : QStringLiteral("no"); }

int answer(bool yes, const kvbase::Context &context)
{
    if (context.json)
        kvbase::printJson(yes);
    else
        kvbase::printLine(yesOrNo(yes));
    return yes ? kvbase::kSuccess : kvbase::kNegative;
}

QJsonObject releases()
{
    return {{"jaguar", UEnvironment::RunningOnJaguarOrBetter()},
            {"panther", UEnvironment::RunningOnPantherOrBetter()},
            {"tiger", UEnvironment::RunningOnTigerOrBetter()},
            {"leopard", UEnvironment::RunningOnLeopardOrBetter()},
            {"snowLeopard", Runtime::runningOnSnowLeopardOrHigher()}};
}

int describe(const kvbase::Context &context)
{
    SystemVersions *const system = Service<SystemVersions>::current();
    if (context.json) {
        kvbase::printJson(
            QJsonObject{{"productVersion", system->productVersion()},
                        {"productBuildVersion", system->productBuildVersion()},
                        {"systemVersion", UEnvironment::SystemVersion()},
                        {"mediaFrameworkVersion", static_cast<qint64>(UEnvironment::QuickTimeVersion())},
                        {"orBetter", releases()}});
        return kvbase::kSuccess;
    }
    kvbase::printLine(
        QStringLiteral("System: %1 (%2)").arg(system->productVersion(), system->productBuildVersion()));
    kvbase::printLine(QStringLiteral("Packed version: %1")
                          .arg(hexadecimal(static_cast<std::uint32_t>(UEnvironment::SystemVersion()))));
    kvbase::printLine(
        QStringLiteral("Media framework: %1").arg(hexadecimal(UEnvironment::QuickTimeVersion())));
    const QJsonObject tests = releases();
    for (auto test = tests.begin(); test != tests.end(); ++test)
        kvbase::printLine(QStringLiteral("%1 or better: %2").arg(test.key(), yesOrNo(test.value().toBool())));
    return kvbase::kSuccess;
}

int compare(const QString &text, const kvbase::Context &context)
{
    bool understood = false;
    const int version = text.toInt(&understood, 0);
    if (!understood) {
        kvbase::complain(QStringLiteral("%1 is no packed version such as 0x1058").arg(text));
        return kvbase::kUsage;
    }
    return answer(UEnvironment::RunningOnSystem(version), context);
}

int run(const Options &options, const kvbase::Context &context)
{
    if (!options.atLeast.empty())
        return compare(QString::fromStdString(options.atLeast), context);
    if (!options.framework.empty())
        return answer(UEnvironment::HasFramework(QString::fromStdString(options.framework)), context);
    if (!options.className.empty())
        return answer(UEnvironment::HasClass(QString::fromStdString(options.className)), context);
    return describe(context);
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto options = std::make_shared<Options>();
    CLI::Option_group *const question = app.add_option_group("question");
    question->require_option(0, 1);
    question->add_option("--at-least", options->atLeast,
                         "Whether the system has this packed version or a later one");
    question->add_option("--framework", options->framework,
                         "Whether the framework of this identifier is there");
    question->add_option("--class", options->className, "Whether a class of this name is registered");
    app.footer("Examples:\n"
               "  kvbase environment\n"
               "  kvbase environment --at-least 0x1058\n"
               "  kvbase environment --framework com.kelvo.KVBase\n"
               "Exit codes: 0 yes or shown, 1 no.");
    return [options, &context] { return run(*options, context); };
}

const kvbase::CommandRegistration registration("environment", "Show the system's release, or ask about it",
                                               build);

} // namespace
