#include "report/Application.h"
#include "report/Steps.h"
#include "support/SupportWindow.h"

#include <KVBase/KVLog.h>
#include <KVBase/KVMainThread.h>

#include <QtCore/QCommandLineParser>
#include <QtWidgets/QApplication>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace
{

/// What this program does for its own window, in a process that can be ended: prints the text of one step.
int runStep(std::string_view name)
{
    constexpr std::int32_t kConsoleLines = 100;
    try {
        const QVariantMap found =
            name == "console" ? report::readConsole(kConsoleLines) : report::describeMachine();
        const QByteArray text = found.value(QStringLiteral("text")).toString().toUtf8();
        const auto size = static_cast<std::size_t>(text.size());
        return std::fwrite(text.constData(), 1, size, stdout) == size ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}

/// nullopt: that is no time to wait.
std::optional<std::chrono::milliseconds> limitOf(const QString &seconds)
{
    constexpr double kShortest = 0.01;
    constexpr double kLongest = 86400;
    bool isNumber = false;
    const double value = seconds.toDouble(&isNumber);
    if (!isNumber || !(value >= kShortest && value <= kLongest))
        return std::nullopt;
    return std::chrono::milliseconds(qRound64(value * 1000));
}

int refuse(const char *option, const QString &value)
{
    constexpr int kUsage = 64;
    std::fprintf(stderr, "kvbase-support: %s: \"%s\" makes no sense here\n", option, qUtf8Printable(value));
    return kUsage;
}

/// The window as a picture, once there is something to see on it, and then the end.
void takePicture(SupportWindow *window, const QString &path)
{
    QObject::connect(window, &SupportWindow::collected, window,
                     [window, path] { std::exit(window->grab().save(path) ? EXIT_SUCCESS : EXIT_FAILURE); });
}

} // namespace

/// `kvbase-support APPLICATION --url URL`: the support window of an application.
int main(int argc, char **argv)
{
    if (argc == 3 && std::string_view(argv[1]) == "--step")
        return runStep(argv[2]);
    QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption url(QStringLiteral("url"), QStringLiteral("The address to post the form to."),
                                 QStringLiteral("address"));
    const QCommandLineOption log(QStringLiteral("log"), QStringLiteral("The log file to write."),
                                 QStringLiteral("file"));
    const QCommandLineOption picture(QStringLiteral("picture"),
                                     QStringLiteral("Save the filled window as a picture, and end."),
                                     QStringLiteral("file"));
    const QCommandLineOption timeout(QStringLiteral("timeout"),
                                     QStringLiteral("Seconds that a tool may take before it is ended."),
                                     QStringLiteral("seconds"), QStringLiteral("30"));
    parser.setApplicationDescription(QStringLiteral("Shows what a support report holds, and sends it."));
    parser.addHelpOption();
    parser.addOptions({url, log, picture, timeout});
    parser.addPositionalArgument(QStringLiteral("application"),
                                 QStringLiteral("Its bundle, its executable, or the executable's name."));
    parser.process(application);

    const QUrl target(parser.value(url), QUrl::StrictMode);
    if (parser.isSet(url) && (!target.isValid() || target.host().isEmpty()))
        return refuse("--url", parser.value(url));
    const auto limit = limitOf(parser.value(timeout));
    if (!limit)
        return refuse("--timeout", parser.value(timeout));

    KVBase::KVMainThread::markCurrentThreadAsMainThread();
    const report::Application supported(parser.positionalArguments().value(0));
    KVBase::KVLogSetDefaultDestination();
    if (parser.isSet(log))
        KVBase::KVLogOpen(parser.value(log));
    SupportWindow window(target, ReportSteps{QApplication::applicationFilePath(), *limit});
    if (parser.isSet(picture))
        takePicture(&window, parser.value(picture));
    window.show();
    const int status = QApplication::exec();
    KVBase::KVLogClose();
    // A server that keeps the worker waiting would keep the process for ever.
    if (window.isBusy())
        std::_Exit(status);
    return status;
}
