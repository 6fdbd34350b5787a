#include "Platform/Services/Interfaces.h"
#include "Support/CapturedLog.h"
#include "Support/ChildProcess.h"
#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <KVBase/MacAddress.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>

namespace KVBase
{
namespace
{

using namespace Tests;

bool ip(const QStringList &arguments) { return runProgram(QStringLiteral("ip"), arguments).exitCode == 0; }

/// Gives this process a network and a view of it of its own; false when it may not or the system has no `ip`.
bool enterOwnNetwork()
{
    return ip({QStringLiteral("-V")}) && ::unshare(CLONE_NEWNET | CLONE_NEWNS) == 0 &&
           ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("sysfs", "/sys", "sysfs", 0, nullptr) == 0;
}

/// Two ends of a virtual cable, of which the first has the index and the address given.
bool addCable(const QString &name, int index, const QString &address)
{
    return ip({QStringLiteral("link"), QStringLiteral("add"), name, QStringLiteral("index"),
               QString::number(index), QStringLiteral("address"), address, QStringLiteral("type"),
               QStringLiteral("veth"), QStringLiteral("peer"), QStringLiteral("name"),
               name + QStringLiteral("-end")});
}

bool addBridge(const QString &name, const QString &port)
{
    return ip({QStringLiteral("link"), QStringLiteral("add"), name, QStringLiteral("type"),
               QStringLiteral("bridge")}) &&
           ip({QStringLiteral("link"), QStringLiteral("set"), port, QStringLiteral("master"), name});
}

constexpr int kMayNot = 77;

/// Runs `work` in a process that has a network of its own. false when there is none to be had.
bool inOwnNetwork(const std::function<void()> &work)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        if (!enterOwnNetwork())
            std::_Exit(kMayNot);
        work();
        std::fflush(nullptr);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    const bool mayNot = WIFEXITED(status) && WEXITSTATUS(status) == kMayNot;
    EXPECT_TRUE(mayNot || (WIFEXITED(status) && WEXITSTATUS(status) == 0))
        << "the child ended with " << status;
    return !mayNot;
}

TEST(HardwareAddressLiveTest, AMachineOfVirtualInterfacesHasNoAddress)
{
    const bool ran = inOwnNetwork([] {
        ASSERT_TRUE(addCable(QStringLiteral("eth0"), 20, QStringLiteral("0a:1b:2c:3d:4e:5f")));
        ASSERT_TRUE(addBridge(QStringLiteral("br0"), QStringLiteral("eth0")));
        // The kernel shows them as it shows all others.
        ASSERT_TRUE(QFile::exists(QStringLiteral("/sys/class/net/eth0/address")));
        ASSERT_TRUE(QFile::exists(QStringLiteral("/sys/class/net/br0/bridge")));
        const CapturedLog console;
        EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
        EXPECT_EQ(console.lines(), QStringList{QStringLiteral("GetMACAddress returned 0x00000005\n")});
    });
    if (!ran)
        GTEST_SKIP() << "may not make a network of its own";
}

/// A view of the kernel's interfaces in which some of them stand on a device.
class DeviceView {
public:
    DeviceView() : folder(scratchFolder() + QStringLiteral("/net-XXXXXX")) {}

    /// Everything that is read of the interface is the kernel's but for the folders.
    void add(const QString &name, const QStringList &folders) const
    {
        const QString kernel = QStringLiteral("/sys/class/net/") + name;
        const QString own = folder.filePath(name);
        ASSERT_TRUE(QDir().mkpath(own));
        for (const char *file : {"type", "ifindex", "addr_assign_type", "address"})
            ASSERT_TRUE(QFile::link(kernel + QLatin1Char('/') + QLatin1StringView(file),
                                    own + QLatin1Char('/') + QLatin1StringView(file)));
        for (const QString &each : folders)
            ASSERT_TRUE(QDir(own).mkpath(each));
    }

    QString ask() const
    {
        const std::unique_ptr<Interfaces> interfaces = interfacesBelow(folder.path());
        const ScopedService<Interfaces> guard(interfaces.get());
        const CapturedLog console;
        return MacAddress::primaryMacAddress();
    }

private:
    QTemporaryDir folder;
};

TEST(HardwareAddressLiveTest, TheFirstWiredInterfaceIsChosenAmongAllThatTheKernelHas)
{
    const bool ran = inOwnNetwork([] {
        ASSERT_TRUE(addCable(QStringLiteral("wlan0"), 10, QStringLiteral("02:00:00:00:00:10")));
        ASSERT_TRUE(addCable(QStringLiteral("eth1"), 30, QStringLiteral("02:00:00:00:00:30")));
        ASSERT_TRUE(addCable(QStringLiteral("eth0"), 21, QStringLiteral("0a:1b:2c:3d:4e:5f")));
        ASSERT_TRUE(addCable(QStringLiteral("eth2"), 9, QStringLiteral("02:00:00:00:00:09")));
        ASSERT_TRUE(addBridge(QStringLiteral("br0"), QStringLiteral("eth2")));
        const QString device = QStringLiteral("device");
        const DeviceView view;
        view.add(QStringLiteral("lo"), {device});
        view.add(QStringLiteral("br0"), {QStringLiteral("bridge")});
        view.add(QStringLiteral("eth2"), {});
        view.add(QStringLiteral("wlan0"), {device, QStringLiteral("wireless")});
        view.add(QStringLiteral("eth1"), {device});
        EXPECT_EQ(view.ask(), QStringLiteral("02:00:00:00:00:30"));
        view.add(QStringLiteral("eth0"), {device});
        EXPECT_EQ(view.ask(), QStringLiteral("0a:1b:2c:3d:4e:5f"));
        // An address that is changed shows at the next call.
        ASSERT_TRUE(ip({QStringLiteral("link"), QStringLiteral("set"), QStringLiteral("eth0"),
                        QStringLiteral("address"), QStringLiteral("0a:1b:2c:3d:4e:60")}));
        EXPECT_EQ(view.ask(), QStringLiteral("0a:1b:2c:3d:4e:60"));
    });
    if (!ran)
        GTEST_SKIP() << "may not make a network of its own";
}

/// What another program knows of an interface: its address if it is Ethernet on a device that is not
/// wireless.
QString addressOnDevice(const QString &line)
{
    const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const qsizetype ether = words.indexOf(QStringLiteral("link/ether"));
    if (ether < 0 || !words.contains(QStringLiteral("parentbus")))
        return {};
    const QString name = words.at(1).chopped(1);
    return QFile::exists(QStringLiteral("/sys/class/net/%1/phy80211").arg(name)) ? QString()
                                                                                 : words.at(ether + 1);
}

TEST(HardwareAddressLiveTest, ThisMachinesAddressIsOneThatIpShows)
{
    QStringList known;
    for (const QString &line :
         runProgram(QStringLiteral("ip"), {QStringLiteral("-d"), QStringLiteral("-o"), QStringLiteral("link"),
                                           QStringLiteral("show")})
             .lines()) {
        if (const QString address = addressOnDevice(line); !address.isNull())
            known.append(address);
    }
    if (known.isEmpty())
        GTEST_SKIP() << "no interface on a device, or no program that shows it";
    const CapturedLog console;
    const QString address = MacAddress::primaryMacAddress();
    EXPECT_TRUE(known.contains(address)) << address.toStdString();
    EXPECT_EQ(console.lines().last(),
              QStringLiteral("This system's built-in MAC address is %1.\n").arg(address));
}

} // namespace
} // namespace KVBase
