#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

using namespace KVBase;

namespace
{

/// Stores and writes many keys, one at a time.
int writeMany(const QString &prefix, int count)
{
    NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
    bool everythingWritten = true;
    for (int number = 0; number < count; ++number) {
        defaults.setInteger(number, prefix + QString::number(number));
        everythingWritten = defaults.synchronize() && everythingWritten;
    }
    return everythingWritten ? 0 : 1;
}

/// Stores a value and lets the loop run until the file is there, then ends without any clean-up.
int storeInLoop(int argc, char **argv, const QString &file)
{
    QCoreApplication application(argc, argv);
    NSUserDefaults::standardUserDefaults().setObject("from the loop", "key");
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&file] {
        if (QFile::exists(file))
            std::_Exit(0);
    });
    QTimer::singleShot(60000, [] { std::_Exit(1); });
    timer.start(10);
    return QCoreApplication::exec();
}

/// A child that ends normally must not write what its parent has not written yet.
int forkAndLeave()
{
    NSUserDefaults::standardUserDefaults().setObject("parent", "key");
    if (::fork() == 0)
        std::exit(0);
    std::_Exit(0);
}

int showLanguages()
{
    NSApplication::applyLanguagePreferences();
    std::printf("%s %s\n", qgetenv("LANGUAGE").constData(), qUtf8Printable(QLocale().name()));
    return 0;
}

} // namespace

/// `write PREFIX COUNT`, `set KEY VALUE` (written at the end), `get KEY`, `loop FILE`, `fork`, `languages`.
int main(int argc, char **argv)
{
    const QString task = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    const QString first = QString::fromLocal8Bit(argc > 2 ? argv[2] : "");
    const QString second = QString::fromLocal8Bit(argc > 3 ? argv[3] : "");
    NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
    if (task == QLatin1StringView("write"))
        return writeMany(first, second.toInt());
    if (task == QLatin1StringView("set"))
        defaults.setObject(second, first);
    else if (task == QLatin1StringView("array"))
        defaults.setObject(second.split(u','), first);
    else if (task == QLatin1StringView("get"))
        std::printf("%s\n", qUtf8Printable(defaults.stringForKey(first)));
    else if (task == QLatin1StringView("loop"))
        return storeInLoop(argc, argv, first);
    else if (task == QLatin1StringView("fork"))
        return forkAndLeave();
    else if (task == QLatin1StringView("languages"))
        return showLanguages();
    return 0;
}
