#include <KVBase/Whirlpool.h>
#include <KVBase/Whirlpool_Hash.h>

#include <gtest/gtest.h>

#include <QtCore/QByteArray>

#include <array>
#include <cstring>

namespace KVBase
{
namespace
{

constexpr char kDigestOfEightyDigits[] = "466EF18BABB0154D25B9D38A6414F5C08784372BCCB204D6549C4AFADB601429"
                                         "4D5BD8DF2A6C44E538CD047B2681A51A2C60481E88C5A20B2C2A80CF3A9A083B";

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

const std::uint8_t *bytes(const QByteArray &data)
{
    return reinterpret_cast<const std::uint8_t *>(data.constData());
}

QString finished(WhirlpoolState *state)
{
    std::array<std::uint8_t, 64> result{};
    NESSIEfinalize(state, result.data());
    return convert(result.data(), 64);
}

QString digest(const QByteArray &source, std::uint32_t bits)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    NESSIEadd(bytes(source), bits, &state);
    return finished(&state);
}

/// Bit `index` of `data`, the most significant one of each byte first, as a source byte of one bit.
std::uint8_t bitOf(const QByteArray &data, qsizetype index)
{
    const auto byte = static_cast<std::uint8_t>(data.at(index / 8));
    return static_cast<std::uint8_t>((byte >> (7 - index % 8)) & 1);
}

TEST(WhirlpoolContractTest, IsTheSameWhereverTheMessageIsCut)
{
    const QByteArray message = QByteArray("1234567890").repeated(8);
    for (qsizetype cut = 0; cut <= 640; ++cut) {
        WhirlpoolState state;
        NESSIEinit(&state);
        const qsizetype whole = cut / 8;
        NESSIEadd(bytes(message), static_cast<std::uint32_t>(whole * 8), &state);
        for (qsizetype index = whole * 8; index < cut; ++index) {
            const std::uint8_t bit = bitOf(message, index);
            NESSIEadd(&bit, 1, &state);
        }
        // What is left, its odd bits right-aligned in a first byte of their own.
        const qsizetype left = 640 - cut;
        QByteArray rest;
        qsizetype index = cut;
        if (left % 8 != 0) {
            std::uint8_t first = 0xFF;
            for (qsizetype count = 0; count < left % 8; ++count)
                first = static_cast<std::uint8_t>(first << 1 | bitOf(message, index++));
            rest.append(static_cast<char>(first));
        }
        while (index < 640) {
            std::uint8_t byte = 0;
            for (int count = 0; count < 8; ++count)
                byte = static_cast<std::uint8_t>(byte << 1 | bitOf(message, index++));
            rest.append(static_cast<char>(byte));
        }
        NESSIEadd(bytes(rest), static_cast<std::uint32_t>(left), &state);
        ASSERT_EQ(finished(&state), text(kDigestOfEightyDigits)) << cut;
    }
}

struct BitRow {
    const char *name;
    QByteArray source;
    std::uint32_t bits;
    const char *digest;
};

TEST(WhirlpoolContractTest, TakesTheLowBitsOfTheFirstByteForARemainder)
{
    const std::vector<BitRow> rows = {
        {"a set bit", QByteArray("a"), 1,
         "E885FB2FCF439AA73818F010F1626998B100CA0C7F845517213C8B2CB8346018"
         "30CF6551E4C74C2972D7907BDB1789537BCC688CBB4AFD1EA8F4A8F9E9AE5344"},
        {"a clear bit", QByteArray("\xFE"), 1,
         "E384D540E0BDFD28C8529177343B31183FB40C20F960B0BCDCE0513A382F96A3"
         "832099EBB6AABDB71B0EA2E30177F698EA703DE51F93CF3CFEA6D3171B955383"},
        {"seven bits", QByteArray("\xFF"), 7,
         "3005149662124B5CB747BF8DA3C9DE6CB6E78DD16E350ADD1A3E1A645BA985DF"
         "0137F6F26D713EB77258F58049BDEAF1671BB9C09DA304AB4FFCCF8B4B3322EE"},
        {"thirteen bits", QByteArray("\xE9\x5A"), 13,
         "7393983278F7F54EA24AFF4B959C7CC9836813F7470578734216A75F1792F5FE"
         "4A3F2779CDEF8B6A5C06C2D624BCAB91620D7942C791FE2678F3D9C38BA35D14"},
        {"255 bits, all that fit beside the counter with the mark", QByteArray(32, '\xFF'), 255,
         "CE7136422ABB6CC904BDEE7A3CBFF2ABCF0CDA50CEA7075F5BC5A84DB7DF3652"
         "878964FBAE4F7568D415FC1667A1A5BBD9A10DA4B2C9246CB4B37FECAC4D0F89"},
        {"256 bits, one too many", QByteArray(32, '\xFF'), 256,
         "3FA9409C288DB9168376E16C6A065E55F9264BBEEAF1ED082D60AC2B2700980E"
         "88DEFCFEF53DBFEE41E013213D6C00B5A94EA316C3BA8E65A22FC47A4FFC02D0"},
        {"257 bits", QByteArray(33, '\xFF'), 257,
         "9299FC69FDAF63593A5F2E091BEBA7FF9FBAC2C60B9ECC8EF1FA1567733E443D"
         "4D6BA7763FC0C7FF87E854A111304C3FE3DEA7D0B6FF5B8E07E54D963E655F56"},
        {"511 bits", QByteArray(64, '\xFF'), 511,
         "A3CFAFC25B33576A59B91E79286CE3CC7E03647F1A44B08A7936FD0A58E320CC"
         "050E6F376D14D4AC915DBFEF61241ECD52B8AC4D3EAA2E6ADFE901E67B919909"},
        {"a whole block", QByteArray(64, '\xFF'), 512,
         "1B3390B7FF71776523ADA70F9D6A36F22C18EBC5761CBC7744791B86AF510E3F"
         "20456A2FFC5F6C90DF097104A32671D616985F38851F27FA0A5497338DF7FFCA"},
        {"a block and a bit", QByteArray(65, '\xFF'), 513,
         "F47B2E352E7E9168CAEAEC1B72EE6ABDDFC029376AE74CA5F83AA418482E3417"
         "544D4C041E94FD09C00B6586130B52835A36BFF4246D744131433765B94BA009"},
        {"a block of zeros", QByteArray(64, '\0'), 512,
         "15CFA7C1DF8E0D6753D9A9AED0642867E26BB3CF11DF7DAC96F60C274E060FDA"
         "941EC41EAFF5F7375F3839632516AE9A831D9F2FBE2BD0FF02E9CF16E99EBD03"},
    };
    for (const BitRow &row : rows)
        EXPECT_EQ(digest(row.source, row.bits), text(row.digest)) << row.name;
}

TEST(WhirlpoolContractTest, JoinsCallsOfAnyAlignment)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    NESSIEadd(bytes(QByteArray("\x05")), 3, &state);
    NESSIEadd(bytes(QByteArray("\xA3")), 8, &state);
    NESSIEadd(nullptr, 0, &state);
    NESSIEadd(bytes(QByteArray("\xE9\x5A")), 13, &state);
    NESSIEadd(bytes(QByteArray("\x01\xFF")), 9, &state);
    EXPECT_EQ(finished(&state), text("C164535357B296FC88D0505054EB3CB6E8C8F13EEFBF1203CB129BD05DA9B45C"
                                     "9952A4C12F2EF383C5828AF1B2FAA883E1BD9D64C6F6DA8401F9DD120E858845"));
}

TEST(WhirlpoolContractTest, KeepsItsPlaceInTheBuffer)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    NESSIEadd(bytes(QByteArray("\x05")), 3, &state);
    EXPECT_EQ(state.bufferBits, 3);
    EXPECT_EQ(state.bufferPos, 0);
    EXPECT_EQ(state.buffer[0] & 0xE0, 0xA0);
    NESSIEadd(bytes(QByteArray("\xFF\xFF")), 13, &state);
    EXPECT_EQ(state.bufferBits, 16);
    EXPECT_EQ(state.bufferPos, 2);
    EXPECT_EQ(state.buffer[0], 0xBF);
    EXPECT_EQ(state.buffer[1], 0xFF);
    EXPECT_EQ(state.bitLength[31], 16);
    NESSIEadd(bytes(QByteArray(62, 'x')), 496, &state);
    EXPECT_EQ(state.bufferBits, 0);
    EXPECT_EQ(state.bufferPos, 0);
    EXPECT_EQ(state.bitLength[31], 0);
    EXPECT_EQ(state.bitLength[30], 2);
    EXPECT_NE(state.hash[0], 0u);
}

TEST(WhirlpoolContractTest, CarriesThroughTheWholeCounter)
{
    for (int length = 1; length <= 32; ++length) {
        WhirlpoolState state;
        NESSIEinit(&state);
        std::memset(state.bitLength + 32 - length, 0xFF, static_cast<std::size_t>(length));
        NESSIEadd(bytes(QByteArray("a")), 8, &state);
        for (int index = 0; index < 32; ++index) {
            const int expected = index == 31 ? 7 : index == 31 - length ? 1 : 0;
            EXPECT_EQ(state.bitLength[index], expected) << length << " " << index;
        }
    }
}

struct StringRow {
    const char *name;
    QString text;
    const char *digest;
};

TEST(WhirlpoolHashContractTest, TakesItsByteCountForBits)
{
    QString withZero = text("a-b");
    withZero[1] = QChar(u'\0');
    const std::vector<StringRow> rows = {
        {"empty", text(""),
         "19FA61D75522A4669B44E39C1D2E1726C530232130D407F89AFEE0964997F7A7"
         "3E83BE698B288FEBCF88E3E03C4F0757EA8964E59B63D93708B138CC42A66EB3"},
        {"one low bit", text("a"),
         "E885FB2FCF439AA73818F010F1626998B100CA0C7F845517213C8B2CB8346018"
         "30CF6551E4C74C2972D7907BDB1789537BCC688CBB4AFD1EA8F4A8F9E9AE5344"},
        {"two low bits", text("ab"),
         "0A3C2F36E2244869229B737E11E453A7D775A7E31AD87554EBF64D99EC9848F2"
         "06B30A715CAA11F1F58C21BC9A7DB5681263EF5CE4E69307543DC846C680868A"},
        {"three low bits", text("abc"),
         "B0642740BC875D50C219186E6E5F639DE6C88C9B60BFCD4FA7D4D1A19B8291D7"
         "A342DB5B4DDF39B1C95AA5F165D95A2718925A6A00F3D0D436CB8C6EC1E6DB89"},
        {"seven low bits", text("abcdefg"),
         "A252F1C865F2B50E9B9B4FB2E6512C8748ABA5DA77084B7EEFEABDBD97038C28"
         "4AC1817FDE3DF1F029CC814B4DD9A83B511C655A8B130F4F7FCD6F8882E6CACB"},
        {"one byte", text("abcdefgh"),
         "8ACA2602792AEC6F11A67206531FB7D7F0DFF59413145E6973C45001D0087B42"
         "D11BC645413AEFF63A42391A39145A591A92200D560195E53B478584FDAE231A"},
        {"a bit and a byte", text("abcdefghi"),
         "BCDF5E634CD555715636D6AA9F58E58E1F5C5041DB6974292E157807B4D2ED5A"
         "98D947B375CFD491670F72BF21B6753112F227E54E101454847F3FC1DCFE95DB"},
        {"four bits and a byte", text("abcdefghijkl"),
         "24F3F7C652588FA63A02C9FA0B28CDDF9362A3A33AD1D61AE6A5F9D56F5E2382"
         "F86A875437F3ED506B19700C47446D70F4D1943B38E838159ACC66A431F1A0BD"},
        {"two bytes", text("abcdefghijklmnop"),
         "33E24E6CBEBF168016942DF8A7174048F9CEBC45CBD829C3B94B401A498ACB11"
         "C5ABCCA7F2A1238AAF534371E87A4E4B19758965D5A35A7CAD87CF5517043D97"},
        {"ten bytes of eighty", text("1234567890").repeated(8),
         "899B76161701A4111B36CBADD0D168E896F1E97D22B4F470331293B9D9BCE5FD"
         "6A338B64BFD640B8D78EF3A465047886527E1C250D587CA7693F46D27AE8721A"},
        {"bytes of UTF-8 are counted", text("\u00E9"),
         "1E05EB7B8E9F70DC506EC0157E72B3E2C64328AB186A45EB0522C612C36B276B"
         "1B47C7F760169A1D5E62CEF1956B1228AC2A8DA324E196C2564779E7B767465D"},
        {"up to the first zero", withZero,
         "E885FB2FCF439AA73818F010F1626998B100CA0C7F845517213C8B2CB8346018"
         "30CF6551E4C74C2972D7907BDB1789537BCC688CBB4AFD1EA8F4A8F9E9AE5344"},
        {"no UTF-8 counts as empty", QString(QChar(0xD800)),
         "19FA61D75522A4669B44E39C1D2E1726C530232130D407F89AFEE0964997F7A7"
         "3E83BE698B288FEBCF88E3E03C4F0757EA8964E59B63D93708B138CC42A66EB3"},
    };
    for (const StringRow &row : rows)
        EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(row.text), text(row.digest)) << row.name;
    EXPECT_TRUE(Whirlpool_Hash::whirlpoolHash(QString()).isNull());
}

} // namespace
} // namespace KVBase
