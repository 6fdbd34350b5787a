#include <KVBase/Platform/NSImage.h>

#include <QtCore/QBuffer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMimeDatabase>
#include <QtCore/QSaveFile>
#include <QtGui/QImageReader>
#include <QtGui/QImageWriter>

#include <utility>

namespace KVBase
{

namespace
{

void say(QString *errorText, QString text)
{
    if (errorText != nullptr)
        *errorText = std::move(text);
}

bool isTooLarge(const QSize &size)
{
    return std::int64_t{size.width()} * size.height() * 4 > kMaximumDecodedImageBytes;
}

bool isPictureType(const QMimeType &type) { return type.name().startsWith(QLatin1StringView("image/")); }

/// Why no plug-in took the contents: they are no picture, are damaged from the start, or a plug-in is
/// missing.
QString whyNotRead(QIODevice &device)
{
    device.seek(0);
    const QMimeType type = QMimeDatabase().mimeTypeForData(&device);
    if (!isPictureType(type))
        return QStringLiteral("Not a picture");
    if (QImageReader::supportedMimeTypes().contains(type.name().toLatin1()))
        return QStringLiteral("The picture is damaged");
    return QStringLiteral("No plug-in that reads %1 is installed").arg(type.name());
}

QString whyNotWritten(const QString &path)
{
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path, QMimeDatabase::MatchExtension);
    return isPictureType(type) ? QStringLiteral("No plug-in that writes %1 is installed").arg(type.name())
                               : QStringLiteral("The name does not end in a picture format");
}

QImage decoded(QIODevice &device, QString *errorText)
{
    QImageReader reader(&device);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    // The claimed size is looked at before any memory is asked for; what claims none is held by Qt's own
    // limit.
    if (isTooLarge(reader.size())) {
        say(errorText, QStringLiteral("The picture is larger than can be decoded"));
        return {};
    }
    QImage image = reader.read();
    if (image.isNull())
        say(errorText, reader.error() == QImageReader::UnsupportedFormatError ? whyNotRead(device)
                                                                              : reader.errorString());
    return image;
}

/// The picture in the file format that the path's extension stands for, in memory; null when it cannot be
/// encoded.
QByteArray encoded(const QImage &image, const QString &path, QString *errorText)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, QFileInfo(path).suffix().toLatin1());
    if (writer.write(image))
        return bytes;
    say(errorText,
        writer.error() == QImageWriter::UnsupportedFormatError ? whyNotWritten(path) : writer.errorString());
    return {};
}

bool writeWhole(const QString &path, const QByteArray &bytes, QString *errorText)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        // A short write is no error to QSaveFile: without the comparison a full disk would leave half a
        // picture.
        if (file.write(bytes) == bytes.size() && file.commit())
            return true;
        file.cancelWriting();
    }
    say(errorText, file.errorString());
    return false;
}

} // namespace

Ref<NSImage> NSImage::imageWithContentsOfFile(const QString &path, QString *errorText)
{
    // Opening a pipe would wait for its writer.
    if (!QFileInfo(path).isFile()) {
        say(errorText,
            QFileInfo::exists(path) ? QStringLiteral("Not a regular file") : QStringLiteral("No such file"));
        return nullptr;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        say(errorText, file.errorString());
        return nullptr;
    }
    const QImage image = decoded(file, errorText);
    return image.isNull() ? nullptr : create(image);
}

bool NSImage::writeToFile(const QString &path, QString *errorText) const
{
    const QImage image = toImage();
    if (image.isNull()) {
        say(errorText, QStringLiteral("There is no picture to write"));
        return false;
    }
    const QByteArray bytes = encoded(image, path, errorText);
    return !bytes.isEmpty() && writeWhole(path, bytes, errorText);
}

} // namespace KVBase
