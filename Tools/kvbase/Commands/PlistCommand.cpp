#include "kvbase/Command.h"

#include "Platform/ResourceFile.h"

#include <KVBase/KVMutableInfoPlist.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <memory>
#include <string>

namespace
{

using namespace KVBase;

struct Options {
    std::string path;
    std::string key;
    std::string value;
    std::string type = "string";
};

/// The tree at `path`: a bundle's Info.plist, or any property list.
QVariant readPlist(const QString &path)
{
    const QString file = QFileInfo(path).isDir() ? path + QStringLiteral("/Contents/Info.plist") : path;
    const std::optional<QByteArray> data = contentsOfFile(file);
    QString error = QStringLiteral("it cannot be read");
    const QVariant plist =
        data ? NSPropertyListSerialization::propertyListFromData(*data, nullptr, &error) : QVariant();
    if (isNil(plist))
        kvbase::complain(QStringLiteral("%1: %2").arg(file, error));
    return plist;
}

void show(const QVariant &value, const kvbase::Context &context)
{
    if (context.json)
        return kvbase::printJson(QJsonValue::fromVariant(value));
    if (value.typeId() != QMetaType::QVariantMap && value.typeId() != QMetaType::QVariantList &&
        value.typeId() != QMetaType::QByteArray)
        return kvbase::printLine(value.typeId() == QMetaType::QDateTime
                                     ? value.toDateTime().toString(Qt::ISODate)
                                     : value.toString());
    const auto xml =
        NSPropertyListSerialization::dataFromPropertyList(value, NSPropertyListFormat::XML, nullptr);
    kvbase::printLine(QString::fromUtf8(xml.value_or(QByteArray())).trimmed());
}

int get(const Options &options, const kvbase::Context &context)
{
    QVariant value = readPlist(QString::fromStdString(options.path));
    if (isNil(value))
        return kvbase::kFailure;
    if (!options.key.empty())
        value = value.toMap().value(QString::fromStdString(options.key));
    if (isNil(value))
        return kvbase::kNegative;
    show(value, context);
    return kvbase::kSuccess;
}

/// `text` as a value of the type asked for; nil when it is none.
QVariant typedValue(const QString &text, const std::string &type)
{
    bool understood = true;
    QVariant value = text.isNull() ? QStringLiteral("") : text;
    if (type == "integer")
        value = text.toLongLong(&understood, 0);
    else if (type == "real")
        value = text.toDouble(&understood);
    else if (type == "bool") {
        understood = text == QLatin1StringView("true") || text == QLatin1StringView("false");
        value = text == QLatin1StringView("true");
    }
    return understood ? value : QVariant();
}

int change(const Options &options, const QVariant &value)
{
    KVMutableInfoPlist plist(QString::fromStdString(options.path));
    plist.setValue(value, QString::fromStdString(options.key));
    if (plist.commit())
        return kvbase::kSuccess;
    kvbase::complain(
        QStringLiteral("the Info.plist of %1 cannot be changed").arg(QString::fromStdString(options.path)));
    return kvbase::kFailure;
}

int set(const Options &options)
{
    const QVariant value = typedValue(QString::fromStdString(options.value), options.type);
    if (!isNil(value))
        return change(options, value);
    kvbase::complain(QStringLiteral("%1 is no %2")
                         .arg(QString::fromStdString(options.value), QString::fromStdString(options.type)));
    return kvbase::kUsage;
}

std::function<int()> build(CLI::App &app, const kvbase::Context &context)
{
    const auto options = std::make_shared<Options>();
    app.require_subcommand(1);
    app.footer("Examples:\n"
               "  kvbase plist get /opt/Tool.app CFBundleVersion\n"
               "  kvbase plist get settings.plist --json\n"
               "  kvbase plist set /opt/Tool.app CFBundleVersion 1234\n"
               "  kvbase plist set /opt/Tool.app Hidden true --type bool\n"
               "  kvbase plist remove /opt/Tool.app Hidden\n"
               "Exit codes: 0 done, 1 there is no such key, 2 the file cannot be read or written.");

    CLI::App *const getter = app.add_subcommand("get", "Show a property list, or one of its values");
    getter->add_option("path", options->path, "A bundle's folder or a property list")->required();
    getter->add_option("key", options->key, "A key of the dictionary; without one everything is shown");
    getter->fallthrough();

    CLI::App *const setter = app.add_subcommand("set", "Store a value in a bundle's Info.plist");
    setter->add_option("bundle", options->path, "The bundle's folder")->required();
    setter->add_option("key", options->key, "The key")->required();
    setter->add_option("value", options->value, "The value")->required();
    setter->add_option("--type", options->type, "What the value is")
        ->check(CLI::IsMember({"string", "integer", "real", "bool"}));
    setter->fallthrough();

    CLI::App *const remover = app.add_subcommand("remove", "Remove a value from a bundle's Info.plist");
    remover->add_option("bundle", options->path, "The bundle's folder")->required();
    remover->add_option("key", options->key, "The key")->required();
    remover->fallthrough();

    return [options, getter, setter, &context] {
        if (getter->parsed())
            return get(*options, context);
        return setter->parsed() ? set(*options) : change(*options, QVariant());
    };
}

const kvbase::CommandRegistration registration("plist", "Read a property list, change a bundle's Info.plist",
                                               build);

} // namespace
