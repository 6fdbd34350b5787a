#include "kvbase/Command.h"

#include <KVBase/KVMutableExecutable.h>

#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>

#include <memory>
#include <string>

namespace
{

using namespace KVBase;

struct Options {
    std::string path;
    std::string search;
    std::string replacement;
    std::string executable;
    bool cuts = false;
};

Ref<KVMutableExecutable> open(const Options &options)
{
    const QString path = QString::fromStdString(options.path);
    if (!options.executable.empty())
        return KVMutableExecutable::mutableExecutableWithBundleAtPath(
            path, QString::fromStdString(options.executable));
    return KVMutableExecutable::mutableExecutableWithExecutableAtURL(
        QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

void show(bool replaced, const kvbase::Context &context)
{
    if (context.json)
        kvbase::printJson(QJsonObject{{"replaced", replaced}});
    else
        kvbase::printLine(replaced ? QStringLiteral("replaced") : QStringLiteral("not found"));
}

int run(const Options &options, const kvbase::Context &context)
{
    if (options.search.size() != options.replacement.size() && !options.cuts) {
        kvbase::complain(QStringLiteral("the two texts differ in length; pad the shorter one, or say --cut"));
        return kvbase::kUsage;
    }
    const Ref<KVMutableExecutable> executable = open(options);
    const bool replaced = executable->replaceString(QString::fromStdString(options.search),
                                                    QString::fromStdString(options.replacement));
    // A file that was not read cannot be committed either, so this also tells it from one without an
    // occurrence.
    if (!executable->commit()) {
        kvbase::complain(
            QStringLiteral("%1 cannot be read or written").arg(QString::fromStdString(options.path)));
        return kvbase::kFailure;
    }
    show(replaced, context);
    return replaced ? kvbase::kSuccess : kvbase::kNegative;
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto options = std::make_shared<Options>();
    app.add_option("path", options->path, "A file, or a bundle's folder with --executable")->required();
    app.add_option("search", options->search, "The text to look for")->required();
    app.add_option("replacement", options->replacement, "The text to write over it")->required();
    app.add_option("--executable", options->executable, "Patch this executable of the bundle");
    app.add_flag("--cut", options->cuts, "Allow texts of different lengths: only the shorter length counts");
    app.footer("The file keeps its size. Examples:\n"
               "  kvbase patch /opt/tool SERIAL00 SERIAL42\n"
               "  kvbase patch /opt/Tool.app SERIAL00 SERIAL42 --executable tool\n"
               "Exit codes: 0 replaced, 1 the text does not occur, 2 the file cannot be read or written.");
    return [options, &context] { return run(*options, context); };
}

const kvbase::CommandRegistration registration("patch", "Replace a text inside an executable", build);

} // namespace
