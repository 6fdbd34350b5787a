#include "kvbase/Command.h"

#include <KVBase/KVPathUtils.h>
#include <KVBase/UPath.h>

#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kvbase
{

namespace
{

using namespace KVBase;

/// A question about paths: the names of its operands, and the function that answers a text, a number or a
/// truth; undefined for nil.
struct Question {
    std::vector<const char *> operands;
    const char *meaning;
    QJsonValue (*answer)(const QStringList &operands);
};

QJsonValue textOrNil(const QString &text) { return text.isNull() ? QJsonValue(QJsonValue::Undefined) : text; }

QJsonValue numberOrNil(std::int16_t volume)
{
    return volume == 0 ? QJsonValue(QJsonValue::Undefined) : QJsonValue(static_cast<int>(volume));
}

/// Four characters, the first one in the highest byte; 0 for any other text.
OSType creatorCode(const QString &text)
{
    const QByteArray bytes = text.toLatin1();
    if (bytes.size() != 4)
        return 0;
    OSType code = 0;
    for (const char byte : bytes)
        code = code << 8 | static_cast<unsigned char>(byte);
    return code;
}

QJsonValue spec(const QStringList &operands)
{
    NSError error;
    const FSSpec found = KVPathUtils::getFSSpecFromAbsolutePath(operands.at(0), &error);
    if (!error.isNil())
        return QJsonValue::Undefined;
    return QStringLiteral("%1:%2:%3")
        .arg(found.vRefNum)
        .arg(found.parID)
        .arg(QString::fromUtf8(reinterpret_cast<const char *>(found.name + 1), found.name[0]));
}

const std::map<std::string, Question> &questions()
{
    static const std::map<std::string, Question> all{
        {"exists",
         {{"PATH"},
          "whether something is there",
          [](const QStringList &o) -> QJsonValue { return KVPathUtils::fileExists(o[0]); }}},
        {"is-absolute",
         {{"PATH"},
          "whether the path is absolute",
          [](const QStringList &o) -> QJsonValue { return KVPathUtils::isAbsolutePath(o[0]); }}},
        {"is-network",
         {{"PATH"},
          "whether the path lies on the network",
          [](const QStringList &o) -> QJsonValue { return KVPathUtils::testPathForNetwork(o[0]); }}},
        {"absolute",
         {{"BASE", "RELATIVE"},
          "both joined and standardised",
          [](const QStringList &o) { return textOrNil(UPath::GetAbsolutePath(o[0], o[1])); }}},
        {"relative",
         {{"BASE", "ABSOLUTE"},
          "what follows the base",
          [](const QStringList &o) { return textOrNil(UPath::GetRelativePath(o[0], o[1])); }}},
        {"clean",
         {{"NAME"},
          "a safe file name",
          [](const QStringList &o) { return textOrNil(UPath::ReplaceIllegalCharactersInFilename(o[0])); }}},
        {"resolve",
         {{"PATH"},
          "the path without links",
          [](const QStringList &o) { return textOrNil(UPath::ResolveLeafAlias(o[0])); }}},
        {"volume",
         {{"PATH"},
          "the number of its volume",
          [](const QStringList &o) { return numberOrNil(KVPathUtils::volumeForPath(o[0])); }}},
        {"temp",
         {{"PATH"},
          "a temporary folder on its volume",
          [](const QStringList &o) { return textOrNil(KVPathUtils::tempFolderForPath(o[0])); }}},
        {"spec", {{"PATH"}, "volume, folder and name", spec}},
        {"create",
         {{"PATH"},
          "make the folder and those above it",
          [](const QStringList &o) -> QJsonValue { return UPath::CreateFolder(o[0]); }}},
        {"support",
         {{"NAME"},
          "the application-support folder",
          [](const QStringList &o) { return textOrNil(UPath::GetApplicationSupportFolder(o[0])); }}},
        {"application",
         {{"CREATOR"},
          "the application with that four-character code",
          [](const QStringList &o) { return textOrNil(UPath::GetApplicationPath(creatorCode(o[0]))); }}},
    };
    return all;
}

std::string help()
{
    std::string text = "Questions:\n";
    for (const auto &[name, question] : questions()) {
        text += "  " + name;
        for (const char *operand : question.operands)
            text += std::string(" ") + operand;
        text += std::string(": ") + question.meaning + "\n";
    }
    return text;
}

int answer(const std::string &name, const QStringList &operands, bool json)
{
    const auto question = questions().find(name);
    if (question == questions().end() ||
        static_cast<std::size_t>(operands.size()) != question->second.operands.size()) {
        complain(QStringLiteral("path has no such question, or it takes other operands; see --help"));
        return kUsage;
    }
    const QJsonValue result = question->second.answer(operands);
    const bool yes = !result.isUndefined() && (!result.isBool() || result.toBool());
    if (json)
        printJson(QJsonObject{{"question", QString::fromStdString(name)},
                              {"answer", result.isUndefined() ? QJsonValue() : result}});
    else if (result.isBool())
        printLine(yes ? QStringLiteral("yes") : QStringLiteral("no"));
    else if (yes)
        printLine(result.toVariant().toString());
    return yes ? kSuccess : kNegative;
}

const CommandRegistration
    registration("path", "Ask about paths and file names", [](CLI::App &app, const Context &context) {
        const auto words = std::make_shared<std::vector<std::string>>();
        app.add_option("question", *words, "The question and its operands")->required();
        app.footer(help());
        return [words, &context] {
            QStringList operands;
            for (std::size_t i = 1; i < words->size(); ++i)
                operands.append(QString::fromStdString(words->at(i)));
            return answer(words->front(), operands, context.json);
        };
    });

} // namespace

} // namespace kvbase
