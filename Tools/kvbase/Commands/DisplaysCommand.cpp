#include "kvbase/Command.h"

#include "Platform/Services/Displays.h"

#include <KVBase/KVQuartzExtreme.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtGui/QGuiApplication>

#include <memory>
#include <vector>

namespace kvbase
{

namespace
{

using KVBase::Displays;
using KVBase::Service;

void swallow(QtMsgType, const QMessageLogContext &, const QString &) {}

/// An application object for the session's display server. Null without a server: there is nothing to ask
/// then, and the platform's plug-in would end the process. What the toolkit has to say of the session is not
/// the answer.
std::unique_ptr<QGuiApplication> connectToDisplayServer(const Context &context)
{
    static int argc = 1;
    if (!qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && !qEnvironmentVariableIsSet("DISPLAY"))
        return nullptr;
    qInstallMessageHandler(swallow);
    return std::make_unique<QGuiApplication>(argc, context.argv);
}

QJsonArray describeDisplays()
{
    Displays *displays = Service<Displays>::current();
    std::uint32_t count = 0;
    if (displays->activeDisplays(0, nullptr, &count) != 0)
        return {};
    std::vector<std::uint32_t> list(count);
    if (count != 0 && displays->activeDisplays(count, list.data(), &count) != 0)
        return {};
    QJsonArray described;
    for (const std::uint32_t display : list)
        described.append(QJsonObject{{"display", static_cast<qint64>(display)},
                                     {"accelerated", displays->usesOpenGLAcceleration(display)},
                                     {"vendor", static_cast<qint64>(displays->vendorNumber(display))},
                                     {"serial", static_cast<qint64>(displays->serialNumber(display))}});
    return described;
}

int run(const Context &context)
{
    const std::unique_ptr<QGuiApplication> application = connectToDisplayServer(context);
    const bool supported = KVBase::KVQuartzExtreme::isQuartzExtremeSupported();
    const QJsonArray displays = describeDisplays();
    if (context.json) {
        printJson(QJsonObject{{"accelerated", supported}, {"displays", displays}});
    } else {
        for (const QJsonValue &display : displays)
            printLine(QStringLiteral("display %1: %2, vendor %3, serial %4")
                          .arg(display["display"].toInteger())
                          .arg(display["accelerated"].toBool() ? QStringLiteral("accelerated")
                                                               : QStringLiteral("not accelerated"))
                          .arg(display["vendor"].toInteger())
                          .arg(display["serial"].toInteger()));
        if (displays.isEmpty())
            printLine(QStringLiteral("no displays"));
    }
    return supported ? kSuccess : kNegative;
}

const CommandRegistration registration("displays", "Tell whether hardware draws on every display",
                                       [](CLI::App &app, const Context &context) {
                                           app.footer("Exit code 0 when it does, 1 when not.");
                                           return [&context] { return run(context); };
                                       });

} // namespace

} // namespace kvbase
