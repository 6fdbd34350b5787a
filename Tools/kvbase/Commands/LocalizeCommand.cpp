#include "kvbase/Command.h"

#include "Platform/ResourceFile.h"

#include <KVBase/KVPlistLocalizer.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QFile>

#include <cstdio>
#include <memory>
#include <string>

namespace
{

using namespace KVBase;

struct Options {
    std::string bundle;
    std::string table;
    std::string path;
    std::vector<std::string> texts;
};

std::optional<QByteArray> input(const QString &path)
{
    if (path != QLatin1StringView("-"))
        return contentsOfFile(path);
    QFile standardInput;
    if (!standardInput.open(stdin, QIODevice::ReadOnly))
        return std::nullopt;
    return standardInput.readAll();
}

void showPlist(const QVariant &plist, const kvbase::Context &context)
{
    if (context.json)
        return kvbase::printJson(QJsonValue::fromVariant(plist));
    const auto xml =
        NSPropertyListSerialization::dataFromPropertyList(plist, NSPropertyListFormat::XML, nullptr);
    kvbase::printLine(QString::fromUtf8(xml.value_or(QByteArray())).trimmed());
}

int localizeFile(const Options &options, const QString &table, const Ref<NSBundle> &bundle,
                 const kvbase::Context &context)
{
    const QString path = QString::fromStdString(options.path);
    QString error = QStringLiteral("it cannot be read");
    const std::optional<QByteArray> data = input(path);
    const QVariant plist =
        data ? NSPropertyListSerialization::propertyListFromData(*data, nullptr, &error) : QVariant();
    if (isNil(plist)) {
        kvbase::complain(QStringLiteral("%1: %2").arg(path, error));
        return kvbase::kFailure;
    }
    showPlist(KVPlistLocalizer::localizePlist(plist, table, bundle), context);
    return kvbase::kSuccess;
}

int localizeTexts(const Options &options, const QString &table, const Ref<NSBundle> &bundle,
                  const kvbase::Context &context)
{
    QVariantList texts;
    for (const QString &text : kvbase::inputsOrStandardInput(options.texts))
        texts.append(text);
    const QVariantList localized = KVPlistLocalizer::localizeArray(texts, table, bundle);
    if (context.json) {
        kvbase::printJson(QJsonValue::fromVariant(localized));
        return kvbase::kSuccess;
    }
    for (const QVariant &text : localized)
        kvbase::printLine(text.toString());
    return kvbase::kSuccess;
}

int run(const Options &options, const kvbase::Context &context)
{
    const QString path = QString::fromStdString(options.bundle);
    const Ref<NSBundle> bundle =
        path.isEmpty() ? NSBundle::frameworkBundle() : NSBundle::bundleWithPath(path);
    if (bundle == nullptr) {
        kvbase::complain(QStringLiteral("%1 is no bundle").arg(path));
        return kvbase::kFailure;
    }
    const QString named = QString::fromStdString(options.table);
    const QString table = named.isEmpty() && path.isEmpty() ? QStringLiteral("KVBase") : named;
    return options.path.empty() ? localizeTexts(options, table, bundle, context)
                                : localizeFile(options, table, bundle, context);
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto options = std::make_shared<Options>();
    app.add_option("-b,--bundle", options->bundle,
                   "The bundle with the string table; without one the library's");
    app.add_option("-t,--table", options->table, "The table's name; without one the bundle's default table");
    app.add_option("-p,--plist", options->path,
                   "Translate the texts in this property list; - is standard input");
    app.add_option("text", options->texts,
                   "Texts to translate; without any those of standard input, one a line");
    app.footer("Examples:\n"
               "  kvbase localize NA_STRING\n"
               "  kvbase localize --bundle /opt/Tool.app --table Presets --plist presets.plist");
    return [options, &context] { return run(*options, context); };
}

const kvbase::CommandRegistration registration("localize",
                                               "Translate texts or a property list by a string table", build);

} // namespace
