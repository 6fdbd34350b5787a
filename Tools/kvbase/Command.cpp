#include "kvbase/Command.h"

#include "kvbase/CommandList.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <cstdio>
#include <iostream>

namespace kvbase
{

std::vector<CommandEntry> &commandList()
{
    static std::vector<CommandEntry> entries;
    return entries;
}

CommandRegistration::CommandRegistration(const char *name, const char *description, CommandBuilder builder)
{
    commandList().push_back({name, description, std::move(builder)});
}

void printLine(const QString &text)
{
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

void printJson(const QJsonValue &value)
{
    // A document holds an object or an array only; a plain value is shown as the one element's text.
    QByteArray text;
    if (value.isObject())
        text = QJsonDocument(value.toObject()).toJson();
    else if (value.isArray())
        text = QJsonDocument(value.toArray()).toJson();
    else {
        text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        text = text.mid(1, text.size() - 2) + '\n';
    }
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
}

void complain(const QString &text) { std::fprintf(stderr, "kvbase: %s\n", qUtf8Printable(text)); }

QStringList inputsOrStandardInput(const std::vector<std::string> &given)
{
    QStringList inputs;
    if (!given.empty()) {
        for (const std::string &text : given)
            inputs.append(QString::fromStdString(text));
        return inputs;
    }
    for (std::string line; std::getline(std::cin, line);)
        inputs.append(QString::fromStdString(line));
    return inputs;
}

} // namespace kvbase
