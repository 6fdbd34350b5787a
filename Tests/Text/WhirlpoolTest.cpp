#include <KVBase/Whirlpool.h>
#include <KVBase/Whirlpool_Hash.h>

#include <gtest/gtest.h>

#include <QtCore/QByteArray>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <type_traits>
#include <unistd.h>

namespace KVBase
{
namespace
{

constexpr char kEmptyDigest[] = "19FA61D75522A4669B44E39C1D2E1726C530232130D407F89AFEE0964997F7A7"
                                "3E83BE698B288FEBCF88E3E03C4F0757EA8964E59B63D93708B138CC42A66EB3";
constexpr char kDigestOfA[] = "8ACA2602792AEC6F11A67206531FB7D7F0DFF59413145E6973C45001D0087B42"
                              "D11BC645413AEFF63A42391A39145A591A92200D560195E53B478584FDAE231A";

std::string finished(WhirlpoolState *state)
{
    std::uint8_t digest[64];
    NESSIEfinalize(state, digest);
    return convert(digest, 64).toStdString();
}

const std::uint8_t *bytesOf(const std::string &text)
{
    return reinterpret_cast<const std::uint8_t *>(text.data());
}

std::string digestOfBits(const std::string &source, std::uint32_t bits)
{
    WhirlpoolState state;
    std::memset(&state, 0xA5, sizeof state);
    NESSIEinit(&state);
    NESSIEadd(bytesOf(source), bits, &state);
    return finished(&state);
}

std::string digestOf(const std::string &message)
{
    return digestOfBits(message, static_cast<std::uint32_t>(message.size() * 8));
}

struct Vector {
    std::string message;
    const char *digest;
};

TEST(WhirlpoolTest, GivesThePublishedDigests)
{
    const Vector vectors[] = {
        {"", kEmptyDigest},
        {"a", kDigestOfA},
        {"abc", "4E2448A4C6F486BB16B6562C73B4020BF3043E3A731BCE721AE1B303D97E6D4C"
                "7181EEBDB6C57E277D0E34957114CBD6C797FC9D95D8B582D225292076D4EEF5"},
        {"message digest", "378C84A4126E2DC6E56DCC7458377AAC838D00032230F53CE1F5700C0FFB4D3B"
                           "8421557659EF55C106B4B52AC5A4AAA692ED920052838F3362E86DBD37A8903E"},
        {"abcdefghijklmnopqrstuvwxyz", "F1D754662636FFE92C82EBB9212A484A8D38631EAD4238F5442EE13B8054E41B"
                                       "08BF2A9251C30B6A0B8AAE86177AB4A6F68F673E7207865D5D9819A3DBA4EB3B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "DC37E008CF9EE69BF11F00ED9ABA26901DD7C28CDEC066CC6AF42E40F82F3A1E"
         "08EBA26629129D8FB7CB57211B9281A65517CC879D7B962142C65F5A7AF01467"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "466EF18BABB0154D25B9D38A6414F5C08784372BCCB204D6549C4AFADB601429"
         "4D5BD8DF2A6C44E538CD047B2681A51A2C60481E88C5A20B2C2A80CF3A9A083B"},
        {"abcdbcdecdefdefgefghfghighijhijk",
         "2A987EA40F917061F5D6F0A0E4644F488A7A5A52DEEE656207C562F988E95C69"
         "16BDC8031BC5BE1B7B947639FE050B56939BAAA0ADFF9AE6745B7B181C3BE3FD"},
        {std::string(1000000, 'a'), "0C99005BEB57EFF50A7CF005560DDF5D29057FD86B20BFD62DECA0F1CCEA4AF5"
                                    "1FC15490EDDC47AF32BB2B66C34FF9AD8C6008AD677F77126953B226E4ED8B01"},
    };
    for (const Vector &vector : vectors)
        EXPECT_EQ(digestOf(vector.message), vector.digest) << vector.message.substr(0, 40);
}

// Computed with another library's block function on blocks padded by hand.
TEST(WhirlpoolTest, PadsAtEveryBorderOfTheBlock)
{
    const Vector vectors[] = {
        {std::string(31, 'x'), "797C14F03584A2B65A03D3F1F9A337F9C109D463C8D822723FC80E07FAAAE95C"
                               "366035F5F5A1474813818E03C6C12D04136BC630001A465C932E99D65EAE8C35"},
        {std::string(32, 'x'), "C0A5E7E8964ADDE9B543BFAB118C9D7962D70D74EDD5E1E1BBFB173AC0F8C959"
                               "22E65A282480FAFA0FA698EEED82E5D57AF2B46FA7FBB6F868D4A6FA57960FF3"},
        {std::string(33, 'x'), "DFC44AF7392B4ED8EE7E39FB72A64E4B7307A49ABCC490221E7116199125F11F"
                               "F3000DF5A870935D8BAF0D1BCA9C4FB66852D0EACB94D1E12290C672CD9B68BD"},
        {std::string(63, 'x'), "193C4EDBB9DBA0AEC8D524A19287F03A10141DF638A7C1A1F4495164C0D2E3DE"
                               "2D607160AFEA6AD10B410B5125EE7CF4E54D1009F580CE5321D2AE75B4DABE1E"},
        {std::string(64, 'x'), "24922B3AF68625C1CFFF57682513B0F33D74DA807FE921E7B63CFB656F1F22FD"
                               "CD7F057AF9A72C019D718EDEBABF2C82703F68C2C74FFD38E44B913260BCB7F9"},
    };
    for (const Vector &vector : vectors)
        EXPECT_EQ(digestOf(vector.message), vector.digest) << vector.message.size();
}

struct ZeroBits {
    std::uint32_t count;
    const char *digest;
};

TEST(WhirlpoolTest, DigestsAnyNumberOfBits)
{
    const ZeroBits rows[] = {
        {1, "E384D540E0BDFD28C8529177343B31183FB40C20F960B0BCDCE0513A382F96A3"
            "832099EBB6AABDB71B0EA2E30177F698EA703DE51F93CF3CFEA6D3171B955383"},
        {255, "8432020A603DD464CBA39312AADFCD85D5C1197F960D942F6867190D521E5089"
              "C0789B0C60361DAFB0984CB287A1DE7BD9E2240CCE1A592CAF8753A23114E869"},
        {256, "961B5F299F750F880FCA004BDF2882E2FE1B491B0C0EE7E2B514C5DFDD53292D"
              "BDBEE17E6D3BB5824CDEC1867CC7090963BE8FFF0C1D8ED5864E07CACB50D68A"},
        {257, "33A74ADE72B92472447035930455DC111BCD4A2D3C61358695A0D868333025BE"
              "2C54121354326083451057944114F99E9AE05FDA919092A78F22C761354AD0FE"},
        {511, "B9D19DE07ACC38C241D11D8D6FCA817C347875BCA73F5F38CE4E0FF1D3F32D82"
              "69666FCD34BBBAC2F24CC63256E6CF9F738A9672A9A8B613C625848CAC4BBE84"},
        {512, "15CFA7C1DF8E0D6753D9A9AED0642867E26BB3CF11DF7DAC96F60C274E060FDA"
              "941EC41EAFF5F7375F3839632516AE9A831D9F2FBE2BD0FF02E9CF16E99EBD03"},
        {513, "5F46CEC362D7DB53EE93768AC59E2891F16999241DEF2D38E696B9C6C470F0D9"
              "68C7C997CB6EFD66497DBB3ECEE0E502C0B915F8D0F47502D85135FD0C9F986D"},
        {1023, "BA1F1AB4572FED30B77E651B0ECE6FD6C68296E92A8121550B08606FB0DF72C8"
               "604D5A593252C27EF985740C27AE43361A439F8E966C3BCF4B757E533E13A4B8"},
    };
    const std::string zeros(128, '\0');
    for (const ZeroBits &row : rows)
        EXPECT_EQ(digestOfBits(zeros, row.count), row.digest) << row.count;
}

TEST(WhirlpoolTest, TakesTheLowBitsOfTheFirstByte)
{
    constexpr char oneBit[] = "E885FB2FCF439AA73818F010F1626998B100CA0C7F845517213C8B2CB8346018"
                              "30CF6551E4C74C2972D7907BDB1789537BCC688CBB4AFD1EA8F4A8F9E9AE5344";
    EXPECT_EQ(digestOfBits("\x01", 1), oneBit);
    EXPECT_EQ(digestOfBits("\xff", 1), oneBit);
    EXPECT_EQ(digestOfBits("a", 3), "B0642740BC875D50C219186E6E5F639DE6C88C9B60BFCD4FA7D4D1A19B8291D7"
                                    "A342DB5B4DDF39B1C95AA5F165D95A2718925A6A00F3D0D436CB8C6EC1E6DB89");
    EXPECT_EQ(digestOfBits("ab", 12), "24F3F7C652588FA63A02C9FA0B28CDDF9362A3A33AD1D61AE6A5F9D56F5E2382"
                                      "F86A875437F3ED506B19700C47446D70F4D1943B38E838159ACC66A431F1A0BD");
    EXPECT_EQ(digestOfBits("qb", 12), digestOfBits("ab", 12));
}

/// The message of the bits of "abc...", cut into calls of the given number of bits.
std::string digestInSteps(const std::string &message, std::uint32_t step)
{
    std::string bits;
    for (const char byte : message) {
        for (int bit = 7; bit >= 0; --bit)
            bits += ((static_cast<unsigned char>(byte) >> bit) & 1) != 0 ? '1' : '0';
    }
    WhirlpoolState state;
    NESSIEinit(&state);
    for (std::size_t at = 0; at < bits.size(); at += step) {
        const std::string part = bits.substr(at, step);
        // The first byte holds the odd bits at its low end.
        const std::string padded = std::string((8 - part.size() % 8) % 8, '0') + part;
        std::string source;
        for (std::size_t i = 0; i < padded.size(); i += 8)
            source += static_cast<char>(std::stoi(padded.substr(i, 8), nullptr, 2));
        NESSIEadd(bytesOf(source), static_cast<std::uint32_t>(part.size()), &state);
    }
    return finished(&state);
}

TEST(WhirlpoolTest, DoesNotDependOnHowTheMessageIsCut)
{
    std::string message;
    for (int i = 0; i < 200; ++i)
        message += static_cast<char>(i * 7 + 3);
    const std::string whole = digestOf(message);
    for (const std::uint32_t step :
         {1u, 2u, 3u, 5u, 7u, 8u, 9u, 13u, 63u, 64u, 65u, 255u, 511u, 512u, 513u, 520u, 1001u})
        EXPECT_EQ(digestInSteps(message, step), whole) << step;
}

TEST(WhirlpoolTest, GoesOnFromAnOddNumberOfBits)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    const std::string zeros(128, '\0');
    NESSIEadd(bytesOf(zeros), 3, &state);
    EXPECT_EQ(state.bufferBits, 3);
    EXPECT_EQ(state.bufferPos, 0);
    NESSIEadd(bytesOf(zeros), 504, &state);
    EXPECT_EQ(state.bufferBits, 507);
    EXPECT_EQ(state.bufferPos, 63);
    NESSIEadd(bytesOf(zeros), 5, &state);
    EXPECT_EQ(state.bufferBits, 0);
    EXPECT_EQ(state.bufferPos, 0);
    NESSIEadd(bytesOf(zeros), 511, &state);
    EXPECT_EQ(finished(&state), "BA1F1AB4572FED30B77E651B0ECE6FD6C68296E92A8121550B08606FB0DF72C8"
                                "604D5A593252C27EF985740C27AE43361A439F8E966C3BCF4B757E533E13A4B8");
}

TEST(WhirlpoolTest, TakesNothingForZeroBits)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    NESSIEadd(nullptr, 0, &state);
    EXPECT_EQ(finished(&state), kEmptyDigest);
}

TEST(WhirlpoolTest, InitializesWhatItSaysAndCountsBits)
{
    WhirlpoolState state;
    std::memset(&state, 0xFF, sizeof state);
    NESSIEinit(&state);
    EXPECT_TRUE(std::all_of(std::begin(state.bitLength), std::end(state.bitLength),
                            [](auto byte) { return byte == 0; }));
    EXPECT_TRUE(
        std::all_of(std::begin(state.hash), std::end(state.hash), [](auto word) { return word == 0; }));
    EXPECT_EQ(state.bufferBits, 0);
    EXPECT_EQ(state.bufferPos, 0);
    EXPECT_EQ(state.buffer[0], 0);
    const std::string zeros(64, '\0');
    NESSIEadd(bytesOf(zeros), 300, &state);
    EXPECT_EQ(state.bitLength[31], 0x2C);
    EXPECT_EQ(state.bitLength[30], 0x01);
    EXPECT_EQ(state.bufferBits, 300);
    EXPECT_EQ(state.bufferPos, 37);
}

TEST(WhirlpoolTest, CarriesThroughTheWholeCounter)
{
    WhirlpoolState state;
    NESSIEinit(&state);
    std::memset(state.bitLength, 0xFF, sizeof state.bitLength);
    state.bitLength[0] = 0x12;
    NESSIEadd(bytesOf("\x01"), 1, &state);
    EXPECT_EQ(state.bitLength[0], 0x13);
    EXPECT_TRUE(std::all_of(state.bitLength + 1, state.bitLength + 32, [](auto byte) { return byte == 0; }));
    std::memset(state.bitLength, 0xFF, sizeof state.bitLength);
    NESSIEadd(bytesOf("\x01"), 1, &state);
    EXPECT_TRUE(std::all_of(state.bitLength, state.bitLength + 32, [](auto byte) { return byte == 0; }));
}

TEST(WhirlpoolTest, KeepsTheFieldsInOrder)
{
    EXPECT_TRUE(std::is_standard_layout_v<WhirlpoolState> && std::is_trivial_v<WhirlpoolState>);
    EXPECT_EQ(offsetof(WhirlpoolState, bitLength), 0u);
    EXPECT_EQ(offsetof(WhirlpoolState, buffer), 32u);
    EXPECT_EQ(offsetof(WhirlpoolState, bufferBits), 96u);
    EXPECT_EQ(offsetof(WhirlpoolState, bufferPos), 100u);
    EXPECT_EQ(offsetof(WhirlpoolState, hash), 104u);
    EXPECT_EQ(sizeof(WhirlpoolState), 168u);
}

/// Bytes that end where memory that must not be read begins.
class GuardedBytes {
public:
    explicit GuardedBytes(std::size_t bytes)
        : page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          memory(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)),
          count(bytes)
    {
        mprotect(static_cast<char *>(memory) + page, page, PROT_NONE);
    }
    ~GuardedBytes() { munmap(memory, 2 * page); }
    const std::uint8_t *data() const { return static_cast<const std::uint8_t *>(memory) + page - count; }

private:
    std::size_t page;
    void *memory;
    std::size_t count;
};

TEST(WhirlpoolTest, ReadsNoByteTooMany)
{
    for (std::uint32_t bits = 1; bits < 1100; ++bits) {
        const GuardedBytes source((bits + 7) / 8);
        for (const std::uint32_t before : {0u, 1u}) {
            WhirlpoolState state;
            NESSIEinit(&state);
            NESSIEadd(bytesOf("\0"), before, &state);
            NESSIEadd(source.data(), bits, &state);
            EXPECT_EQ(state.bufferBits, static_cast<std::int32_t>((before + bits) % 512));
        }
    }
}

TEST(WhirlpoolTest, DigestsTheLargestCountInOneCall)
{
    constexpr std::size_t bytes = std::size_t{1} << 29;
    void *zeros = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    WhirlpoolState state;
    NESSIEinit(&state);
    NESSIEadd(static_cast<const std::uint8_t *>(zeros), 0xFFFFFFFFu, &state);
    munmap(zeros, bytes);
    EXPECT_EQ(finished(&state), "5F92A722EC7E2185A14BF0604879D9BB994A238DDE4715CDF0143D0DBC60EA19"
                                "A7C0B367B67CE1C727356F4D6B62E8938DFB4788D6A0C72A0D1C62099F62C04C");
}

TEST(WhirlpoolTest, ConvertsBytesToUpperCaseDigits)
{
    const std::uint8_t bytes[] = {0x00, 0x0F, 0xA5, 0xFF};
    EXPECT_EQ(convert(bytes, 4), QStringLiteral("000FA5FF"));
    EXPECT_EQ(convert(bytes, 1), QStringLiteral("00"));
    for (const std::int32_t count : {0, -1}) {
        const QString text = convert(bytes, count);
        EXPECT_TRUE(text.isEmpty());
        EXPECT_FALSE(text.isNull());
    }
    EXPECT_FALSE(convert(nullptr, 0).isNull());
}

struct TextDigest {
    const char *text;
    const char *digest;
};

TEST(WhirlpoolHashTest, TakesTheByteCountForBits)
{
    const TextDigest rows[] = {
        {"", kEmptyDigest},
        {"abcdefgh", kDigestOfA},
        {"aBCDEFGH", kDigestOfA},
        {"ab", "0A3C2F36E2244869229B737E11E453A7D775A7E31AD87554EBF64D99EC9848F2"
               "06B30A715CAA11F1F58C21BC9A7DB5681263EF5CE4E69307543DC846C680868A"},
        {"abc", "B0642740BC875D50C219186E6E5F639DE6C88C9B60BFCD4FA7D4D1A19B8291D7"
                "A342DB5B4DDF39B1C95AA5F165D95A2718925A6A00F3D0D436CB8C6EC1E6DB89"},
        {"abcdefghijkl", "24F3F7C652588FA63A02C9FA0B28CDDF9362A3A33AD1D61AE6A5F9D56F5E2382"
                         "F86A875437F3ED506B19700C47446D70F4D1943B38E838159ACC66A431F1A0BD"},
        {"abcdefghijklmnopqrstuvwx", "4E2448A4C6F486BB16B6562C73B4020BF3043E3A731BCE721AE1B303D97E6D4C"
                                     "7181EEBDB6C57E277D0E34957114CBD6C797FC9D95D8B582D225292076D4EEF5"},
    };
    for (const TextDigest &row : rows)
        EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(QString::fromUtf8(row.text)).toStdString(), row.digest)
            << row.text;
}

TEST(WhirlpoolHashTest, AnswersNilForNil) { EXPECT_TRUE(Whirlpool_Hash::whirlpoolHash(QString()).isNull()); }

TEST(WhirlpoolHashTest, EndsAtNul)
{
    EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(QStringLiteral("abcdefgh") + QChar(0) + QStringLiteral("i"))
                  .toStdString(),
              kDigestOfA);
    EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(QString(QChar(0))).toStdString(), kEmptyDigest);
}

TEST(WhirlpoolHashTest, TakesTextWithoutUtf8AsEmpty)
{
    EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(QStringLiteral("abcdefgh") + QChar(0xdc00)).toStdString(),
              kEmptyDigest);
}

TEST(WhirlpoolHashTest, CountsUtf8Bytes)
{
    // Four characters of two bytes each make eight bits of the first byte, 0xC3.
    const QString text(4, QChar(0xe9));
    EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(text).toStdString(), digestOfBits("\xc3", 8));
}

} // namespace
} // namespace KVBase
