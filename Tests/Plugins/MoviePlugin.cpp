#include <KVBase/Platform/NSClass.h>

#include <QtCore/QFile>
#include <QtCore/QObject>

namespace
{

/// Tells movies by their contents: an ISO media file names its type in its second word, a Matroska file
/// begins with its own mark.
class MovieClass : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE bool isMovieFile(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const QByteArray start = file.read(12);
        return start.mid(4, 4) == "ftyp" || start.startsWith("\x1a\x45\xdf\xa3");
    }
};

MovieClass movieClass;
const KVBase::NSClassRegistration registration("KVUQuickTimeMovie", &movieClass);

} // namespace

#include "MoviePlugin.moc"
