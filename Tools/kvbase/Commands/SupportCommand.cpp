#include "kvbase/Command.h"
#include "kvbase/SupportRun.h"

#include <memory>

namespace kvbase
{

namespace
{

const char kFooter[] =
    "Exit codes: 0 sent, or nothing to send it to; 1 not sent, because the e-mail address or the "
    "host is no good;\n2 something did not work; 3 a step was cut; 64 the command line makes no "
    "sense.\nA crash report stays new until it has been sent.\n"
    "Examples:\n"
    "  kvbase support editor --email jane@example.com --url https://example.com/support\n"
    "  kvbase support /opt/Editor.app --dry-run\n"
    "  kvbase support editor --url http://127.0.0.1:8080/ --json --timeout 10";

void addOptions(CLI::App *app, SupportOptions *options)
{
    app->add_option(
           "application", options->application,
           "The application that needs support: its bundle, its executable, or the executable's name")
        ->required();
    app->add_option("--email", options->email, "The e-mail address for the answer");
    app->add_option("--message", options->message, "What happened, in the user's words");
    app->add_option("--url", options->url, "The address to post the form to; without one nothing is sent");
    app->add_option("--folder", options->folder, "The folder to leave the report in");
    app->add_option("-n,--lines", options->lines, "How many lines of the console log")->capture_default_str();
    app->add_flag("--seen-too", options->seenToo, "Also the newest crash report that is not new any more");
    app->add_flag("--dry-run", options->dryRun, "Show what would be sent, and send nothing");
    options->limit.addTo(app);
    app->footer(kFooter);
}

bool isPostAddress(const std::string &text)
{
    const QUrl url(QString::fromStdString(text), QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QStringLiteral("http") || url.scheme() == QStringLiteral("https"));
}

const CommandRegistration registration("support", "Make a support report of an application, and send it",
                                       [](CLI::App &app, const Context &context) {
                                           const auto options = std::make_shared<SupportOptions>();
                                           addOptions(&app, options.get());
                                           return [options, &context] {
                                               if (!options->url.empty() && !isPostAddress(options->url)) {
                                                   complain(QStringLiteral("not an address to post to: ") +
                                                            QString::fromStdString(options->url));
                                                   return kUsage;
                                               }
                                               return SupportRun(*options, context).run();
                                           };
                                       });

} // namespace

} // namespace kvbase
