#include <KVBase/MacAddress.h>

#include "Platform/Services/Interfaces.h"
#include "Support/CapturedLog.h"
#include "Support/TestPaths.h"

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

namespace KVBase
{
namespace
{

/// Interfaces as a test wants them: an interface without a controller fails with its status.
class StubInterfaces : public Interfaces {
public:
    struct Device {
        std::int32_t controllerStatus = 0;
        std::optional<QByteArray> address;
    };

    Matching matching(bool *dictionaryMade) override
    {
        *dictionaryMade = narrowed;
        return kind;
    }
    std::int32_t list(Matching matching, std::vector<Entry> *interfaces) override
    {
        askedFor = matching;
        for (std::size_t i = 0; i < devices.size() && listStatus == 0; ++i)
            interfaces->push_back(QString::number(i));
        return listStatus;
    }
    Entry controller(const Entry &interface, std::int32_t *status) override
    {
        *status = devices[interface.toUInt()].controllerStatus;
        return QStringLiteral("c") + interface;
    }
    std::optional<QByteArray> address(const Entry &controller) override
    {
        return devices[controller.mid(1).toUInt()].address;
    }

    Matching kind = Matching::PrimaryEthernet;
    bool narrowed = true;
    std::int32_t listStatus = 0;
    std::vector<Device> devices;
    Matching askedFor = Matching::Null;
};

const QByteArray kFirstAddress = QByteArray::fromHex("0A1B2C3D4E5F");
const QByteArray kSecondAddress = QByteArray::fromHex("001122334455");
const QString kFirstLine = QStringLiteral("This system's built-in MAC address is 0a:1b:2c:3d:4e:5f.\n");
const QString kFirstShown = QStringLiteral("{length = 6, bytes = 0x0a1b2c3d4e5f}");

class MacAddressTest : public testing::Test {
protected:
    QString ask() { return MacAddress::primaryMacAddress(); }

    StubInterfaces interfaces;
    ScopedService<Interfaces> guard{&interfaces};
    Tests::CapturedLog console;
};

TEST_F(MacAddressTest, AnswersThePrimaryInterfacesAddress)
{
    interfaces.devices = {{0, kFirstAddress}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
    EXPECT_EQ(interfaces.askedFor, Interfaces::Matching::PrimaryEthernet);
    EXPECT_EQ(console.lines(), (QStringList{kFirstShown, kFirstLine}));
}

TEST_F(MacAddressTest, AsksAgainAtEveryCall)
{
    interfaces.devices = {{0, kFirstAddress}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
    interfaces.devices = {{0, kSecondAddress}};
    EXPECT_EQ(ask(), QStringLiteral("00:11:22:33:44:55"));
}

TEST_F(MacAddressTest, GoesOnWithoutAMatchingDictionary)
{
    interfaces.kind = Interfaces::Matching::Null;
    interfaces.narrowed = false;
    interfaces.devices = {{0, kFirstAddress}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
    EXPECT_EQ(interfaces.askedFor, Interfaces::Matching::Null);
    EXPECT_EQ(console.lines(), (QStringList{QStringLiteral("IOServiceMatching returned a NULL dictionary.\n"),
                                            kFirstShown, kFirstLine}));
}

TEST_F(MacAddressTest, MatchesAllWhenItCannotNarrowTheMatch)
{
    interfaces.kind = Interfaces::Matching::Ethernet;
    interfaces.narrowed = false;
    interfaces.devices = {{0, kSecondAddress}, {0, kFirstAddress}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
    EXPECT_EQ(interfaces.askedFor, Interfaces::Matching::Ethernet);
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("CFDictionaryCreateMutable returned a NULL dictionary.\n"),
                           QStringLiteral("{length = 6, bytes = 0x001122334455}"), kFirstShown, kFirstLine}));
}

TEST_F(MacAddressTest, AnswersNilWhenTheListFails)
{
    interfaces.listStatus = -536870206;
    interfaces.devices = {{0, kFirstAddress}};
    EXPECT_TRUE(ask().isNull());
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("IOServiceGetMatchingServices returned 0xe00002c2\n"),
                           QStringLiteral("FindEthernetInterfaces returned 0xe00002c2\n")}));
}

TEST_F(MacAddressTest, AnswersNilWithoutAnInterface)
{
    EXPECT_TRUE(ask().isNull());
    EXPECT_EQ(console.lines(), QStringList{QStringLiteral("GetMACAddress returned 0x00000005\n")});
}

TEST_F(MacAddressTest, AnswersNilWhenTheLastInterfaceHasNoController)
{
    interfaces.devices = {{0, kFirstAddress}, {0x1f, std::nullopt}};
    EXPECT_TRUE(ask().isNull());
    EXPECT_EQ(console.lines(),
              (QStringList{kFirstShown, QStringLiteral("IORegistryEntryGetParentEntry returned 0x0000001f\n"),
                           QStringLiteral("GetMACAddress returned 0x0000001f\n")}));
}

TEST_F(MacAddressTest, GoesOnAfterAnInterfaceWithoutController)
{
    interfaces.devices = {{0x1f, std::nullopt}, {0, kFirstAddress}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("IORegistryEntryGetParentEntry returned 0x0000001f\n"), kFirstShown,
                           kFirstLine}));
}

TEST_F(MacAddressTest, AnswersZerosForAControllerWithoutAddress)
{
    interfaces.devices = {{0, std::nullopt}};
    EXPECT_EQ(ask(), QStringLiteral("00:00:00:00:00:00"));
    EXPECT_EQ(console.lines(),
              QStringList{QStringLiteral("This system's built-in MAC address is 00:00:00:00:00:00.\n")});
}

TEST_F(MacAddressTest, KeepsAnEarlierAddressWhereTheLastHasNone)
{
    interfaces.devices = {{0, kFirstAddress}, {0, std::nullopt}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
}

TEST_F(MacAddressTest, TakesTheFirstSixBytes)
{
    interfaces.devices = {{0, QByteArray::fromHex("0A1B2C3D4E5F6071")}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
    interfaces.devices = {{0, QByteArray::fromHex("0A1B")}};
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:00:00:00:00"));
}

TEST_F(MacAddressTest, SaysNothingOfTheSecondDictionaryWithoutTheFirst)
{
    interfaces.kind = Interfaces::Matching::Null;
    interfaces.narrowed = false;
    interfaces.listStatus = -1;
    EXPECT_TRUE(ask().isNull());
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("IOServiceMatching returned a NULL dictionary.\n"),
                           QStringLiteral("IOServiceGetMatchingServices returned 0xffffffff\n"),
                           QStringLiteral("FindEthernetInterfaces returned 0xffffffff\n")}));
}

TEST_F(MacAddressTest, WritesToTheConsoleAlsoWhenTheLogIsOff)
{
    KVLogSetDestination(0);
    EXPECT_TRUE(ask().isNull());
    EXPECT_EQ(console.lines(), QStringList{QStringLiteral("GetMACAddress returned 0x00000005\n")});
}

/// A folder in the layout of /sys/class/net.
class KernelInterfacesTest : public testing::Test {
protected:
    void addFile(const QString &path, const QByteArray &contents)
    {
        QFile file(folder.filePath(path));
        ASSERT_TRUE(QDir().mkpath(QFileInfo(file.fileName()).path()));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(contents), contents.size());
    }

    void addInterface(const QString &name, int index, const QByteArray &address, const QStringList &folders,
                      int type = 1, int assigned = 0)
    {
        addFile(name + QStringLiteral("/type"), QByteArray::number(type) + '\n');
        addFile(name + QStringLiteral("/ifindex"), QByteArray::number(index) + '\n');
        addFile(name + QStringLiteral("/addr_assign_type"), QByteArray::number(assigned) + '\n');
        addFile(name + QStringLiteral("/address"), address + '\n');
        for (const QString &each : folders)
            ASSERT_TRUE(QDir(folder.path()).mkpath(name + u'/' + each));
    }

    QString ask()
    {
        const std::unique_ptr<Interfaces> interfaces = interfacesBelow(folder.path());
        const ScopedService<Interfaces> guard(interfaces.get());
        const Tests::CapturedLog console;
        return MacAddress::primaryMacAddress();
    }

    QTemporaryDir folder{Tests::scratchFolder() + QStringLiteral("/net-XXXXXX")};
    const QStringList wired{QStringLiteral("device")};
};

TEST_F(KernelInterfacesTest, ChoosesTheWiredInterfaceAmongAllKinds)
{
    addInterface(QStringLiteral("lo"), 1, "00:00:00:00:00:00", {}, 772);
    addInterface(QStringLiteral("br0"), 2, "02:00:00:00:00:02", {QStringLiteral("bridge")}, 1, 3);
    addInterface(QStringLiteral("veth1"), 3, "02:00:00:00:00:03", {});
    addInterface(QStringLiteral("wlan0"), 4, "02:00:00:00:00:04",
                 {QStringLiteral("device"), QStringLiteral("wireless")});
    addInterface(QStringLiteral("wlan1"), 5, "02:00:00:00:00:05",
                 {QStringLiteral("device"), QStringLiteral("phy80211")});
    addInterface(QStringLiteral("ib0"), 6, "80:00:02:08:fe:80", wired, 32);
    addInterface(QStringLiteral("eth1"), 9, "02:00:00:00:00:09", wired);
    addInterface(QStringLiteral("eth0"), 8, "0A:1B:2C:3D:4E:5F", wired);
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
}

TEST_F(KernelInterfacesTest, PrefersAnAddressThatCameWithTheHardware)
{
    addInterface(QStringLiteral("usb0"), 2, "02:00:00:00:00:02", wired, 1, 1);
    addInterface(QStringLiteral("eth0"), 7, "0a:1b:2c:3d:4e:5f", wired, 1, 0);
    EXPECT_EQ(ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
}

TEST_F(KernelInterfacesTest, TakesAMadeUpAddressWhereThereIsNoOther)
{
    addInterface(QStringLiteral("usb0"), 2, "02:00:00:00:00:02", wired, 1, 1);
    EXPECT_EQ(ask(), QStringLiteral("02:00:00:00:00:02"));
}

TEST_F(KernelInterfacesTest, OrdersByIndexAsANumber)
{
    addInterface(QStringLiteral("a"), 10, "02:00:00:00:00:10", wired);
    addInterface(QStringLiteral("b"), 9, "02:00:00:00:00:09", wired);
    EXPECT_EQ(ask(), QStringLiteral("02:00:00:00:00:09"));
}

TEST_F(KernelInterfacesTest, FindsNothingAmongVirtualInterfaces)
{
    addInterface(QStringLiteral("lo"), 1, "00:00:00:00:00:00", {}, 772);
    addInterface(QStringLiteral("veth1"), 3, "02:00:00:00:00:03", {});
    // The bonding driver's plain file between the folders.
    addFile(QStringLiteral("bonding_masters"), "\n");
    EXPECT_TRUE(ask().isNull());
}

TEST_F(KernelInterfacesTest, ReadsBrokenFilesAsUnknown)
{
    addInterface(QStringLiteral("eth0"), 2, "garbage", wired);
    EXPECT_EQ(ask(), QStringLiteral("00:00:00:00:00:00"));
}

TEST_F(KernelInterfacesTest, FailsWithoutTheFolder)
{
    const std::unique_ptr<Interfaces> interfaces =
        interfacesBelow(folder.filePath(QStringLiteral("missing")));
    const ScopedService<Interfaces> guard(interfaces.get());
    const Tests::CapturedLog console;
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("IOServiceGetMatchingServices returned 0x00000002\n"),
                           QStringLiteral("FindEthernetInterfaces returned 0x00000002\n")}));
}

TEST_F(KernelInterfacesTest, AnswersForThisMachineInTheStatedForm)
{
    const Tests::CapturedLog console;
    const QString address = MacAddress::primaryMacAddress();
    static const QRegularExpression form(QStringLiteral("^([0-9a-f]{2}:){5}[0-9a-f]{2}$"));
    if (address.isNull())
        EXPECT_EQ(console.lines().last(), QStringLiteral("GetMACAddress returned 0x00000005\n"));
    else
        EXPECT_TRUE(form.match(address).hasMatch()) << address.toStdString();
}

} // namespace
} // namespace KVBase
