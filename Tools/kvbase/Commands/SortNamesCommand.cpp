#include "kvbase/Command.h"

#include <KVBase/KVComparison.h>

#include <QtCore/QJsonArray>
#include <QtCore/QStringList>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace kvbase
{

namespace
{

int sort(const std::vector<std::string> &given, const Context &context)
{
    QStringList names = inputsOrStandardInput(given);
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        return KVBase::KVComparison::caseInsensitiveNumericCompare(a, b) < 0;
    });
    if (context.json) {
        printJson(QJsonArray::fromStringList(names));
    } else {
        for (const QString &name : names)
            printLine(name);
    }
    return kSuccess;
}

const CommandRegistration registration("sort-names", "Print names in the order that a user expects",
                                       [](CLI::App &app, const Context &context) {
                                           const auto given = std::make_shared<std::vector<std::string>>();
                                           app.add_option("names", *given,
                                                          "Names; none reads lines from standard input");
                                           app.footer("Example:\n  kvbase sort-names \"item 10\" \"Item 2\"");
                                           return [given, &context] { return sort(*given, context); };
                                       });

} // namespace

} // namespace kvbase
