#include "Platform/PropertyLists/StringTable.h"

#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <gtest/gtest.h>

#include <QtCore/QStringConverter>
#include <QtCore/QVariant>

using namespace KVBase;
using PropertyLists::StringTable;
using PropertyLists::stringTableFromData;

TEST(StringTableTest, ReadsPairsCommentsAndEscapes)
{
    const struct {
        const char *text;
        StringTable table;
    } rows[] = {
        {"\"a\" = \"1\";", {{"a", "1"}}},
        {"/* c */ \"a\"=\"1\"; // d\n\"b\" = \"2\" ;", {{"a", "1"}, {"b", "2"}}},
        {"key = value;", {{"key", "value"}}},
        {"\"alone\";", {{"alone", "alone"}}},
        {"'single' = 'it\"s';", {{"single", "it\"s"}}},
        {"\"q\" = \"say \\\"hi\\\"\";", {{"q", "say \"hi\""}}},
        {"\"e\" = \"a\\nb\\tc\\rd\\\\e\";", {{"e", "a\nb\tc\rd\\e"}}},
        {"\"u\" = \"\\U00e4\\u20ac\\ud83d\\ude00\";", {{"u", QString::fromUtf8("ä€😀")}}},
        {"\"o\" = \"\\101\\x\";", {{"o", "Ax"}}},
        {"\"a\\\"b\" = \"\\\"\";", {{"a\"b", "\""}}},
        {"'it\\'s' = '\\\\';", {{"it's", "\\"}}},
        {"\"a\" = \"\\n\\\"\\n\\\"z\"; b = c;", {{"a", "\n\"\n\"z"}, {"b", "c"}}},
        {"/***/ a = b; /**/ c /*/ = x; /*/ = d;", {{"a", "b"}, {"c", "d"}}},
        {"a = b; /*/ c = d;", {{"a", "b"}}},
        {"\"n\" = \"two\nlines\";", {{"n", "two\nlines"}}},
        {"\"a\" = \"1\"; \"a\" = \"2\";", {{"a", "2"}}},
        {"\"\" = \"empty key\"; \"e\" = \"\";", {{"", "empty key"}, {"e", ""}}},
        {"\"comment /* no */\" = \"// text\";", {{"comment /* no */", "// text"}}},
        {"{ \"a\" = \"1\"; }", {{"a", "1"}}},
        {"\"list\" = (a, b); \"a\" = \"1\";", {{"a", "1"}}},
        {"", {}},
        {"/* nothing else", {}},
        {"// nothing else", {}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(stringTableFromData(row.text), row.table) << row.text;
}

TEST(StringTableTest, KeepsWhatStandsBeforeTheDamage)
{
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; \"b\" = "), (StringTable{{"a", "1"}}));
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; \"b\" \"2\"; \"c\" = \"3\";"), (StringTable{{"a", "1"}}));
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; \"b\" = \"open"), (StringTable{{"a", "1"}}));
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; \"b\" = \"open\\"), (StringTable{{"a", "1"}}));
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; \"b\" = \"open\\\""), (StringTable{{"a", "1"}}));
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\" \"b\" = \"2\";"), StringTable());
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; b = ;"), (StringTable{{"a", "1"}}));
    EXPECT_EQ(stringTableFromData("\"a\" = \"1\"; b"), (StringTable{{"a", "1"}}));
}

TEST(StringTableTest, FindsTheEncoding)
{
    const QString text = QStringLiteral("\"a\" = \"ä€\";");
    const StringTable expected{{"a", QStringLiteral("ä€")}};
    EXPECT_EQ(stringTableFromData(text.toUtf8()), expected);
    EXPECT_EQ(stringTableFromData("\xef\xbb\xbf" + text.toUtf8()), expected);
    for (const auto encoding : {QStringConverter::Utf16LE, QStringConverter::Utf16BE}) {
        QStringEncoder plain(encoding);
        EXPECT_EQ(stringTableFromData(plain(text)), expected);
        QStringEncoder marked(encoding, QStringConverter::Flag::WriteBom);
        EXPECT_EQ(stringTableFromData(marked(text)), expected);
    }
    EXPECT_EQ(stringTableFromData("\"a\" = \"\xe4\xdf\";"), (StringTable{{"a", QStringLiteral("äß")}}));
}

TEST(StringTableTest, ReadsPropertyLists)
{
    const QVariantMap map{{"a", "1"}, {"number", 2}, {"list", QVariantList{"x"}}};
    for (const auto format : {NSPropertyListFormat::XML, NSPropertyListFormat::Binary}) {
        const auto data = NSPropertyListSerialization::dataFromPropertyList(map, format, nullptr);
        EXPECT_EQ(stringTableFromData(*data), (StringTable{{"a", "1"}}));
    }
    EXPECT_EQ(stringTableFromData("<?xml version=\"1.0\"?><plist><dict><key>a</key>"), StringTable());
}

TEST(StringTableTest, GarbageHasNoEntries)
{
    quint32 seed = 99;
    for (int round = 0; round < 300; ++round) {
        QByteArray noise(200, Qt::Uninitialized);
        for (char &byte : noise) {
            seed = seed * 1664525 + 1013904223;
            byte = static_cast<char>(seed >> 13);
        }
        noise[0] = '\x01';
        EXPECT_EQ(stringTableFromData(noise), StringTable());
    }
    EXPECT_EQ(stringTableFromData(QByteArray(1000000, '{')), StringTable());
    EXPECT_EQ(stringTableFromData("\"a\" = " + QByteArray(1000000, '(')), StringTable());
    EXPECT_EQ(stringTableFromData("\"a\\"), StringTable());
}
