#include <QtCore/QString>
#include <QtGui/QImage>

#ifdef KVBASE_IS_LINKED
#include <KVBase/KVLog.h>
#endif

/// A program that starts and ends: it links Qt's Core and Gui, and with KVBASE_IS_LINKED the library too,
/// whose log it opens as an application does at its start.
int main(int argc, char **argv)
{
    if (argc != 2)
        return 64;
    const QString path = QString::fromUtf8(argv[1]);
    const QImage image(1, 1, QImage::Format_RGB32);
#ifdef KVBASE_IS_LINKED
    if (!KVBase::KVLogOpen(path) || KVBase::KVLogPath() != path)
        return 1;
    KVBase::KVLogClose();
#endif
    return path.isEmpty() || image.isNull() ? 1 : 0;
}
