// A worker thread that reads, and a main thread that is told once, however many pieces there were.
#include <KVBase/KVBase.h>

#include <QtCore/QCoreApplication>

#include <cstdio>

using namespace KVBase;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const Ref<KVMutableArray> lines = KVMutableArray::array();
    const Ref<KVBackgroundThread> reader =
        KVBackgroundThread::backgroundThreadWithName(QStringLiteral("Reader"));

    for (int line = 1; line <= 3; ++line)
        reader->perform([lines, line] { lines->addObject(line); });
    reader->stop(true);

    // Three requests that wait together are one call at the next turn of the run loop.
    for (int request = 0; request < 3; ++request)
        PerformDeferred::performCoalesced(&application, QStringLiteral("show"), [lines, &application] {
            std::printf("%u lines\n", lines->count());
            application.quit();
        });
    return application.exec();
}
