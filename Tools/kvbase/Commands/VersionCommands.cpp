#include "kvbase/Command.h"

#include <KVBase/VersionCheck.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace kvbase
{

namespace
{

struct Pair {
    std::string first;
    std::string second;
};

QString wordFor(std::int32_t order)
{
    return order < 0 ? QStringLiteral("older")
                     : (order > 0 ? QStringLiteral("newer") : QStringLiteral("same"));
}

int compare(const Pair &pair, const Context &context)
{
    const QString first = QString::fromStdString(pair.first);
    const QString second = QString::fromStdString(pair.second);
    const std::int32_t order = KVBase::VersionCheck::compareVersion(first, second);
    if (context.json) {
        printJson(QJsonObject{{QStringLiteral("first"), first},
                              {QStringLiteral("second"), second},
                              {QStringLiteral("order"), order}});
    } else {
        printLine(wordFor(order));
    }
    return kSuccess;
}

const CommandRegistration compareRegistration(
    "compare-versions", "Say whether the first version is older than, newer than or the same as the second",
    [](CLI::App &app, const Context &context) {
        const auto pair = std::make_shared<Pair>();
        app.add_option("first", pair->first, "A version such as 1.0b2")->required();
        app.add_option("second", pair->second, "The version to compare it with")->required();
        app.footer("Example:\n  kvbase compare-versions 1.0b2 1.0");
        return [pair, &context] { return compare(*pair, context); };
    });

int sort(const std::vector<std::string> &given, const Context &context)
{
    QStringList versions = inputsOrStandardInput(given);
    std::stable_sort(versions.begin(), versions.end(), [](const QString &a, const QString &b) {
        return KVBase::VersionCheck::compareVersion(a, b) < 0;
    });
    if (context.json) {
        printJson(QJsonArray::fromStringList(versions));
    } else {
        for (const QString &version : versions)
            printLine(version);
    }
    return kSuccess;
}

const CommandRegistration
    sortRegistration("sort-versions", "Print versions from the oldest to the newest",
                     [](CLI::App &app, const Context &context) {
                         const auto given = std::make_shared<std::vector<std::string>>();
                         app.add_option("versions", *given, "Versions; none reads lines from standard input");
                         app.footer("Example:\n  kvbase sort-versions 1.10 1.9 1.0b2 1.0");
                         return [given, &context] { return sort(*given, context); };
                     });

} // namespace

} // namespace kvbase
