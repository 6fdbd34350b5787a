#include "kvbase/Command.h"
#include "kvbase/StepLimit.h"

#include <KVBase/CSRegex.h>
#include <KVBase/Platform/KVFormat.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <memory>
#include <string>
#include <vector>

using namespace KVBase;

namespace
{

struct RegexOptions {
    std::string pattern;
    std::vector<std::string> texts;
    bool ignoresCase = false;
    bool stopsAtLineBreaks = false;
    bool range = false;
    bool substring = false;
    bool all = false;
    bool split = false;
    bool captures = false;
    bool escape = false;
    kvbase::StepLimit limit;

    std::int32_t flags() const
    {
        return (ignoresCase ? REG_ICASE : 0) | (stopsAtLineBreaks ? REG_NEWLINE : 0);
    }
};

/// Whether going from match to match comes to an end: an empty match at the start would be found for ever.
bool doesEnd(const CSRegex &regex, const QString &text)
{
    QString rest = text;
    for (;;) {
        const NSRange range = regex.rangeOfMatchInString(rest);
        const qsizetype next = qsizetype{range.location} + range.length;
        if (range.location == NSNotFound || next > rest.size())
            return true;
        if (next == 0)
            return false;
        rest = rest.mid(next);
    }
}

/// What was asked about one text, under the names that --json uses.
QVariantMap answerFor(const RegexOptions &options, const CSRegex &regex, const QString &text)
{
    QVariantMap answer{{QStringLiteral("text"), text}};
    const NSRange range = regex.rangeOfMatchInString(text);
    const bool isMatched = range.location != NSNotFound;
    answer.insert(QStringLiteral("matched"), isMatched);
    if ((options.all || options.split) && !doesEnd(regex, text)) {
        answer.insert(QStringLiteral("endless"), true);
        return answer;
    }
    if (options.range && isMatched)
        answer.insert(QStringLiteral("range"), QVariantList{range.location, range.length});
    if (options.substring && isMatched)
        answer.insert(QStringLiteral("substring"), regex.matchedSubstringOfString(text));
    if (options.all)
        answer.insert(QStringLiteral("matches"), regex.allMatchedSubstringsOfString(text));
    if (options.split)
        answer.insert(QStringLiteral("pieces"), regex.splitString(text));
    if (options.captures && isMatched)
        answer.insert(QStringLiteral("captures"),
                      regex.capturedSubstringsOfString(text).value_or(QStringList()));
    return answer;
}

void printAnswer(const QVariantMap &answer)
{
    bool isPrinted = false;
    for (const QString &key : {QStringLiteral("substring"), QStringLiteral("matches"),
                               QStringLiteral("pieces"), QStringLiteral("captures")}) {
        for (const QString &line : answer.value(key).toStringList())
            kvbase::printLine(line);
        isPrinted = isPrinted || answer.contains(key);
    }
    if (const QVariantList range = answer.value(QStringLiteral("range")).toList(); !range.isEmpty()) {
        kvbase::printLine(stringWithFormat("%u %u", range.at(0).toUInt(), range.at(1).toUInt()));
        isPrinted = true;
    }
    if (!isPrinted && answer.value(QStringLiteral("matched")).toBool())
        kvbase::printLine(answer.value(QStringLiteral("text")).toString());
}

int printAnswers(const QVariantList &answers, const kvbase::Context &context)
{
    bool isAnyMatched = false;
    bool isAnyEndless = false;
    for (const QVariant &each : answers) {
        const QVariantMap answer = each.toMap();
        isAnyMatched = isAnyMatched || answer.value(QStringLiteral("matched")).toBool();
        isAnyEndless = isAnyEndless || answer.contains(QStringLiteral("endless"));
        if (!context.json && !answer.contains(QStringLiteral("endless")))
            printAnswer(answer);
    }
    if (context.json)
        kvbase::printJson(QJsonArray::fromVariantList(answers));
    if (isAnyEndless)
        kvbase::complain(QStringLiteral("the pattern matches the empty text: the search would not end"));
    return isAnyEndless ? kvbase::kFailure : isAnyMatched ? kvbase::kSuccess : kvbase::kNegative;
}

int run(const RegexOptions &options, const kvbase::Context &context)
{
    const QString pattern = QString::fromStdString(options.pattern);
    if (options.escape) {
        const QString escaped = CSRegex::escapedPattern(pattern);
        if (context.json)
            kvbase::printJson(QJsonValue(escaped));
        else
            kvbase::printLine(escaped);
        return kvbase::kSuccess;
    }
    const QStringList texts = kvbase::inputsOrStandardInput(options.texts);
    const auto step = options.limit.run(QStringLiteral("regex"), [&] {
        const CSRegex regex(pattern, options.flags());
        QVariantList answers;
        for (const QString &text : texts)
            answers.append(answerFor(options, regex, text));
        return QVariantMap{{QStringLiteral("answers"), answers}};
    });
    if (step.end != report::StepEnd::Done)
        return kvbase::exitCodeFor(step);
    return printAnswers(step.values.value(QStringLiteral("answers")).toList(), context);
}

const kvbase::CommandRegistration registration(
    "regex", "Match texts against an extended regular expression",
    [](CLI::App &app, const kvbase::Context &context) -> std::function<int()> {
        const auto options = std::make_shared<RegexOptions>();
        app.add_option("pattern", options->pattern, "The regular expression")->required();
        app.add_option("text", options->texts, "The texts; the lines of standard input when there are none");
        app.add_flag("-i,--ignore-case", options->ignoresCase, "Take no notice of case");
        app.add_flag("-n,--newline", options->stopsAtLineBreaks, "Line breaks end a line");
        app.add_flag("--range", options->range, "Print offset and length of the first match, in bytes");
        app.add_flag("--substring", options->substring, "Print the first match");
        app.add_flag("--all", options->all, "Print every match");
        app.add_flag("--split", options->split, "Print the pieces between the matches");
        app.add_flag("--captures", options->captures, "Print the first match and its groups");
        app.add_flag("--escape", options->escape, "Print the pattern that matches the given one itself");
        options->limit.addTo(&app);
        app.footer("Without a flag the texts that match are printed.\n"
                   "Example: kvbase regex --all '[0-9]+' a1b22c333");
        return [options, &context] { return run(*options, context); };
    });

} // namespace
