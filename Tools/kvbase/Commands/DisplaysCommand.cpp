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

/// The session's platform, and behind it one that needs no display server: a server that does not answer
/// must not end the process.
void choosePlatform()
{
    QByteArrayList platforms{qgetenv("QT_QPA_PLATFORM")};
    if (platforms.first().isEmpty() && qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
        platforms.append("wayland");
    if (platforms.first().isEmpty() && qEnvironmentVariableIsSet("DISPLAY"))
        platforms.append("xcb");
    platforms.append("offscreen");
    qputenv("QT_QPA_PLATFORM", platforms.join(';'));
}

/// An application object for the session's display server. Null without a server: there is nothing to ask
/// then.
std::unique_ptr<QGuiApplication> connectToDisplayServer(const Context &context)
{
    static int argc = 1;
    if (!qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && !qEnvironmentVariableIsSet("DISPLAY"))
        return nullptr;
    choosePlatform();
    auto application = std::make_unique<QGuiApplication>(argc, context.argv);
    return QGuiApplication::platformName() == QLatin1StringView("offscreen") ? nullptr
                                                                             : std::move(application);
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
