#include "report/Application.h"
#include "support/SupportWindow.h"

#include <KVBase/KVLog.h>
#include <KVBase/KVMainThread.h>

#include <QtCore/QCommandLineParser>
#include <QtWidgets/QApplication>

#include <cstdlib>

namespace
{

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
    QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption url(QStringLiteral("url"), QStringLiteral("The address to post the form to."),
                                 QStringLiteral("address"));
    const QCommandLineOption log(QStringLiteral("log"), QStringLiteral("The log file to write."),
                                 QStringLiteral("file"));
    const QCommandLineOption picture(QStringLiteral("picture"),
                                     QStringLiteral("Save the filled window as a picture, and end."),
                                     QStringLiteral("file"));
    parser.setApplicationDescription(QStringLiteral("Shows what a support report holds, and sends it."));
    parser.addHelpOption();
    parser.addOptions({url, log, picture});
    parser.addPositionalArgument(QStringLiteral("application"),
                                 QStringLiteral("Its bundle, its executable, or the executable's name."));
    parser.process(application);

    KVBase::KVMainThread::markCurrentThreadAsMainThread();
    const report::Application supported(parser.positionalArguments().value(0));
    KVBase::KVLogSetDefaultDestination();
    if (parser.isSet(log))
        KVBase::KVLogOpen(parser.value(log));
    SupportWindow window(QUrl(parser.value(url), QUrl::StrictMode));
    if (parser.isSet(picture))
        takePicture(&window, parser.value(picture));
    window.show();
    const int status = QApplication::exec();
    KVBase::KVLogClose();
    // A tool that hangs on the worker would keep the process for ever.
    if (window.isBusy())
        std::_Exit(status);
    return status;
}
