#include "kvbase/Command.h"

#include "Platform/Services/TypeIdentifiers.h"

#include <KVBase/KVPathUtils.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <memory>
#include <string>
#include <vector>

namespace kvbase
{

namespace
{

using namespace KVBase;

struct Options {
    std::vector<std::string> inputs;
    bool extensions = false;
    bool types = false;
    std::string conformsTo;
};

QString typeOf(const QString &input, const Options &options)
{
    if (options.types)
        return input;
    return options.extensions ? KVPathUtils::utiForExtension(input) : KVPathUtils::utiForPath(input);
}

QJsonValue textOrNull(const QString &text) { return text.isNull() ? QJsonValue() : QJsonValue(text); }

int run(const Options &options, bool json)
{
    TypeIdentifiers *const service = Service<TypeIdentifiers>::current();
    QJsonArray rows;
    int code = kSuccess;
    for (const QString &input : inputsOrStandardInput(options.inputs)) {
        const QString type = typeOf(input, options);
        const bool conforms = options.conformsTo.empty() ||
                              service->conformsTo(type, QString::fromStdString(options.conformsTo));
        if (type.isNull() || !conforms)
            code = kNegative;
        if (json)
            rows.append(QJsonObject{{"input", input},
                                    {"type", textOrNull(type)},
                                    {"mime", textOrNull(service->mimeType(type))},
                                    {"extension", textOrNull(service->preferredExtension(type))},
                                    {"conforms", conforms}});
        else
            printLine(QStringLiteral("%1\t%2").arg(type.isNull() ? QStringLiteral("-") : type, input));
    }
    if (json)
        printJson(rows);
    return code;
}

const CommandRegistration registration(
    "uti", "Tell the uniform type identifier of files", [](CLI::App &app, const Context &context) {
        const auto options = std::make_shared<Options>();
        app.add_option("input", options->inputs, "Files; the lines of standard input without any");
        auto *extensions =
            app.add_flag("--extension", options->extensions, "The inputs are file-name extensions");
        app.add_flag("--type", options->types, "The inputs are type identifiers")->excludes(extensions);
        app.add_option("--conforms-to", options->conformsTo,
                       "Answer no unless the types are kinds of this one");
        return [options, &context] { return run(*options, context.json); };
    });

} // namespace

} // namespace kvbase
