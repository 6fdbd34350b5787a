#include "kvbase/Command.h"

#include <KVBase/KVLog.h>

#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>

#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace KVBase;

namespace
{

struct LogOptions {
    std::string file;
    std::optional<std::int32_t> destination;
    std::optional<std::int32_t> error;
    std::string context;
    std::string source;
    std::int32_t line = 0;
    std::vector<std::string> texts;
};

QString meaningOf(std::int32_t destination)
{
    if (destination <= 0)
        return QStringLiteral("off");
    return destination == 1 ? QStringLiteral("file") : QStringLiteral("file and console");
}

QJsonObject destinationAsJson()
{
    const std::int32_t destination = KVLogDestination();
    return {{QStringLiteral("destination"), destination},
            {QStringLiteral("meaning"), meaningOf(destination)}};
}

int showDestination(const kvbase::Context &context)
{
    if (context.json)
        kvbase::printJson(destinationAsJson());
    else
        kvbase::printLine(stringWithFormat("%d (%@)", KVLogDestination(), meaningOf(KVLogDestination())));
    return kvbase::kSuccess;
}

/// Writes the error, or the texts, and answers how many lines that were.
int writeLines(const LogOptions &options)
{
    if (options.error.has_value()) {
        KVLogError(*options.error, options.context.empty() ? nullptr : options.context.c_str(),
                   options.source.c_str(), options.line);
        return *options.error != 0 ? 1 : 0;
    }
    const QStringList texts = kvbase::inputsOrStandardInput(options.texts);
    for (const QString &text : texts)
        KVLog("%@", text);
    return static_cast<int>(texts.size());
}

/// Only a regular file was opened; for anything else the lines reach the console at most.
int report(const kvbase::Context &context, bool enabled, int lines, const QString &path)
{
    const bool written = enabled && QFileInfo(path).isFile();
    if (context.json) {
        QJsonObject answer = destinationAsJson();
        answer.insert(QStringLiteral("enabled"), enabled);
        answer.insert(QStringLiteral("written"), written);
        answer.insert(QStringLiteral("lines"), lines);
        answer.insert(QStringLiteral("path"), path);
        kvbase::printJson(answer);
    }
    if (!enabled)
        return kvbase::kNegative;
    if (!written)
        kvbase::complain(QStringLiteral("cannot write ") + path);
    return written ? kvbase::kSuccess : kvbase::kFailure;
}

int run(const LogOptions &options, const kvbase::Context &context)
{
    KVLogSetDefaultDestination();
    if (options.destination.has_value())
        KVLogSetDestination(*options.destination);
    if (options.file.empty())
        return showDestination(context);

    const QString given = QString::fromStdString(options.file);
    const bool enabled = KVLogOpen(given);
    const QString path = enabled ? KVLogPath() : given;
    const int lines = enabled ? writeLines(options) : 0;
    KVLogClose();
    return report(context, enabled, lines, path);
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto options = std::make_shared<LogOptions>();
    app.add_option("-f,--file", options->file, "Open this log file, with a session header, and write to it");
    app.add_option("-d,--destination", options->destination,
                   "Choose and store where lines go: 0 nowhere, 1 the file, 2 the console too");
    app.add_option("--error", options->error, "Write this error number instead of texts; 0 writes nothing");
    app.add_option("--context", options->context, "With --error: what was being done");
    app.add_option("--source", options->source, "With --error: the source file");
    app.add_option("--line", options->line, "With --error: the line in it");
    app.add_option("text", options->texts, "Lines to write; without any those of standard input");
    app.footer("Without --file the destination in use is shown.\n"
               "Examples:\n"
               "  kvbase log --file /tmp/App.log \"Export finished\"\n"
               "  kvbase log --file /tmp/App.log --error -43 --context open --source Thing.cpp --line 12\n"
               "  kvbase log --destination 2\n"
               "Exit codes: 0 written, 1 the log is off, 2 the file could not be opened.");
    return [options, &context] { return run(*options, context); };
}

const kvbase::CommandRegistration registration("log", "Write to a log file, or choose where log lines go",
                                               build);

} // namespace
