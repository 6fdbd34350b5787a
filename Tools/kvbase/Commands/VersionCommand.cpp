#include "kvbase/Command.h"
#include "report/Application.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/PreRelease.h>

#include <QtCore/QJsonObject>

#include <memory>
#include <string>

namespace
{

using namespace KVBase;

/// nil becomes null.
QJsonValue jsonText(const QString &text) { return text.isNull() ? QJsonValue() : QJsonValue(text); }

QJsonObject description()
{
    return {{"line", InfoDictionary::versionString()},
            {"identifier", jsonText(InfoDictionary::bundleIdentifier())},
            {"name", jsonText(InfoDictionary::localizedBundleName())},
            {"displayName", jsonText(InfoDictionary::localizedBundleDisplayName())},
            {"fullProductName", InfoDictionary::fullProductName()},
            {"executable", jsonText(InfoDictionary::bundleExecutable())},
            {"shortVersion", jsonText(InfoDictionary::shortVersionString())},
            {"majorVersion", InfoDictionary::majorVersion()},
            {"revision", jsonText(InfoDictionary::bundleVersion())},
            {"buildStyle", jsonText(InfoDictionary::buildStyle())},
            {"preRelease", PreRelease::isPreReleaseVersion()}};
}

int run(const QString &bundle, const kvbase::Context &context)
{
    const report::Application application(bundle);
    if (context.json)
        kvbase::printJson(description());
    else
        kvbase::printLine(InfoDictionary::versionString());
    return kvbase::kSuccess;
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto bundle = std::make_shared<std::string>();
    app.add_option("bundle", *bundle, "A bundle's folder, or a program; without one it is kvbase itself");
    app.footer("Examples:\n"
               "  kvbase version\n"
               "  kvbase version /opt/Tool.app --json");
    return [bundle, &context] { return run(QString::fromStdString(*bundle), context); };
}

const kvbase::CommandRegistration registration("version", "Show the version line of an application", build);

} // namespace
