#include "kvbase/Command.h"

#include "Platform/Services/InstalledApplications_linux.h"
#include "Platform/Services/RelaunchCommand.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>

#include <cstdint>
#include <memory>
#include <string>
#include <unistd.h>

namespace kvbase
{

namespace
{

using namespace KVBase;

struct Options {
    std::string path;
    std::int64_t process = 0;
};

int run(const Options &options, bool json)
{
    const QString path = QFileInfo(QString::fromStdString(options.path)).absoluteFilePath();
    const QString program = programOfApplication(path);
    if (program.isNull()) {
        complain(QStringLiteral("%1 is no application").arg(path));
        return kFailure;
    }
    // The shell's own process would keep the command waiting for as long as the shell runs.
    const std::int64_t process = options.process > 0 ? options.process : ::getpid();
    startAfterExit(path, program, process);
    if (json)
        printJson(
            QJsonObject{{"path", path}, {"program", program}, {"process", static_cast<qint64>(process)}});
    return kSuccess;
}

const CommandRegistration
    registration("relaunch", "Start an application once a process has gone",
                 [](CLI::App &app, const Context &context) {
                     const auto options = std::make_shared<Options>();
                     app.add_option("path", options->path, "An application bundle or a program")->required();
                     app.add_option("--process", options->process,
                                    "The process to wait for, up to ten minutes; without it, kvbase itself");
                     return [options, &context] { return run(*options, context.json); };
                 });

} // namespace

} // namespace kvbase
