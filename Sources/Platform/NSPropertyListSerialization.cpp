#include <KVBase/Platform/NSPropertyListSerialization.h>

#include "Platform/PropertyLists/BinaryPropertyList.h"
#include "Platform/PropertyLists/OldStylePropertyList.h"
#include "Platform/PropertyLists/PropertyListForm.h"
#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/PropertyLists/PropertyListValue.h"
#include "Platform/PropertyLists/TextDecoding.h"
#include "Platform/PropertyLists/XMLPropertyList.h"
#include "Platform/ResourceFile.h"
#include "Platform/Services/FileManager.h"

namespace KVBase
{

namespace
{

QVariant readAs(NSPropertyListFormat format, const QByteArray &data, QString *errorText)
{
    switch (format) {
    case NSPropertyListFormat::Binary:
        return PropertyLists::readBinary(data, errorText);
    case NSPropertyListFormat::XML:
        return PropertyLists::readXML(data, errorText);
    default:
        return PropertyLists::readOldStyle(PropertyLists::decodedText(data), errorText);
    }
}

std::optional<QByteArray> writeAs(NSPropertyListFormat format, const QVariant &plist, QString *errorText)
{
    switch (format) {
    case NSPropertyListFormat::Binary:
        return PropertyLists::writeBinary(plist);
    case NSPropertyListFormat::XML:
        return PropertyLists::writeXML(plist, errorText);
    default:
        *errorText = QStringLiteral("Property lists are not written in this form.");
        return std::nullopt;
    }
}

} // namespace

NSPropertyListFormat PropertyLists::formOf(const QByteArray &data)
{
    if (data.startsWith("bplist"))
        return NSPropertyListFormat::Binary;
    // An even number of bytes that holds a byte order mark, some blanks and the first letters.
    const QString head = decodedText(data.left(256)).trimmed();
    const bool isXML = head.startsWith(QLatin1StringView("<?")) || head.startsWith(QLatin1StringView("<!")) ||
                       head.startsWith(QLatin1StringView("<plist"));
    return isXML ? NSPropertyListFormat::XML : NSPropertyListFormat::OpenStep;
}

QVariant NSPropertyListSerialization::propertyListFromData(const QByteArray &data,
                                                           NSPropertyListFormat *format, QString *errorText)
{
    QString error;
    QVariant plist;
    const NSPropertyListFormat form = PropertyLists::formOf(data);
    if (data.size() > PropertyLists::kMaximumBytes)
        error = QStringLiteral("The property list is too large.");
    else
        plist = readAs(form, data, &error);
    if (plist.isValid() && format != nullptr)
        *format = form;
    if (errorText != nullptr)
        *errorText = plist.isValid() ? QString() : error;
    return plist;
}

std::optional<QByteArray> NSPropertyListSerialization::dataFromPropertyList(const QVariant &plist,
                                                                            NSPropertyListFormat format,
                                                                            QString *errorText)
{
    QString error;
    std::optional<QByteArray> data;
    const QVariant value = PropertyLists::propertyListValue(plist, &error);
    if (value.isValid())
        data = writeAs(format, value, &error);
    if (errorText != nullptr)
        *errorText = data ? QString() : error;
    return data;
}

std::optional<QVariantMap> NSPropertyListSerialization::dictionaryWithContentsOfFile(const QString &path)
{
    const std::optional<QByteArray> data = contentsOfFile(path, PropertyLists::kMaximumBytes);
    if (!data)
        return std::nullopt;
    const QVariant plist = propertyListFromData(*data, nullptr, nullptr);
    if (plist.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return plist.toMap();
}

bool NSPropertyListSerialization::writeToFile(const QVariant &plist, const QString &path)
{
    const std::optional<QByteArray> data = dataFromPropertyList(plist, NSPropertyListFormat::XML, nullptr);
    return data && Service<FileManager>::current()->write(path, *data);
}

} // namespace KVBase
