// A thumbnail that fills its frame, from any format Qt reads.
#include <KVBase/KVBase.h>

#include <QtGui/QImage>

#include <cstdio>

using namespace KVBase;

int main(int argc, char **argv)
{
    QImage photograph(400, 300, QImage::Format_ARGB32);
    photograph.fill(Qt::darkCyan);
    QString reason;
    const Ref<NSImage> image =
        argc > 1 ? NSImage::imageWithContentsOfFile(QString::fromLocal8Bit(argv[1]), &reason)
                 : NSImage::create(photograph);
    if (isNil(image)) {
        std::printf("%s\n", qPrintable(reason));
        return 1;
    }
    const NSRect fit = KVImageUtils::calcNSSizeToFitInNSSize(image->size(), NSSize{100, 100}, true);
    std::printf("fits as %g x %g\n", static_cast<double>(fit.size.width),
                static_cast<double>(fit.size.height));

    const Ref<NSImage> thumbnail = KVImageUtils::scaleAndCropImage(image, NSSize{100, 100}, true);
    const NSSize pixels = KVImageUtils::getPixelSize(thumbnail);
    std::printf("covers %g x %g\n", static_cast<double>(pixels.width), static_cast<double>(pixels.height));
}
