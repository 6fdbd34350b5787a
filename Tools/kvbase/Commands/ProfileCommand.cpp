#include "kvbase/Command.h"
#include "kvbase/StepLimit.h"

#include <KVBase/KVSystemProfiler.h>
#include <KVBase/Platform/KVNil.h>

#include <QtCore/QJsonArray>

#include <cstdio>
#include <memory>

namespace kvbase
{

namespace
{

using KVBase::KVSystemProfiler;

struct Options {
    bool xml = false;
    StepLimit limit;
};

QVariantMap collect(bool xml, bool asArray)
{
    if (asArray)
        return {{QStringLiteral("sections"),
                 KVSystemProfiler::generateSystemProfileArray().value_or(QVariantList())}};
    const std::optional<QByteArray> data = KVSystemProfiler::createSystemProfileDataAsXML(xml);
    return {{QStringLiteral("data"), data.value_or(QByteArray())}};
}

int run(const Options &options, const Context &context)
{
    const report::StepResult step = options.limit.run(QStringLiteral("system profile"),
                                                      [&] { return collect(options.xml, context.json); });
    if (step.end != report::StepEnd::Done)
        return exitCodeFor(step);
    if (context.json) {
        printJson(QJsonArray::fromVariantList(step.values.value(QStringLiteral("sections")).toList()));
        return kSuccess;
    }
    const QByteArray data = step.values.value(QStringLiteral("data")).toByteArray();
    std::fwrite(data.constData(), 1, static_cast<std::size_t>(data.size()), stdout);
    return data.isEmpty() ? kFailure : kSuccess;
}

const CommandRegistration
    registration("profile", "Describe this machine in seven sections",
                 [](CLI::App &app, const Context &context) {
                     const auto options = std::make_shared<Options>();
                     app.add_flag("--xml", options->xml, "As an XML property list");
                     options->limit.addTo(&app);
                     app.footer("Examples:\n  kvbase profile\n  kvbase profile --xml > profile.plist");
                     return [options, &context] { return run(*options, context); };
                 });

} // namespace

} // namespace kvbase
