#include <KVBase/Platform/NSPropertyListSerialization.h>

#include "Support/StubBundles.h"
#include "Support/TestPaths.h"

#include <gtest/gtest.h>

#include <QtCore/QDateTime>
#include <QtCore/QStringConverter>
#include <QtCore/QUrl>

#include <cmath>
#include <limits>

#include <sys/stat.h>
#include <unistd.h>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

using Format = NSPropertyListFormat;

QVariant read(const QByteArray &data, Format *format = nullptr)
{
    return NSPropertyListSerialization::propertyListFromData(data, format, nullptr);
}

QByteArray xml(const QByteArray &value)
{
    return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + value + "</plist>";
}

std::optional<QByteArray> written(const QVariant &plist, Format format)
{
    return NSPropertyListSerialization::dataFromPropertyList(plist, format, nullptr);
}

QVariantMap sample()
{
    return {
        {"text", "Grüße & <b>\"x\"</b>"},
        {"empty", QStringLiteral("")},
        {"breaks", "a\r\nb\tc\n"},
        {"emoji", QString::fromUtf8("😀")},
        {"yes", true},
        {"no", false},
        {"zero", 0LL},
        {"small", -1LL},
        {"byte", 200LL},
        {"word", 40000LL},
        {"long", 3000000000LL},
        {"lowest", std::numeric_limits<qlonglong>::min()},
        {"highest", std::numeric_limits<qlonglong>::max()},
        {"unsigned", 18446744073709551615ULL},
        {"real", 0.1},
        {"data", QByteArray("\0\1\xff", 3)},
        {"noData", QByteArray("")},
        {"date", QDateTime(QDate(2026, 11, 22), QTime(0, 26, 22), Qt::UTC)},
        {"distantPast", QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC)},
        {"distantFuture", QDateTime(QDate(4001, 1, 1), QTime(0, 0), Qt::UTC)},
        {"list", QVariantList{1LL, "two", QVariantList{}, QVariantMap{}}},
        {"nested", QVariantMap{{"list", QVariantList{QVariantMap{{"deep", "leaf"}}}}}},
    };
}

} // namespace

class NSPropertyListSerializationTest : public testing::TestWithParam<Format> {};

TEST_P(NSPropertyListSerializationTest, EveryKindOfValueSurvivesTheWayThere)
{
    QString error = QStringLiteral("left");
    const auto data = NSPropertyListSerialization::dataFromPropertyList(sample(), GetParam(), &error);
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(error.isNull());

    Format format = Format::OpenStep;
    const QVariant back = NSPropertyListSerialization::propertyListFromData(*data, &format, &error);
    EXPECT_TRUE(error.isNull());
    EXPECT_EQ(format, GetParam());
    ASSERT_EQ(back.typeId(), QMetaType::QVariantMap);
    const QVariantMap expected = sample();
    for (auto entry = expected.cbegin(); entry != expected.cend(); ++entry) {
        const QVariant value = back.toMap().value(entry.key());
        EXPECT_EQ(value.typeId(), entry.value().typeId()) << qPrintable(entry.key());
        EXPECT_EQ(value, entry.value()) << qPrintable(entry.key());
    }
    EXPECT_FALSE(back.toMap().value("empty").toString().isNull());
}

TEST_P(NSPropertyListSerializationTest, RealsThatAreNoNumbersSurvive)
{
    const QVariantList list{HUGE_VAL, -HUGE_VAL, std::nan("")};
    const QVariantList back = read(*written(list, GetParam())).toList();
    ASSERT_EQ(back.size(), 3);
    EXPECT_EQ(back[0].toDouble(), HUGE_VAL);
    EXPECT_EQ(back[1].toDouble(), -HUGE_VAL);
    EXPECT_TRUE(std::isnan(back[2].toDouble()));
}

TEST_P(NSPropertyListSerializationTest, OtherWidthsAndContainersCountAsTheirNearestKind)
{
    const QVariantMap back = read(*written(QVariantMap{{"int", 7},
                                                       {"unsigned", 7u},
                                                       {"float", 0.5f},
                                                       {"strings", QStringList{"a", "b"}},
                                                       {"hash", QVariantHash{{"k", 1}}}},
                                           GetParam()))
                                 .toMap();
    EXPECT_EQ(back.value("int"), QVariant(7LL));
    EXPECT_EQ(back.value("int").typeId(), QMetaType::LongLong);
    EXPECT_EQ(back.value("unsigned").typeId(), QMetaType::LongLong);
    EXPECT_EQ(back.value("float").typeId(), QMetaType::Double);
    EXPECT_EQ(back.value("strings"), QVariant(QVariantList{"a", "b"}));
    EXPECT_EQ(back.value("hash"), QVariant(QVariantMap{{"k", 1LL}}));
}

TEST_P(NSPropertyListSerializationTest, ValuesThatNoListCanHoldAreRefusedWithASentence)
{
    const QVariantList refused{QVariant(), QVariant(QString()), QUrl(QStringLiteral("http://x")),
                               QDateTime()};
    for (const QVariant &value : refused) {
        QString error;
        EXPECT_FALSE(
            NSPropertyListSerialization::dataFromPropertyList(QVariantMap{{"k", value}}, GetParam(), &error));
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST_P(NSPropertyListSerializationTest, FiveHundredAndTwelveLevelsAreTheLimit)
{
    QVariant deep = QStringLiteral("leaf");
    for (int level = 1; level < 512; ++level)
        deep = QVariantList{deep};
    const auto data = written(deep, GetParam());
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(read(*data), deep);
    EXPECT_FALSE(written(QVariantList{deep}, GetParam()).has_value());
}

TEST_P(NSPropertyListSerializationTest, ManyObjectsNeedWideReferences)
{
    QVariantList list;
    for (qlonglong number = 0; number < 70000; ++number)
        list.append(number);
    EXPECT_EQ(read(*written(list, GetParam())).toList(), list);
}

TEST_P(NSPropertyListSerializationTest, NoTruncationIsReadAsAWhole)
{
    const QByteArray data = *written(sample(), GetParam());
    for (qsizetype length = 0; length < data.trimmed().size(); ++length)
        EXPECT_FALSE(read(data.left(length)).isValid()) << "cut to " << length;
}

TEST_P(NSPropertyListSerializationTest, DamagedBytesNeverCrash)
{
    const QByteArray data = *written(sample(), GetParam());
    quint32 seed = 12345;
    for (int round = 0; round < 3000; ++round) {
        QByteArray damaged = data;
        for (int hit = 0; hit < 3; ++hit) {
            seed = seed * 1664525 + 1013904223;
            damaged[static_cast<qsizetype>(seed >> 8) % damaged.size()] = static_cast<char>(seed >> 3);
        }
        QString error;
        const QVariant plist = NSPropertyListSerialization::propertyListFromData(damaged, nullptr, &error);
        EXPECT_EQ(plist.isValid(), error.isNull());
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, NSPropertyListSerializationTest,
                         testing::Values(Format::XML, Format::Binary));

TEST(NSPropertyListSerializationXMLTest, ReadsWhatOthersWrite)
{
    const struct {
        QByteArray element;
        QVariant value;
    } rows[] = {
        {"<string/>", QStringLiteral("")},
        {"<string> blanks stay </string>", " blanks stay "},
        {"<string><![CDATA[<raw> & data]]></string>", "<raw> & data"},
        {"<string>&lt;&#65;&#x42;&amp;</string>", "<AB&"},
        {"<integer> 42 </integer>", 42LL},
        {"<integer>+7</integer>", 7LL},
        {"<integer>0x1F</integer>", 31LL},
        {"<integer>-0x10</integer>", -16LL},
        {"<integer>-9223372036854775808</integer>", std::numeric_limits<qlonglong>::min()},
        {"<integer>9223372036854775808</integer>", 9223372036854775808ULL},
        {"<real>1e3</real>", 1000.0},
        {"<true/>", true},
        {"<false></false>", false},
        {"<data>\n\tAAEC\n\t/w==\n</data>", QByteArray("\0\1\2\xff", 4)},
        {"<date>2009-02-13T23:31:30Z</date>", QDateTime(QDate(2009, 2, 13), QTime(23, 31, 30), Qt::UTC)},
        {"<date>1-01-01T00:00:00Z</date>", QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC)},
        {"<!-- note --><array><!-- </array> --><true/></array>", QVariantList{true}},
        {"<dict><key>a</key><integer>1</integer><key>a</key><integer>2</integer></dict>",
         QVariantMap{{"a", 2LL}}},
    };
    for (const auto &row : rows) {
        const QVariant value = read(xml(row.element));
        EXPECT_EQ(value, row.value) << row.element.constData();
        EXPECT_EQ(value.typeId(), row.value.typeId()) << row.element.constData();
    }
}

TEST(NSPropertyListSerializationXMLTest, RefusesWhatDoesNotFollowItsForm)
{
    const QByteArray rows[] = {
        "",
        "<integer></integer>",
        "<integer>forty</integer>",
        "<integer>1.5</integer>",
        "<integer>--1</integer>",
        "<integer>18446744073709551616</integer>",
        "<integer>-9223372036854775809</integer>",
        "<real>much</real>",
        "<date>yesterday</date>",
        "<date>2009-02-30T00:00:00Z</date>",
        "<date>2009-02-13T25:00:00Z</date>",
        "<data>***</data>",
        "<true>x</true>",
        "<unknown>x</unknown>",
        "<string>a<b/></string>",
        "<string>a\x01</string>",
        "<string>a\xff</string>",
        "<string>&unknown;</string>",
        "<dict><key>a</key></dict>",
        "<dict><string>a</string></dict>",
        "<dict><key>a</key><key>b</key></dict>",
        "<array>text<true/></array>",
        "<array><true/>",
        "<true/><true/>",
        "<true/>text",
    };
    for (const QByteArray &row : rows) {
        QString error;
        EXPECT_FALSE(NSPropertyListSerialization::propertyListFromData(xml(row), nullptr, &error).isValid())
            << row.constData();
        EXPECT_FALSE(error.isEmpty()) << row.constData();
    }
}

TEST(NSPropertyListSerializationXMLTest, RefusesEntityDeclarations)
{
    const QByteArray laughs =
        "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;\">]>"
        "<plist version=\"1.0\"><string>&b;</string></plist>";
    EXPECT_FALSE(read(laughs).isValid());
}

TEST(NSPropertyListSerializationXMLTest, ReadsOtherEncodings)
{
    const QString text =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"%1\"?><plist><string>ä</string></plist>");
    EXPECT_EQ(read(text.arg("ISO-8859-1").toLatin1()).toString(), QStringLiteral("ä"));
    QStringEncoder utf16(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
    EXPECT_EQ(read(utf16(text.arg("UTF-16"))).toString(), QStringLiteral("ä"));
    EXPECT_EQ(read("\xef\xbb\xbf" + text.arg("UTF-8").toUtf8()).toString(), QStringLiteral("ä"));
}

TEST(NSPropertyListSerializationXMLTest, AMillionLevelsAreRefused)
{
    const int levels = 1000000;
    QByteArray open;
    QByteArray close;
    for (int level = 0; level < levels; ++level) {
        open += "<array>";
        close += "</array>";
    }
    EXPECT_FALSE(read(xml(open + close)).isValid());
}

TEST(NSPropertyListSerializationXMLTest, RefusesToWriteCharactersThatXMLDoesNotHave)
{
    EXPECT_FALSE(written(QString(QChar(1)), Format::XML).has_value());
    EXPECT_FALSE(written(QVariantMap{{QString(QChar(2)), 1}}, Format::XML).has_value());
    EXPECT_FALSE(written(QString(QChar(0xd800)), Format::XML).has_value());
    EXPECT_EQ(read(*written(QString(QChar(1)), Format::Binary)).toString(), QString(QChar(1)));
}

TEST(NSPropertyListSerializationXMLTest, WritesTheUsualForm)
{
    EXPECT_EQ(
        *written(QVariantMap{{"a", QVariantList{1, true}}, {"b", "<"}}, Format::XML),
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n<dict>\n\t<key>a</key>\n\t<array>\n\t\t<integer>1</integer>\n\t\t<true/>\n"
        "\t</array>\n\t<key>b</key>\n\t<string>&lt;</string>\n</dict>\n</plist>\n");
}

namespace
{

/// A binary list of objects given as bytes, the first being the top one; references and offsets take one
/// byte.
QByteArray binary(const QList<QByteArray> &objects)
{
    QByteArray data = "bplist00";
    QByteArray table;
    for (const QByteArray &object : objects) {
        table.append(static_cast<char>(data.size()));
        data += object;
    }
    const auto tableOffset = static_cast<char>(data.size());
    data += table + QByteArray(6, '\0') + "\x01\x01" + QByteArray(7, '\0') +
            static_cast<char>(objects.size()) + QByteArray(8, '\0') + QByteArray(7, '\0') + tableOffset;
    return data;
}

} // namespace

TEST(NSPropertyListSerializationBinaryTest, ReadsWhatOthersWrite)
{
    EXPECT_EQ(read(binary({"\x09"})), QVariant(true));
    EXPECT_EQ(read(binary({QByteArray("\x10\xff", 2)})), QVariant(255LL));
    EXPECT_EQ(read(binary({QByteArray("\x13\xff\xff\xff\xff\xff\xff\xff\xfe", 9)})), QVariant(-2LL));
    EXPECT_EQ(read(binary({QByteArray("\x14\0\0\0\0\0\0\0\0\x80\0\0\0\0\0\0\0", 17)})),
              QVariant(9223372036854775808ULL));
    EXPECT_EQ(read(binary({QByteArray("\x22\x3f\x00\x00\x00", 5)})), QVariant(0.5));
    EXPECT_EQ(read(binary({QByteArray("\x33\0\0\0\0\0\0\0\0", 9)})),
              QVariant(QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC)));
    EXPECT_EQ(read(binary({QByteArray("\x61\x00\xe4", 3)})), QVariant(QStringLiteral("ä")));
    // One text, used twice.
    EXPECT_EQ(read(binary({QByteArray("\xa2\x01\x01", 3), QByteArray("\x51z", 2)})),
              QVariant(QVariantList{"z", "z"}));
}

TEST(NSPropertyListSerializationBinaryTest, RefusesWhatIsDamaged)
{
    const struct {
        const char *what;
        QByteArray data;
    } rows[] = {
        {"a header alone", "bplist00"},
        {"a list that holds itself", binary({QByteArray("\xa1\x00", 2)})},
        {"a cycle of two", binary({QByteArray("\xa1\x01", 2), QByteArray("\xa1\x00", 2)})},
        {"a reference to nothing", binary({QByteArray("\xa1\x07", 2)})},
        {"a key that is a number", binary({QByteArray("\xd1\x01\x01", 3), QByteArray("\x10\x01", 2)})},
        {"an unknown kind", binary({"\x70"})},
        {"a set", binary({QByteArray("\xc0", 1)})},
        {"null", binary({QByteArray("\x00", 1)})},
        {"a text longer than the file", binary({QByteArray("\x5f\x13\x7f\xff\xff\xff\xff\xff\xff\xff", 10)})},
        {"an array longer than the file", binary({QByteArray("\xaf\x12\xff\xff\xff\xff", 6)})},
        {"a date that is not a number", binary({QByteArray("\x33\x7f\xf8\0\0\0\0\0\0", 9)})},
        {"an integer beyond 64 bits", binary({QByteArray("\x14\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\0", 17)})},
    };
    for (const auto &row : rows)
        EXPECT_FALSE(read(row.data).isValid()) << row.what;
}

TEST(NSPropertyListSerializationBinaryTest, SharedListsThatGrowWithoutBoundAreRefused)
{
    QList<QByteArray> objects;
    for (char level = 1; level < 16; ++level)
        objects.append(QByteArray("\xaa", 1) + QByteArray(10, level));
    objects.append(QByteArray("\x09", 1));
    EXPECT_FALSE(read(binary(objects)).isValid());
    EXPECT_TRUE(
        read(binary({QByteArray("\xa2\x01\x01", 3), QByteArray("\xa2\x02\x02", 3), "\x09"})).isValid());
}

TEST(NSPropertyListSerializationOpenStepTest, ReadsBracesAndEqualSigns)
{
    Format format = Format::XML;
    const QVariant plist =
        read("// note\n{ name = Tool; \"two words\" = (a, \"b c\", <00 ff>,); /* x */ sub = { k = v; }; }",
             &format);
    EXPECT_EQ(format, Format::OpenStep);
    EXPECT_EQ(plist, QVariant(QVariantMap{{"name", "Tool"},
                                          {"two words", QVariantList{"a", "b c", QByteArray("\0\xff", 2)}},
                                          {"sub", QVariantMap{{"k", "v"}}}}));
}

TEST(NSPropertyListSerializationOpenStepTest, RefusesWhatIsNoList)
{
    for (const char *text : {"", "   ", "garbage", "this is no list", "{ a = 1", "( a, b", "{ a = ; }", "<0>",
                             "<zz>", "\"open", "{ a = b; } tail", "\x01\x02\x03"})
        EXPECT_FALSE(read(text).isValid()) << text;
    EXPECT_FALSE(read(QByteArray(1000000, '(')).isValid());
    EXPECT_FALSE(read(QByteArray(100000, '\0')).isValid());
}

TEST(NSPropertyListSerializationOpenStepTest, IsNotWritten)
{
    QString error;
    EXPECT_FALSE(NSPropertyListSerialization::dataFromPropertyList(QVariantMap(), Format::OpenStep, &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(NSPropertyListSerializationFileTest, KeepsTheOutputFormatOnFailure)
{
    Format format = Format::Binary;
    EXPECT_FALSE(read("garbage in here", &format).isValid());
    EXPECT_EQ(format, Format::Binary);
}

TEST(NSPropertyListSerializationFileTest, WritesAndReadsFiles)
{
    const QString path = scratchFolder() + QStringLiteral("/list.plist");
    ASSERT_TRUE(NSPropertyListSerialization::writeToFile(QVariantMap{{"a", 1}}, path));
    EXPECT_TRUE(readFile(path).startsWith("<?xml"));
    EXPECT_EQ(NSPropertyListSerialization::dictionaryWithContentsOfFile(path), (QVariantMap{{"a", 1LL}}));

    EXPECT_FALSE(NSPropertyListSerialization::writeToFile(QVariantMap{{"a", QVariant()}}, path));
    EXPECT_EQ(NSPropertyListSerialization::dictionaryWithContentsOfFile(path), (QVariantMap{{"a", 1LL}}));
    EXPECT_FALSE(
        NSPropertyListSerialization::writeToFile(QVariantMap(), QStringLiteral("/nowhere/list.plist")));
    EXPECT_FALSE(NSPropertyListSerialization::writeToFile(QVariantMap(), QString()));
}

TEST(NSPropertyListSerializationFileTest, OnlyADictionaryInARegularFileIsADictionary)
{
    const QString folder = scratchFolder();
    NSPropertyListSerialization::writeToFile(QVariantList{1}, folder + QStringLiteral("/array.plist"));
    const QString fifo = folder + QStringLiteral("/fifo.plist");
    ::mkfifo(QFile::encodeName(fifo).constData(), 0600);
    const QString huge = folder + QStringLiteral("/huge.plist");
    QFile(huge).resize(0);
    {
        QFile file(huge);
        file.open(QIODevice::WriteOnly);
        file.resize(qint64{1} << 40);
    }
    for (const QString &path :
         {folder + QStringLiteral("/array.plist"), fifo, huge, folder,
          folder + QStringLiteral("/missing.plist"), QString(), QStringLiteral("/dev/zero")})
        EXPECT_FALSE(NSPropertyListSerialization::dictionaryWithContentsOfFile(path).has_value())
            << qPrintable(path);
}
