#include "Platform/PropertyLists/StringTable.h"

#include "Platform/PropertyLists/OldStylePropertyList.h"
#include "Platform/PropertyLists/PropertyListForm.h"
#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/PropertyLists/TextDecoding.h"

namespace KVBase::PropertyLists
{

namespace
{

StringTable textsOf(const QVariantMap &dictionary)
{
    StringTable table;
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        if (entry.value().typeId() == QMetaType::QString)
            table.insert(entry.key(), entry.value().toString());
    }
    return table;
}

/// A table may stand in the braces of a dictionary.
bool hasBraces(QStringView text) { return text.trimmed().startsWith(u'{'); }

} // namespace

StringTable stringTableFromData(const QByteArray &data)
{
    if (data.size() > kMaximumBytes)
        return {};
    if (formOf(data) != NSPropertyListFormat::OpenStep)
        return textsOf(NSPropertyListSerialization::propertyListFromData(data, nullptr, nullptr).toMap());
    const QString text = decodedText(data);
    if (!hasBraces(text))
        return readStringPairs(text);
    QString error;
    return textsOf(readOldStyle(text, &error).toMap());
}

} // namespace KVBase::PropertyLists
