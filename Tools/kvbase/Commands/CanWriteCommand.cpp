#include "kvbase/Command.h"

#include <KVBase/KVPathUtils.h>

#include <QtCore/QJsonObject>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kvbase
{

namespace
{

using namespace KVBase;

struct Options {
    std::string path;
    std::optional<std::uint64_t> bytes;
};

QString reasonOf(const NSError &error)
{
    const QString reason = error.localizedFailureReason();
    return reason.isNull() ? error.localizedDescription() : reason;
}

int run(const Options &options, bool json)
{
    const QString path = QString::fromStdString(options.path);
    const QVariant required = options.bytes ? QVariant(static_cast<qulonglong>(*options.bytes)) : QVariant();
    NSError error;
    const bool can = KVPathUtils::canWriteToPath(path, required, &error);
    if (json)
        printJson(QJsonObject{{"path", path},
                              {"canWrite", can},
                              {"code", can ? QJsonValue() : QJsonValue(error.code())},
                              {"reason", can ? QJsonValue() : QJsonValue(reasonOf(error))}});
    else
        printLine(can ? QStringLiteral("yes") : reasonOf(error));
    return can ? kSuccess : kNegative;
}

const CommandRegistration
    registration("can-write", "Ask whether a folder takes a file", [](CLI::App &app, const Context &context) {
        const auto options = std::make_shared<Options>();
        app.add_option("path", options->path, "The folder or file")->required();
        app.add_option("--bytes", options->bytes, "The room that is needed");
        return [options, &context] { return run(*options, context.json); };
    });

} // namespace

} // namespace kvbase
