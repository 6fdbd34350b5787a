#include "kvbase/Command.h"

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

int run(const std::vector<std::string> &given, bool json)
{
    QJsonArray rows;
    int code = kSuccess;
    for (const QString &path : inputsOrStandardInput(given)) {
        const QVariant free = KVPathUtils::getFreeSpaceForPath(path);
        const QString text = KVPathUtils::getFreeSpaceString(free);
        code = free.toLongLong() < 0 ? kNegative : code;
        if (json)
            rows.append(QJsonObject{{"path", path}, {"bytes", free.toLongLong()}, {"text", text}});
        else
            printLine(QStringLiteral("%1\t%2\t%3").arg(free.toString(), text, path));
    }
    if (json)
        printJson(rows);
    return code;
}

const CommandRegistration
    registration("space", "Ask for the free space of a volume", [](CLI::App &app, const Context &context) {
        const auto paths = std::make_shared<std::vector<std::string>>();
        app.add_option("path", *paths, "Paths on the volumes; the lines of standard input without any");
        return [paths, &context] { return run(*paths, context.json); };
    });

} // namespace

} // namespace kvbase
