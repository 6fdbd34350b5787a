#include "kvbase/ImageCommands.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtGui/QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace kvbase
{

using namespace KVBase;

namespace
{

struct ImageCommand {
    const char *name;
    const char *description;
    CommandBuilder builder;
};

std::vector<ImageCommand> &imageCommands()
{
    static std::vector<ImageCommand> commands;
    return commands;
}

/// Picture formats are plug-ins of the application object, which needs no screen here.
void makeApplication(const Context &context)
{
    if (QCoreApplication::instance() != nullptr)
        return;
    static int argc = std::min(context.argc, 1);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(argc, context.argv);
}

std::function<int()> buildImageCommand(CLI::App &app, const Context &context)
{
    app.require_subcommand(1);
    auto chosen = std::make_shared<std::function<int()>>();
    std::sort(imageCommands().begin(), imageCommands().end(),
              [](const ImageCommand &a, const ImageCommand &b) { return std::string_view(a.name) < b.name; });
    for (const ImageCommand &command : imageCommands()) {
        CLI::App *nested = app.add_subcommand(command.name, command.description);
        nested->fallthrough();
        std::function<int()> run = command.builder(*nested, context);
        nested->callback([chosen, run] { *chosen = run; });
    }
    return [chosen, &context] {
        makeApplication(context);
        return *chosen ? (*chosen)() : kUsage;
    };
}

const CommandRegistration kImage{"image", "Look at, scale, crop, mirror and convert pictures",
                                 &buildImageCommand};

bool isFolder(const QString &path) { return QFileInfo(path).isDir(); }

/// Where the result of `file` goes.
QString outputFor(const QString &file, const ImageFiles &given)
{
    const QString output = QString::fromStdString(given.output);
    if (given.files.size() == 1 && !isFolder(output))
        return output;
    return QDir(output).filePath(QFileInfo(file).fileName());
}

/// nil: done; else what went wrong.
QString runOnOne(const QString &file, const QString &output, const ImageWork &work)
{
    QString error;
    const Ref<NSImage> image = NSImage::imageWithContentsOfFile(file, &error);
    if (image == nullptr)
        return error;
    const Ref<NSImage> result = work(image);
    if (result == nullptr)
        return QStringLiteral("The picture cannot be made");
    return result->writeToFile(output, &error) ? QString() : output + QStringLiteral(": ") + error;
}

void showProgress(std::size_t done, std::size_t count)
{
    if (count > 1 && isatty(STDERR_FILENO) != 0)
        std::fprintf(stderr, "\r%zu of %zu%s", done, count, done == count ? "\n" : "");
}

QJsonObject report(const QString &file, const QString &output, const QString &error)
{
    QJsonObject entry{{QStringLiteral("file"), file}};
    if (error.isNull())
        entry.insert(QStringLiteral("output"), output);
    else
        entry.insert(QStringLiteral("error"), error);
    return entry;
}

} // namespace

ImageCommandRegistration::ImageCommandRegistration(const char *name, const char *description,
                                                   CommandBuilder builder)
{
    imageCommands().push_back({name, description, std::move(builder)});
}

std::optional<NSSize> parsedSize(const std::string &text)
{
    const QStringList sides = QString::fromStdString(text).split(u'x');
    if (sides.size() != 2)
        return std::nullopt;
    bool hasWidth = false;
    bool hasHeight = false;
    const NSSize size{sides[0].toFloat(&hasWidth), sides[1].toFloat(&hasHeight)};
    return hasWidth && hasHeight ? std::optional(size) : std::nullopt;
}

void MadePicture::addTo(CLI::App &app, int shortest, int longest)
{
    const CLI::Range sides(shortest, longest);
    const auto addSide = [&](const char *name, int &side, const char *description) {
        CLI::Option *const option = app.add_option(name, side, description)->check(sides);
        if (side == 0)
            option->required();
        else
            option->capture_default_str();
    };
    app.add_option("-o,--output", output, "The file to write")->required();
    addSide("--width", width, "Pixels across");
    addSide("--height", height, "Pixels up");
}

int MadePicture::write(const Ref<NSImage> &image, const Context &context) const
{
    const QString path = QString::fromStdString(output);
    QString error = QStringLiteral("The picture cannot be made");
    if (image == nullptr || !image->writeToFile(path, &error)) {
        complain(path + QStringLiteral(": ") + error);
        return kFailure;
    }
    if (context.json)
        printJson(QJsonObject{{QStringLiteral("output"), path},
                              {QStringLiteral("width"), width},
                              {QStringLiteral("height"), height}});
    return kSuccess;
}

void ImageFiles::addTo(CLI::App &app)
{
    app.add_option("FILE", files, "Pictures to work on")->required();
    app.add_option("-o,--output", output, "The file to write; a folder for several pictures")->required();
}

int runOnImages(const ImageFiles &given, const Context &context, const ImageWork &work)
{
    if (given.files.size() > 1 && !QDir().mkpath(QString::fromStdString(given.output))) {
        complain(QString::fromStdString(given.output) + QStringLiteral(": The folder cannot be made"));
        return kFailure;
    }
    QJsonArray reports;
    QSet<QString> outputs;
    int code = kSuccess;
    for (std::size_t i = 0; i < given.files.size(); ++i) {
        const QString file = QString::fromStdString(given.files[i]);
        const QString output = outputFor(file, given);
        const QString error =
            outputs.contains(output)
                ? output + QStringLiteral(": A picture of that name has been written already")
                : runOnOne(file, output, work);
        if (!error.isNull()) {
            complain(file + QStringLiteral(": ") + error);
            code = kFailure;
        } else {
            outputs.insert(output);
        }
        reports.append(report(file, output, error));
        showProgress(i + 1, given.files.size());
    }
    if (context.json)
        printJson(reports);
    return code;
}

} // namespace kvbase
