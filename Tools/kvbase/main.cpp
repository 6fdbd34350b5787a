#include "kvbase/CommandList.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>

using namespace kvbase;

namespace
{

/// A subcommand says itself what the user has to know. What the toolkit remarks about the session goes
/// nowhere, unless it is why the process ends.
void passFatalMessagesOnly(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg)
        complain(text);
}

} // namespace

/// `kvbase SUBCOMMAND ...`: every service of the library from a shell.
int main(int argc, char **argv)
{
    qInstallMessageHandler(passFatalMessagesOnly);
    CLI::App app{"Every service of the library from a shell."};
    app.require_subcommand(1);
    app.footer(
        "Exit codes: 0 yes or done, 1 no, 2 something did not work, 64 the command line makes no sense.");
    Context context{false, argc, argv};

    std::sort(commandList().begin(), commandList().end(),
              [](const CommandEntry &a, const CommandEntry &b) { return a.name < b.name; });
    std::function<int()> chosen;
    for (const CommandEntry &entry : commandList()) {
        CLI::App *command = app.add_subcommand(entry.name, entry.description);
        command->add_flag("--json", context.json, "Print JSON for scripts");
        command->fallthrough();
        std::function<int()> run = entry.builder(*command, context);
        command->callback([&chosen, run] { chosen = run; });
    }

    try {
        app.parse(argc, argv);
        return chosen ? chosen() : kUsage;
    } catch (const CLI::CallForHelp &help) {
        return app.exit(help);
    } catch (const CLI::ParseError &error) {
        app.exit(error);
        return kUsage;
    } catch (const std::exception &error) {
        complain(QString::fromUtf8(error.what()));
        return kFailure;
    }
}
