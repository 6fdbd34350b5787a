#include "kvbase/Command.h"

#include <KVBase/MacAddress.h>

#include <QtCore/QJsonObject>

namespace kvbase
{

namespace
{

int run(const Context &context)
{
    const QString address = KVBase::MacAddress::primaryMacAddress();
    if (context.json) {
        printJson(QJsonObject{{QStringLiteral("address"),
                               address.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(address)}});
    } else {
        printLine(address.isNull() ? QStringLiteral("no wired interface") : address);
    }
    return address.isNull() ? kNegative : kSuccess;
}

const CommandRegistration
    registration("mac", "Print the hardware address of the primary wired interface",
                 [](CLI::App &app, const Context &context) {
                     app.footer("How it was found is written to standard error.\nExample:\n  kvbase mac");
                     return [&context] { return run(context); };
                 });

} // namespace

} // namespace kvbase
