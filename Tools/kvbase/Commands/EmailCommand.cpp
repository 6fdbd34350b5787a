#include "kvbase/Command.h"

#include <KVBase/Email.h>
#include <KVBase/Platform/KVFormat.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <memory>
#include <string>
#include <vector>

using namespace KVBase;

namespace
{

QJsonObject asJson(const QString &address, bool isValid, const NSError &error)
{
    QJsonObject answer{{QStringLiteral("address"), address}, {QStringLiteral("valid"), isValid}};
    if (!isValid) {
        answer.insert(QStringLiteral("code"), error.code());
        answer.insert(QStringLiteral("title"), error.localizedDescription());
        answer.insert(QStringLiteral("message"), error.localizedFailureReason());
    }
    return answer;
}

int run(const std::vector<std::string> &given, const kvbase::Context &context)
{
    QJsonArray answers;
    bool areAllValid = true;
    for (const QString &address : kvbase::inputsOrStandardInput(given)) {
        NSError error;
        const bool isValid = Email::isValidEmailAddressWithError(address, &error);
        areAllValid = areAllValid && isValid;
        if (context.json)
            answers.append(asJson(address, isValid, error));
        else if (isValid)
            kvbase::printLine(address + QStringLiteral(": valid"));
        else
            kvbase::printLine(
                stringWithFormat("%@: %d %@", address, error.code(), error.localizedDescription()));
    }
    if (context.json)
        kvbase::printJson(answers);
    return areAllValid ? kvbase::kSuccess : kvbase::kNegative;
}

const kvbase::CommandRegistration
    registration("email", "Say whether e-mail addresses are plausible, and why not",
                 [](CLI::App &app, const kvbase::Context &context) -> std::function<int()> {
                     const auto addresses = std::make_shared<std::vector<std::string>>();
                     app.add_option("address", *addresses,
                                    "The addresses; the lines of standard input when there are none");
                     app.footer("Example: kvbase email someone@example.com 'some one@example.com'\n"
                                "Exit code 0 when every address is plausible, else 1.");
                     return [addresses, &context] { return run(*addresses, context); };
                 });

} // namespace
