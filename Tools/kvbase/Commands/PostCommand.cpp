#include "kvbase/Command.h"
#include "kvbase/StepLimit.h"

#include <KVBase/KVHTTPPost.h>

#include <QtCore/QJsonObject>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using namespace KVBase;

namespace
{

struct PostOptions {
    std::string url;
    std::vector<std::string> fields;
    bool dryRun = false;
    kvbase::StepLimit limit;
};

QVariantMap formOf(const QStringList &fields)
{
    QVariantMap form;
    for (const QString &field : fields) {
        const qsizetype equals = field.indexOf(QLatin1Char('='));
        form.insert(equals < 0 ? field : field.left(equals),
                    equals < 0 ? QStringLiteral("") : field.mid(equals + 1));
    }
    return form;
}

void printBytes(const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
    if (!bytes.isEmpty() && !bytes.endsWith('\n'))
        std::fputc('\n', stdout);
}

QVariantMap post(const QVariantMap &form, const QUrl &url)
{
    KVHTTPPost request;
    request.setParameterDict(form);
    request.setURL(url);
    QVariantMap answer;
    if (const std::optional<QByteArray> body = request.submitForm())
        answer.insert(QStringLiteral("body"), *body);
    if (!request.error().isNil()) {
        answer.insert(QStringLiteral("domain"), request.error().domain());
        answer.insert(QStringLiteral("code"), request.error().code());
        answer.insert(QStringLiteral("description"), request.error().localizedDescription());
    }
    return answer;
}

int printAnswer(const QVariantMap &answer, const kvbase::Context &context)
{
    const QByteArray body = answer.value(QStringLiteral("body")).toByteArray();
    const bool isPosted = answer.contains(QStringLiteral("body")) && !answer.contains(QStringLiteral("code"));
    if (context.json) {
        QJsonObject shown = QJsonObject::fromVariantMap(answer);
        if (answer.contains(QStringLiteral("body")))
            shown.insert(QStringLiteral("body"), QString::fromUtf8(body));
        shown.insert(QStringLiteral("posted"), isPosted);
        kvbase::printJson(shown);
    } else {
        printBytes(body);
    }
    if (answer.contains(QStringLiteral("code")))
        kvbase::complain(answer.value(QStringLiteral("description")).toString());
    return isPosted ? kvbase::kSuccess : kvbase::kFailure;
}

int run(const PostOptions &options, const kvbase::Context &context)
{
    const QVariantMap form = formOf(kvbase::inputsOrStandardInput(options.fields));
    const QUrl url(QString::fromStdString(options.url));
    if (url.isEmpty()) {
        kvbase::complain(QStringLiteral("this is no address: ") + QString::fromStdString(options.url));
        return kvbase::kUsage;
    }
    if (options.dryRun) {
        const QByteArray body = KVHTTPPost::formDataForDictionary(form);
        if (context.json)
            kvbase::printJson(QJsonObject{{QStringLiteral("url"), url.toString()},
                                          {QStringLiteral("form"), QString::fromLatin1(body)}});
        else
            printBytes(body);
        return kvbase::kSuccess;
    }
    const auto step = options.limit.run(QStringLiteral("post"), [&] { return post(form, url); });
    if (step.end != report::StepEnd::Done)
        return kvbase::exitCodeFor(step);
    return printAnswer(step.values, context);
}

const kvbase::CommandRegistration registration(
    "post", "Post a form and print the answer",
    [](CLI::App &app, const kvbase::Context &context) -> std::function<int()> {
        const auto options = std::make_shared<PostOptions>();
        app.add_option("url", options->url, "The address, http or https")->required();
        app.add_option("field", options->fields,
                       "The fields as NAME=VALUE; the lines of standard input when there are none");
        app.add_flag("--dry-run", options->dryRun, "Print the form's body and send nothing");
        options->limit.addTo(&app);
        app.footer("Example: kvbase post http://127.0.0.1:8080/ name=Ann 'text=two words'");
        return [options, &context] { return run(*options, context); };
    });

} // namespace
