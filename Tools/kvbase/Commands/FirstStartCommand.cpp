#include "kvbase/Command.h"
#include "report/Application.h"

#include <KVBase/KVAppVersionUtils.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QJsonObject>

#include <memory>
#include <string>

namespace
{

using namespace KVBase;

struct Options {
    std::string application;
    bool registers = false;
};

QString changeText(KVAppVersionChange change)
{
    switch (change) {
    case KVAppVersionChange::New:
        return QStringLiteral("new");
    case KVAppVersionChange::Upgraded:
        return QStringLiteral("upgraded");
    case KVAppVersionChange::Downgraded:
        return QStringLiteral("downgraded");
    default:
        return QStringLiteral("unchanged");
    }
}

QJsonObject answers()
{
    return {{"application", KVAppVersionUtils::firstStartOfAppVersion()},
            {"system", KVAppVersionUtils::firstStartWithSystemVersion()},
            {"systemBuild", KVAppVersionUtils::firstStartWithSystemBuild()},
            {"mediaFramework", KVAppVersionUtils::firstStartWithQuickTimeVersion()},
            {"change", changeText(KVAppVersionUtils::appVersionChange())}};
}

void show(const QJsonObject &found, const kvbase::Context &context)
{
    if (context.json)
        return kvbase::printJson(found);
    for (const char *key : {"application", "system", "systemBuild", "mediaFramework"}) {
        const QLatin1StringView name(key);
        kvbase::printLine(QStringLiteral("%1: %2").arg(name, found[name].toBool() ? "yes" : "no"));
    }
    kvbase::printLine(QStringLiteral("change: %1").arg(found["change"].toString()));
}

int run(const Options &options, const kvbase::Context &context)
{
    const report::Application application(QString::fromStdString(options.application));
    show(answers(), context);
    if (!options.registers)
        return kvbase::kSuccess;
    KVAppVersionUtils::registerAppVersion();
    if (NSUserDefaults::standardUserDefaults().synchronize())
        return kvbase::kSuccess;
    kvbase::complain(QStringLiteral("the versions could not be stored"));
    return kvbase::kFailure;
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto options = std::make_shared<Options>();
    app.add_option("application", options->application,
                   "A bundle's folder, or a program; without one it is kvbase itself");
    app.add_flag("--register", options->registers, "Record the current versions afterwards");
    app.footer("Says what changed since the versions were recorded last.\n"
               "Examples:\n"
               "  kvbase first-start /opt/Tool.app\n"
               "  kvbase first-start /opt/Tool.app --register --json");
    return [options, &context] { return run(*options, context); };
}

const kvbase::CommandRegistration registration("first-start",
                                               "Tell what changed since an application last ran", build);

} // namespace
