#include "Platform/Profile/ProfileText.h"

#include <QtCore/QMap>

namespace KVBase::Profile
{

namespace
{

QString heading(const QString &dataType)
{
    static constexpr std::pair<const char *, const char *> headings[] = {
        {"SPHardwareDataType", "Hardware"}, {"SPSoftwareDataType", "Software"},
        {"SPDisplaysDataType", "Displays"}, {"SPSerialATADataType", "Serial ATA"},
        {"SPPCIDataType", "PCI"},           {"SPFireWireDataType", "FireWire"},
        {"SPUSBDataType", "USB"},
    };
    for (const auto &[type, name] : headings) {
        if (dataType == QLatin1StringView(type))
            return QLatin1StringView(name);
    }
    return dataType;
}

void writeItems(const QVariantList &items, int indent, QString *text);

void writeItem(const QVariantMap &item, int indent, QString *text)
{
    const QString margin(indent, u' ');
    *text += margin + item.value(QStringLiteral("_name")).toString() + QStringLiteral(":\n\n");
    for (auto entry = item.begin(); entry != item.end(); ++entry) {
        if (entry.key() != u"_name" && entry.value().typeId() != QMetaType::QVariantList)
            *text += margin + QStringLiteral("  ") + entry.key() + QStringLiteral(": ") +
                     entry.value().toString() + u'\n';
    }
    *text += u'\n';
    for (auto entry = item.begin(); entry != item.end(); ++entry) {
        if (entry.value().typeId() == QMetaType::QVariantList)
            writeItems(entry.value().toList(), indent + 4, text);
    }
}

void writeItems(const QVariantList &items, int indent, QString *text)
{
    for (const QVariant &item : items)
        writeItem(item.toMap(), indent, text);
}

} // namespace

QString profileText(const QVariantList &sections)
{
    QString text;
    for (const QVariant &entry : sections) {
        const QVariantMap section = entry.toMap();
        text += heading(section.value(QStringLiteral("_dataType")).toString()) + QStringLiteral(":\n\n");
        writeItems(section.value(QStringLiteral("_items")).toList(), 4, &text);
    }
    return text;
}

} // namespace KVBase::Profile
