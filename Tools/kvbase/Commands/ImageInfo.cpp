#include "kvbase/ImageCommands.h"

#include <KVBase/KVImageUtils.h>

#include <QtCore/QJsonArray>

using namespace KVBase;

namespace kvbase
{
namespace
{

QJsonObject informationOn(const QString &file, const Ref<NSImage> &image)
{
    const NSSize pixels = KVImageUtils::getPixelSize(image);
    return {
        {QStringLiteral("file"), file},
        {QStringLiteral("pixelsWide"), static_cast<int>(pixels.width)},
        {QStringLiteral("pixelsHigh"), static_cast<int>(pixels.height)},
        {QStringLiteral("pointsWide"), static_cast<double>(image->size().width)},
        {QStringLiteral("pointsHigh"), static_cast<double>(image->size().height)},
        {QStringLiteral("pixelAspectRatio"), static_cast<double>(KVImageUtils::getPixelAspectRatio(image))},
        {QStringLiteral("isImageFile"), KVImageUtils::isImageFile(file)}};
}

void printInformation(const QJsonObject &entry)
{
    printLine(QStringLiteral("%1: %2 x %3 pixels, %4 x %5 points%6")
                  .arg(entry[QStringLiteral("file")].toString())
                  .arg(entry[QStringLiteral("pixelsWide")].toInt())
                  .arg(entry[QStringLiteral("pixelsHigh")].toInt())
                  .arg(entry[QStringLiteral("pointsWide")].toDouble())
                  .arg(entry[QStringLiteral("pointsHigh")].toDouble())
                  .arg(entry[QStringLiteral("isImageFile")].toBool()
                           ? QString()
                           : QStringLiteral(", not named as a picture")));
}

int showInformation(const std::vector<std::string> &files, const Context &context)
{
    QJsonArray reports;
    int code = kSuccess;
    for (const std::string &name : files) {
        const QString file = QString::fromStdString(name);
        QString error;
        const Ref<NSImage> image = NSImage::imageWithContentsOfFile(file, &error);
        if (image == nullptr) {
            complain(file + QStringLiteral(": ") + error);
            reports.append(QJsonObject{{QStringLiteral("file"), file}, {QStringLiteral("error"), error}});
            code = kFailure;
            continue;
        }
        const QJsonObject entry = informationOn(file, image);
        reports.append(entry);
        if (!context.json)
            printInformation(entry);
    }
    if (context.json)
        printJson(reports);
    return code;
}

const ImageCommandRegistration kInfo{
    "info", "Sizes in pixels and points", [](CLI::App &app, const Context &context) {
        auto files = std::make_shared<std::vector<std::string>>();
        app.add_option("FILE", *files, "Pictures to look at")->required();
        return [files, &context] { return showInformation(*files, context); };
    }};

} // namespace
} // namespace kvbase
