#include "kvbase/Command.h"
#include "kvbase/FormReceiver.h"
#include "report/ReportFolder.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

#include <cstdio>
#include <memory>
#include <string>

namespace kvbase
{

namespace
{

struct Options {
    std::string folder = ".";
    std::uint16_t port = 0;
    std::uint32_t count = 0;
};

/// Stores forms as files of their own, numbered onward from those that are there.
class FormStore {
public:
    FormStore(const QString &path, bool json) : folder(path), asJson(json)
    {
        while (QFileInfo::exists(folder + u'/' + fileName(number)))
            ++number;
    }

    QString store(const QJsonObject &fields)
    {
        const QString name = fileName(number);
        const QJsonObject form{{"received", QDateTime::currentDateTime().toString(Qt::ISODate)},
                               {"fields", fields}};
        if (!report::writeReport(folder, {{name, QString::fromUtf8(QJsonDocument(form).toJson())}})
                 .isEmpty()) {
            complain(QStringLiteral("%1 cannot be written").arg(name));
            return QStringLiteral("The form could not be stored.");
        }
        ++number;
        announce(name, fields);
        return QStringLiteral("Thank you. Your report is stored as %1.").arg(name);
    }

private:
    static QString fileName(int number)
    {
        return QStringLiteral("form-%1.json").arg(number, 4, 10, QLatin1Char('0'));
    }

    void announce(const QString &name, const QJsonObject &fields) const
    {
        if (asJson)
            printJson(QJsonObject{{"file", name}, {"fields", static_cast<qint64>(fields.size())}});
        else
            printLine(QStringLiteral("%1: %2").arg(name, fields.keys().join(u", ")));
        std::fflush(stdout);
    }

    QString folder;
    bool asJson;
    int number = 1;
};

int run(const Options &options, const Context &context)
{
    const QString folder = QFileInfo(QString::fromStdString(options.folder)).absoluteFilePath();
    FormReceiver receiver;
    if (!report::makeReportFolder(folder) || !receiver.listen(options.port)) {
        complain(QStringLiteral("cannot listen on port %1 or store into %2").arg(options.port).arg(folder));
        return kFailure;
    }
    const QString address = QStringLiteral("http://127.0.0.1:%1/").arg(receiver.port());
    if (context.json)
        printJson(QJsonObject{{"address", address}, {"folder", folder}});
    else
        printLine(QStringLiteral("listening on ") + address);
    std::fflush(stdout);
    FormStore store(folder, context.json);
    std::uint32_t stored = 0;
    const auto handler = [&](const QJsonObject &fields) {
        ++stored;
        return store.store(fields);
    };
    while ((options.count == 0 || stored < options.count) && receiver.serve(handler)) {
    }
    return kSuccess;
}

const CommandRegistration registration(
    "collect", "Receive posted forms on this machine and store them",
    [](CLI::App &app, const Context &context) {
        const auto options = std::make_shared<Options>();
        app.add_option("--folder", options->folder, "Where to store them")->capture_default_str();
        app.add_option("--port", options->port, "The port on the loopback interface; 0 takes a free one")
            ->capture_default_str();
        app.add_option("--count", options->count, "End after so many forms; 0 goes on until interrupted")
            ->capture_default_str();
        app.footer("Example:\n  kvbase collect --folder forms --port 8080");
        return [options, &context] { return run(*options, context); };
    });

} // namespace

} // namespace kvbase
