#include "Platform/PropertyLists/StringTable.h"

#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <QtCore/QVariantMap>

#include <benchmark/benchmark.h>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>

using namespace KVBase;

namespace
{

constexpr qsizetype kTableBytes = 1 << 20;

QString keyOf(int number)
{
    return QStringLiteral("DOCUMENT_%1_COULD_NOT_BE_SAVED_MESSAGE").arg(number, 5, 10, QLatin1Char('0'));
}

/// Texts as applications show them: one in five holds an escape, one in five a letter beyond ASCII.
QString textOf(int number)
{
    switch (number % 5) {
    case 0:
        return QStringLiteral("The document “%1” could not be saved.").arg(number);
    case 1:
        return QStringLiteral("Document %1\nThe disk is full.").arg(number);
    default:
        return QStringLiteral("The document %@ could not be saved because the volume is read only.");
    }
}

QByteArray quoted(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    bytes.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return '"' + bytes + '"';
}

/// One table of a mebibyte in the form of a ".strings" file, with a comment before each pair, and in XML.
struct Table {
    Table()
    {
        QVariantMap map;
        for (int number = 0; text.size() < kTableBytes; ++number) {
            text += "/* Shown when saving fails. */\n" + quoted(keyOf(number)) + " = " +
                    quoted(textOf(number)) + ";\n\n";
            map.insert(keyOf(number), textOf(number));
        }
        entries = map.size();
        const auto data =
            NSPropertyListSerialization::dataFromPropertyList(map, NSPropertyListFormat::XML, nullptr);
        xml = data.value_or(QByteArray());
    }

    QByteArray text;
    QByteArray xml;
    qsizetype entries = 0;
};

const Table &table()
{
    static const Table made;
    return made;
}

void readTable(benchmark::State &state, const QByteArray &data)
{
    for (auto _ : state) {
        const PropertyLists::StringTable texts = PropertyLists::stringTableFromData(data);
        if (texts.size() != table().entries)
            std::abort();
    }
}

/// The same table in XML, read and freed by libplist.
void readWithLibplist(benchmark::State &state)
{
    const QByteArray &xml = table().xml;
    for (auto _ : state) {
        plist_t texts = nullptr;
        plist_from_xml(xml.constData(), static_cast<std::uint32_t>(xml.size()), &texts);
        if (plist_dict_get_size(texts) != static_cast<std::uint32_t>(table().entries))
            std::abort();
        plist_free(texts);
    }
}

void readKVBase(benchmark::State &state) { readTable(state, table().text); }
void readKVBaseXML(benchmark::State &state) { readTable(state, table().xml); }

BENCHMARK(readKVBase)->Name("StringTable/KVBase")->Unit(benchmark::kMillisecond);
BENCHMARK(readKVBaseXML)->Name("StringTable/KVBaseFromXML")->Unit(benchmark::kMillisecond);
BENCHMARK(readWithLibplist)->Name("StringTable/libplist")->Unit(benchmark::kMillisecond);

} // namespace
