#include "Platform/Services/Interfaces.h"
#include "Support/CapturedLog.h"

#include <KVBase/MacAddress.h>

#include <gtest/gtest.h>

#include <QtCore/QMap>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

/// Interfaces of the test's making. A controller is named after its interface.
struct StubInterfaces : Interfaces {
    Matching kind = Matching::PrimaryEthernet;
    bool narrowed = true;
    std::int32_t listStatus = 0;
    std::vector<Entry> names;
    QMap<QString, std::int32_t> parentStatus;
    QMap<QString, QByteArray> addresses;
    std::vector<Matching> asked;
    QStringList calls;

    Matching matching(bool *dictionaryMade) override
    {
        if (dictionaryMade != nullptr)
            *dictionaryMade = narrowed;
        return kind;
    }

    std::int32_t list(Matching matching, std::vector<Entry> *interfaces) override
    {
        asked.push_back(matching);
        if (listStatus == 0)
            *interfaces = names;
        return listStatus;
    }

    Entry controller(const Entry &interface, std::int32_t *status) override
    {
        calls.append(QStringLiteral("parent of ") + interface);
        *status = parentStatus.value(interface);
        return *status == 0 ? QStringLiteral("controller of ") + interface : Entry();
    }

    std::optional<QByteArray> address(const Entry &controller) override
    {
        calls.append(controller);
        const QString name = controller.mid(14);
        if (!addresses.contains(name))
            return std::nullopt;
        return addresses.value(name);
    }
};

QByteArray hex(const char *digits) { return QByteArray::fromHex(digits); }

/// The console lines that the framework words itself; what shows the property is the platform's.
QStringList worded(const CapturedLog &log)
{
    QStringList result;
    for (const QString &line : log.lines())
        if (line.endsWith(QLatin1Char('\n')))
            result.append(line);
    return result;
}

QString line(const char *utf8) { return QString::fromUtf8(utf8); }

class KVMacAddressBlindTest : public ::testing::Test {
protected:
    StubInterfaces interfaces;
    ScopedService<Interfaces> guard{&interfaces};
    CapturedLog log;
};

TEST_F(KVMacAddressBlindTest, writesTheAddressOfThePrimaryInterface)
{
    interfaces.names = {QStringLiteral("en0")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("0A1bFF000c5e")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("0a:1b:ff:00:0c:5e"));
    EXPECT_EQ(worded(log), QStringList{line("This system's built-in MAC address is 0a:1b:ff:00:0c:5e.\n")});
    ASSERT_EQ(interfaces.asked.size(), 1u);
    EXPECT_EQ(interfaces.asked.front(), Interfaces::Matching::PrimaryEthernet);
}

TEST_F(KVMacAddressBlindTest, showsThePropertyBeforeTheAddress)
{
    interfaces.names = {QStringLiteral("en0")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("0a1bff000c5e")}};
    MacAddress::primaryMacAddress();
    const QStringList lines = log.lines();
    ASSERT_GE(lines.size(), 2);
    EXPECT_TRUE(
        QString(lines.first()).remove(QLatin1Char(' ')).contains(line("0a1bff000c5e"), Qt::CaseInsensitive))
        << qPrintable(lines.first());
    EXPECT_EQ(lines.last(), line("This system's built-in MAC address is 0a:1b:ff:00:0c:5e.\n"));
}

TEST_F(KVMacAddressBlindTest, saysThatThereIsNoInterface)
{
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(log.lines(), QStringList{line("GetMACAddress returned 0x00000005\n")});
}

TEST_F(KVMacAddressBlindTest, goesOnWithANullDictionary)
{
    interfaces.kind = Interfaces::Matching::Null;
    interfaces.names = {QStringLiteral("en0")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050607")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("02:03:04:05:06:07"));
    EXPECT_EQ(worded(log), (QStringList{line("IOServiceMatching returned a NULL dictionary.\n"),
                                        line("This system's built-in MAC address is 02:03:04:05:06:07.\n")}));
    ASSERT_EQ(interfaces.asked.size(), 1u);
    EXPECT_EQ(interfaces.asked.front(), Interfaces::Matching::Null);
}

TEST_F(KVMacAddressBlindTest, saysNothingOfTheSecondDictionaryWithoutTheFirst)
{
    interfaces.kind = Interfaces::Matching::Null;
    interfaces.narrowed = false;
    interfaces.listStatus = -1;
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(log.lines(), (QStringList{line("IOServiceMatching returned a NULL dictionary.\n"),
                                        line("IOServiceGetMatchingServices returned 0xffffffff\n"),
                                        line("FindEthernetInterfaces returned 0xffffffff\n")}));
}

TEST_F(KVMacAddressBlindTest, matchesAllInterfacesWithoutTheSecondDictionary)
{
    interfaces.kind = Interfaces::Matching::Ethernet;
    interfaces.narrowed = false;
    interfaces.names = {QStringLiteral("en0"), QStringLiteral("en1")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050607")},
                            {QStringLiteral("en1"), hex("121314151617")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("12:13:14:15:16:17"));
    EXPECT_EQ(worded(log), (QStringList{line("CFDictionaryCreateMutable returned a NULL dictionary.\n"),
                                        line("This system's built-in MAC address is 12:13:14:15:16:17.\n")}));
    EXPECT_EQ(interfaces.asked.front(), Interfaces::Matching::Ethernet);
    EXPECT_EQ(interfaces.calls, (QStringList{line("parent of en0"), line("controller of en0"),
                                             line("parent of en1"), line("controller of en1")}));
}

TEST_F(KVMacAddressBlindTest, writesTheStatusOfTheSearchTwice)
{
    interfaces.listStatus = static_cast<std::int32_t>(0xe00002c0u);
    interfaces.names = {QStringLiteral("en0")};
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(log.lines(), (QStringList{line("IOServiceGetMatchingServices returned 0xe00002c0\n"),
                                        line("FindEthernetInterfaces returned 0xe00002c0\n")}));
    EXPECT_TRUE(interfaces.calls.isEmpty());
}

TEST_F(KVMacAddressBlindTest, answersNilWhenTheLastParentIsMissing)
{
    interfaces.names = {QStringLiteral("en0"), QStringLiteral("en1")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050607")},
                            {QStringLiteral("en1"), hex("121314151617")}};
    interfaces.parentStatus = {{QStringLiteral("en1"), 0x2c7}};
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(worded(log), (QStringList{line("IORegistryEntryGetParentEntry returned 0x000002c7\n"),
                                        line("GetMACAddress returned 0x000002c7\n")}));
}

TEST_F(KVMacAddressBlindTest, goesOnAfterAParentThatIsMissing)
{
    interfaces.names = {QStringLiteral("en0"), QStringLiteral("en1")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050607")},
                            {QStringLiteral("en1"), hex("121314151617")}};
    interfaces.parentStatus = {{QStringLiteral("en0"), 0x2c7}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("12:13:14:15:16:17"));
    EXPECT_EQ(worded(log), (QStringList{line("IORegistryEntryGetParentEntry returned 0x000002c7\n"),
                                        line("This system's built-in MAC address is 12:13:14:15:16:17.\n")}));
}

TEST_F(KVMacAddressBlindTest, answersZerosWithoutAnAddress)
{
    interfaces.names = {QStringLiteral("en0")};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("00:00:00:00:00:00"));
    EXPECT_EQ(log.lines(), QStringList{line("This system's built-in MAC address is 00:00:00:00:00:00.\n")});
}

TEST_F(KVMacAddressBlindTest, keepsTheLastAddressThereIs)
{
    interfaces.names = {QStringLiteral("en0"), QStringLiteral("en1"), QStringLiteral("en2")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050607")},
                            {QStringLiteral("en1"), hex("121314151617")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("12:13:14:15:16:17"));
}

TEST_F(KVMacAddressBlindTest, takesSixBytesOfALongAddressAndSurvivesAShortOne)
{
    interfaces.names = {QStringLiteral("en0")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("0203040506070809")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("02:03:04:05:06:07"));
    interfaces.addresses = {{QStringLiteral("en0"), hex("0203")}};
    EXPECT_EQ(MacAddress::primaryMacAddress().size(), 17);
    interfaces.addresses = {{QStringLiteral("en0"), QByteArray()}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("00:00:00:00:00:00"));
}

TEST_F(KVMacAddressBlindTest, walksTheRegistryAgainEachTime)
{
    interfaces.names = {QStringLiteral("en0")};
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050607")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("02:03:04:05:06:07"));
    interfaces.addresses = {{QStringLiteral("en0"), hex("020304050608")}};
    EXPECT_EQ(MacAddress::primaryMacAddress(), line("02:03:04:05:06:08"));
    interfaces.names.clear();
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
}

TEST_F(KVMacAddressBlindTest, writesToTheConsoleEvenWhenTheLogIsOff)
{
    KVLogSetDestination(0);
    MacAddress::primaryMacAddress();
    EXPECT_EQ(log.lines(), QStringList{line("GetMACAddress returned 0x00000005\n")});
}

} // namespace
