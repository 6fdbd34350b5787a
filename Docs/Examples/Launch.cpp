// What an application does early in its launch: mark the main thread, open the log, ask what has changed, and
// look for a report of a crash of its last run.
#include <KVBase/KVBase.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <cstdio>

using namespace KVBase;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    KVMainThread::markCurrentThreadAsMainThread();
    KVCrashReporter::install();

    KVLogSetDefaultDestination();
    KVLogOpen(QDir::tempPath() + QStringLiteral("/launch-example.log"));
    KVLog("Started in %@", QDir::currentPath());

    CrashReport::setFirstCrashDateToToday();
    if (CrashReport::newCrashLogExists())
        KVLog("The last run ended with: %@", CrashReport::crashReportText());
    if (KVAppVersionUtils::firstStartOfAppVersion())
        KVLog("First start of %@", InfoDictionary::versionString());

    std::printf("logging to %s\n", qPrintable(QFileInfo(KVLogPath()).fileName()));
    KVLogClose();
}
