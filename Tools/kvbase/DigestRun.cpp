#include "kvbase/DigestRun.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <cstdio>

namespace kvbase
{

namespace
{

/// Collects the results, and writes lines at once and JSON at the end.
class DigestOutput {
public:
    explicit DigestOutput(bool json) : asJson(json) {}

    void add(const QString &kind, const QString &name, const QString &digest)
    {
        if (asJson)
            results.append(QJsonObject{{kind, name}, {QStringLiteral("digest"), digest}});
        else
            printLine(digest + QStringLiteral("  ") + name);
    }

    void finish() const
    {
        if (asJson)
            printJson(results);
    }

private:
    bool asJson;
    QJsonArray results;
};

} // namespace

void addDigestOptions(CLI::App &app, DigestInputs &inputs)
{
    app.add_option("files", inputs.files, "Files to digest; \"-\" or none reads standard input");
    app.add_option("--text", inputs.texts, "Digest this text instead of a file; may be given more than once")
        ->allow_extra_args(false);
}

int runDigests(const DigestInputs &inputs, const DigestFunctions &functions, const Context &context)
{
    DigestOutput output(context.json);
    int code = kSuccess;
    for (const std::string &given : inputs.texts) {
        const QString text = QString::fromStdString(given);
        output.add(QStringLiteral("text"), text, functions.ofText(text));
    }
    std::vector<std::string> files = inputs.files;
    if (files.empty() && inputs.texts.empty())
        files.push_back("-");
    for (const std::string &given : files) {
        const QString name = QString::fromStdString(given);
        QFile file(name);
        const bool isOpen =
            given == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
        const QString digest = isOpen ? functions.ofDevice(file) : QString();
        if (digest.isNull()) {
            complain(QStringLiteral("%1 cannot be read: %2").arg(name, file.errorString()));
            code = kFailure;
            continue;
        }
        output.add(QStringLiteral("file"), name, digest);
    }
    output.finish();
    return code;
}

} // namespace kvbase
