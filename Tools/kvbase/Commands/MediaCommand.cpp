#include "kvbase/Command.h"

#include <KVBase/MovieAndImagePaths.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLibrary>
#include <QtCore/QUrl>

#include <string>
#include <vector>

namespace kvbase
{

namespace
{

struct Options {
    std::vector<std::string> paths;
    std::string plugin;
    bool movies = false;
    bool both = false;
};

/// An element as the library takes it: an address with a scheme, or a path.
QVariant elementOf(const QString &text)
{
    return text.contains(QStringLiteral("://")) ? QVariant(QUrl(text)) : QVariant(text);
}

std::optional<QVariantList> pick(const Options &options, const QVariantList &elements)
{
    if (options.both)
        return KVBase::MovieAndImagePaths::movieAndImageFilePaths(elements);
    if (options.movies)
        return KVBase::MovieAndImagePaths::movieFilePaths(elements);
    return KVBase::MovieAndImagePaths::imageFilePaths(elements);
}

int run(const Options &options, const Context &context)
{
    if (!options.plugin.empty()) {
        QLibrary plugin(QString::fromStdString(options.plugin));
        if (!plugin.load()) {
            complain(plugin.errorString());
            return kFailure;
        }
    }
    QVariantList elements;
    for (const QString &text : inputsOrStandardInput(options.paths))
        elements.append(elementOf(text));
    const QVariantList kept = pick(options, elements).value_or(QVariantList());
    QStringList texts;
    for (const QVariant &element : kept)
        texts.append(element.toString());
    if (context.json)
        printJson(QJsonObject{{"kept", QJsonArray::fromStringList(texts)}});
    else
        for (const QString &text : texts)
            printLine(text);
    return kept.isEmpty() ? kNegative : kSuccess;
}

const CommandRegistration
    registration("media", "Pick the images or movies out of paths and addresses",
                 [](CLI::App &app, const Context &context) {
                     auto options = std::make_shared<Options>();
                     app.add_option("PATH", options->paths,
                                    "Paths or addresses; without any, the lines of standard input");
                     app.add_flag("--movies", options->movies, "Keep movies instead of images");
                     app.add_flag("--both", options->both, "Keep images and movies");
                     app.add_option("--plugin", options->plugin, "The library that tells movies");
                     app.footer("Exit code 0 when something was kept, 1 when nothing was.\n"
                                "Example: ls -d /usr/share/pixmaps/* | kvbase media");
                     return [options, &context] { return run(*options, context); };
                 });

} // namespace

} // namespace kvbase
