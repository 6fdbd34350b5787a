#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSUserDefaults.h>
#include <KVBase/Relaunch.h>

#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtGui/QAction>
#include <QtGui/QGuiApplication>

#include <fcntl.h>
#include <unistd.h>

using namespace KVBase;

namespace
{

/// Appends one line to the file that the test watches.
void report(const QString &line)
{
    QFile file(qEnvironmentVariable("KV_TEST_REPORT"));
    if (file.open(QIODevice::Append))
        file.write(line.toUtf8() + '\n');
}

/// What a new instance tells of itself. It has a delegate that may refuse to quit.
class Delegate : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE bool applicationShouldTerminate()
    {
        const bool refuses = qEnvironmentVariable("KV_TEST_MODE") == u"refuse" && refusals++ == 0;
        report(refuses ? QStringLiteral("refused") : QStringLiteral("quitting %1").arg(::getpid()));
        return !refuses;
    }
    int refusals = 0;
};

void describe()
{
    const auto languages = NSUserDefaults::standardUserDefaults()
                               .arrayForKey(QStringLiteral("AppleLanguages"))
                               .value_or(QVariantList());
    report(QStringLiteral("language %1").arg(languages.isEmpty() ? QString() : languages.first().toString()));
    report(QStringLiteral("text%1").arg(NSBundle::frameworkBundle()->localizedStringForKey(
        QStringLiteral("NA_STRING"), QString(), QStringLiteral("KVBase"))));
    report(QStringLiteral("LANGUAGE=%1").arg(qEnvironmentVariable("LANGUAGE")));
    report(QStringLiteral("LAUNCH_PATH=%1").arg(qEnvironmentVariable("LAUNCH_PATH")));
    report(QStringLiteral("bundle=%1").arg(NSBundle::mainBundle()->bundlePath()));
    report(QStringLiteral("session %1").arg(::getsid(0) == ::getpid() ? 1 : 0));
    report(QStringLiteral("inherited %1").arg(::fcntl(77, F_GETFD) < 0 ? 0 : 1));
}

} // namespace

/// The first instance relaunches itself, in the language KV_TEST_LANGUAGE if there is one, and lives on for
/// KV_TEST_LINGER milliseconds after its request to quit. The second one, which it tells by the count of
/// starts in the report, describes itself and quits.
int main(int argc, char **argv)
{
    NSApplication::applyLanguagePreferences();
    QGuiApplication application(argc, argv);
    Delegate delegate;
    NSApplication::sharedApplication()->setDelegate(&delegate);
    QFile file(qEnvironmentVariable("KV_TEST_REPORT"));
    const bool first = !file.open(QIODevice::ReadOnly) || !file.readAll().contains("started ");
    file.close();
    report(QStringLiteral("started %1 as %2").arg(::getpid()).arg(QString::fromUtf8(argv[0])));
    if (!first) {
        describe();
        report(QStringLiteral("done"));
        return 0;
    }
    ::dup2(STDERR_FILENO, 77);
    QTimer::singleShot(0, &application, [] {
        const QString language = qEnvironmentVariable("KV_TEST_LANGUAGE");
        QAction item(language, nullptr);
        if (language.isEmpty())
            Relaunch::relaunch();
        else
            Relaunch::relaunchUsingLocalization(&item);
        report(QStringLiteral("asked"));
    });
    if (qEnvironmentVariable("KV_TEST_MODE") == u"refuse")
        QTimer::singleShot(1500, &application,
                           [] { NSApplication::sharedApplication()->terminate(nullptr); });
    const int code = application.exec();
    ::usleep(static_cast<useconds_t>(qEnvironmentVariableIntValue("KV_TEST_LINGER")) * 1000);
    report(QStringLiteral("gone"));
    return code;
}

#include "RelaunchingProgram.moc"
