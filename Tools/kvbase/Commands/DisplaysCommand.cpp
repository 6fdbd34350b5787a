#include "kvbase/StepLimit.h"

#include "Platform/Services/Displays.h"

#include <KVBase/KVQuartzExtreme.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtGui/QGuiApplication>

#include <memory>
#include <sys/resource.h>
#include <vector>

namespace kvbase
{

namespace
{

using KVBase::Displays;
using KVBase::Service;

void swallow(QtMsgType, const QMessageLogContext &, const QString &) {}

/// The session's platform, and behind it one that needs no display server.
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

/// An application object for the session's display server; null without a server, as there is nothing to ask
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

QVariantMap displaysAsMap()
{
    const bool supported = KVBase::KVQuartzExtreme::isQuartzExtremeSupported();
    return {{QStringLiteral("accelerated"), supported},
            {QStringLiteral("displays"), describeDisplays().toVariantList()}};
}

/// With the session's display server. In a process of its own, because the toolkit waits for ever for a
/// server that is silent, and a driver may end the process.
QVariantMap askServer(const Context &context)
{
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    qInstallMessageHandler(swallow);
    const std::unique_ptr<QGuiApplication> application = connectToDisplayServer(context);
    return displaysAsMap();
}

void printDisplays(const QJsonObject &answer)
{
    const QJsonArray displays = answer[QStringLiteral("displays")].toArray();
    for (const auto &entry : displays) {
        const QJsonObject display = entry.toObject();
        printLine(QStringLiteral("display %1: %2, vendor %3, serial %4")
                      .arg(display["display"].toInteger())
                      .arg(display["accelerated"].toBool() ? QStringLiteral("accelerated")
                                                           : QStringLiteral("not accelerated"))
                      .arg(display["vendor"].toInteger())
                      .arg(display["serial"].toInteger()));
    }
    if (displays.isEmpty())
        printLine(QStringLiteral("no displays"));
}

int run(const Context &context, const StepLimit &limit)
{
    const report::StepResult step = limit.attempt([&context] { return askServer(context); });
    if (step.end == report::StepEnd::Cut) {
        complain(QStringLiteral("The display server does not answer"));
        return exitCodeFor(step);
    }
    const QJsonObject answer =
        QJsonObject::fromVariantMap(step.end == report::StepEnd::Done ? step.values : displaysAsMap());
    if (context.json)
        printJson(answer);
    else
        printDisplays(answer);
    return answer[QStringLiteral("accelerated")].toBool() ? kSuccess : kNegative;
}

const CommandRegistration registration(
    "displays", "Tell whether hardware draws on every display", [](CLI::App &app, const Context &context) {
        app.footer("Exit code 0 when it does, 1 when not, 3 when the display server was silent.");
        auto limit = std::make_shared<StepLimit>();
        limit->addTo(&app);
        return [limit, &context] { return run(context, *limit); };
    });

} // namespace

} // namespace kvbase
