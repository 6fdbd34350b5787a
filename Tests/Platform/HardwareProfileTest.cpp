#include "Platform/Services/HardwareProfile.h"
#include "Platform/Profile/Sections.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace KVBase
{
namespace
{

/// A machine that exists in a folder only.
class Machine {
public:
    Machine() { QDir().mkpath(path(QStringLiteral("/proc/self"))); }

    QString path(const QString &relative) const { return folder.path() + relative; }
    QString root() const { return folder.path(); }

    void write(const QString &relative, const QByteArray &content)
    {
        QDir().mkpath(QFileInfo(path(relative)).path());
        QFile file(path(relative));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(relative);
        file.write(content);
    }

    void link(const QString &relative, const QString &target)
    {
        QDir().mkpath(QFileInfo(path(relative)).path());
        QDir().mkpath(path(target));
        ASSERT_TRUE(QFile::link(path(target), path(relative))) << qPrintable(relative);
    }

    QVariantMap section(int index) const
    {
        QVariantList sections;
        EXPECT_TRUE(Profile::collect(folder.path(), &sections));
        return sections.value(index).toMap();
    }

    QVariantList items(int index) const { return section(index).value(QStringLiteral("_items")).toList(); }
    QVariantMap item(int index) const { return items(index).value(0).toMap(); }

private:
    QTemporaryDir folder;
};

QString value(const QVariantMap &item, const char *key)
{
    return item.value(QLatin1StringView(key)).toString();
}

void addPciDevice(Machine *machine, const QString &slot, const QByteArray &deviceClass,
                  const QByteArray &vendor, const QByteArray &device)
{
    const QString folder = QStringLiteral("/sys/devices/pci0000:00/") + slot;
    machine->write(folder + QStringLiteral("/class"), deviceClass + '\n');
    machine->write(folder + QStringLiteral("/vendor"), vendor + '\n');
    machine->write(folder + QStringLiteral("/device"), device + '\n');
    machine->write(folder + QStringLiteral("/revision"), "0x02\n");
    machine->link(QStringLiteral("/sys/bus/pci/devices/") + slot, folder);
}

TEST(HardwareProfileTest, HasTheSevenSectionsInTheirOrderOnThisMachine)
{
    QVariantList sections;
    ASSERT_TRUE(Service<HardwareProfile>::current()->sections(&sections));
    QStringList types;
    for (const QVariant &section : sections)
        types.append(section.toMap().value(QStringLiteral("_dataType")).toString());
    EXPECT_EQ(types, (QStringList{QStringLiteral("SPHardwareDataType"), QStringLiteral("SPSoftwareDataType"),
                                  QStringLiteral("SPDisplaysDataType"), QStringLiteral("SPSerialATADataType"),
                                  QStringLiteral("SPPCIDataType"), QStringLiteral("SPFireWireDataType"),
                                  QStringLiteral("SPUSBDataType")}));
    const QVariantMap hardware =
        sections[0].toMap().value(QStringLiteral("_items")).toList().value(0).toMap();
    EXPECT_GE(hardware.value(QStringLiteral("Logical Processors")).toInt(), 1);
    EXPECT_FALSE(value(hardware, "Memory").isEmpty());
    const QVariantMap software =
        sections[1].toMap().value(QStringLiteral("_items")).toList().value(0).toMap();
    EXPECT_TRUE(value(software, "Kernel").startsWith(QStringLiteral("Linux ")))
        << qPrintable(value(software, "Kernel"));
    EXPECT_FALSE(value(software, "Qt").isEmpty());
}

TEST(HardwareProfileTest, KeepsEmptySectionsOfAMachineWithoutAnything)
{
    const Machine machine;
    for (const int index : {2, 3, 4, 5, 6})
        EXPECT_EQ(machine.section(index).value(QStringLiteral("_items")), QVariant(QVariantList())) << index;
    EXPECT_EQ(value(machine.item(0), "_name"), QStringLiteral("Hardware Overview"));
    EXPECT_EQ(value(machine.item(1), "_name"), QStringLiteral("System Software Overview"));
}

TEST(HardwareProfileTest, CannotStartWithoutTheKernelsFiles)
{
    QVariantList sections{1};
    EXPECT_FALSE(Profile::collect(QStringLiteral("/nowhere"), &sections));
    EXPECT_TRUE(sections.isEmpty());
}

TEST(HardwareProfileTest, CountsPackagesCoresAndLogicalProcessors)
{
    Machine machine;
    QByteArray text;
    for (int i = 0; i < 8; ++i) {
        text += "processor\t: " + QByteArray::number(i) +
                "\nmodel name\t: Fast  Chip\nphysical id\t: " + QByteArray::number(i / 4) +
                "\ncore id\t\t: " + QByteArray::number(i / 2 % 2) +
                "\ncpu MHz\t\t: 2400.000\nflags\t\t: fpu hypervisor sse\n\n";
    }
    machine.write(QStringLiteral("/proc/cpuinfo"), text);
    const QVariantMap item = machine.item(0);
    EXPECT_EQ(value(item, "Processor"), QStringLiteral("Fast Chip"));
    EXPECT_EQ(item.value(QStringLiteral("Processors")), QVariant(qlonglong(2)));
    EXPECT_EQ(item.value(QStringLiteral("Cores")), QVariant(qlonglong(4)));
    EXPECT_EQ(item.value(QStringLiteral("Logical Processors")), QVariant(qlonglong(8)));
    EXPECT_EQ(value(item, "Processor Speed"), QStringLiteral("2.40 GHz"));
    EXPECT_EQ(value(item, "Virtual Machine"), QStringLiteral("Yes"));
}

TEST(HardwareProfileTest, ReadsTheMachinesNameMemoryAndCaches)
{
    Machine machine;
    machine.write(QStringLiteral("/sys/class/dmi/id/product_name"), "Desk 9000\n");
    machine.write(QStringLiteral("/sys/class/dmi/id/sys_vendor"), "Maker\x01 & Sons\n");
    machine.write(QStringLiteral("/proc/meminfo"), "MemTotal:       16318212 kB\nMemFree: 1 kB\n");
    machine.write(QStringLiteral("/sys/devices/system/cpu/cpu0/cache/index0/level"), "1\n");
    machine.write(QStringLiteral("/sys/devices/system/cpu/cpu0/cache/index0/type"), "Data\n");
    machine.write(QStringLiteral("/sys/devices/system/cpu/cpu0/cache/index0/size"), "48K\n");
    machine.write(QStringLiteral("/sys/devices/system/cpu/cpu0/cache/index3/level"), "3\n");
    machine.write(QStringLiteral("/sys/devices/system/cpu/cpu0/cache/index3/type"), "Unified\n");
    machine.write(QStringLiteral("/sys/devices/system/cpu/cpu0/cache/index3/size"), "30720K\n");
    const QVariantMap item = machine.item(0);
    EXPECT_EQ(value(item, "Machine Model"), QStringLiteral("Desk 9000"));
    EXPECT_EQ(value(item, "Machine Vendor"), QStringLiteral("Maker & Sons"));
    EXPECT_EQ(value(item, "Memory"), QStringLiteral("15.6 GB"));
    EXPECT_EQ(value(item, "L1 Data Cache"), QStringLiteral("48K"));
    EXPECT_EQ(value(item, "L3 Cache"), QStringLiteral("30720K"));
}

TEST(HardwareProfileTest, ReadsTheSystemsNameKernelAndUpTime)
{
    Machine machine;
    machine.write(QStringLiteral("/etc/os-release"), "NAME=\"Short\"\nPRETTY_NAME=\"Long Name 12\"\n");
    machine.write(QStringLiteral("/proc/sys/kernel/ostype"), "Linux\n");
    machine.write(QStringLiteral("/proc/sys/kernel/osrelease"), "6.1.0\n");
    machine.write(QStringLiteral("/proc/sys/kernel/version"), "#1 SMP\n");
    machine.write(QStringLiteral("/proc/uptime"), "183845.17 1000.0\n");
    machine.write(QStringLiteral("/proc/mounts"), "proc /proc proc rw 0 0\n/dev/sda1 / ext4 rw 0 0\n");
    const QVariantMap item = machine.item(1);
    EXPECT_EQ(value(item, "System"), QStringLiteral("Long Name 12"));
    EXPECT_EQ(value(item, "Kernel"), QStringLiteral("Linux 6.1.0 #1 SMP"));
    EXPECT_EQ(value(item, "Time Since Boot"), QStringLiteral("2 days 3:04"));
    EXPECT_EQ(value(item, "Boot File System"), QStringLiteral("ext4"));
}

TEST(HardwareProfileTest, NamesPciDevicesFromTheList)
{
    Machine machine;
    addPciDevice(&machine, QStringLiteral("0000:00:10.0"), "0x020000", "0x8086", "0x100e");
    addPciDevice(&machine, QStringLiteral("0000:00:02.0"), "0x020000", "0xfff0", "0x0001");
    machine.link(QStringLiteral("/sys/devices/pci0000:00/0000:00:10.0/driver"),
                 QStringLiteral("/sys/bus/pci/drivers/e1000"));
    const QVariantList items = machine.items(4);
    ASSERT_EQ(items.size(), 2);
    const QVariantMap unknown = items[0].toMap();
    EXPECT_EQ(value(unknown, "_name"), QStringLiteral("PCI device 0xfff0:0x0001"));
    EXPECT_EQ(value(unknown, "Slot"), QStringLiteral("0000:00:02.0"));
    EXPECT_FALSE(unknown.contains(QStringLiteral("Vendor")));
    EXPECT_FALSE(unknown.contains(QStringLiteral("Driver")));
    const QVariantMap known = items[1].toMap();
    EXPECT_TRUE(value(known, "_name").startsWith(QStringLiteral("82540EM")))
        << qPrintable(value(known, "_name"));
    EXPECT_EQ(value(known, "Vendor"), QStringLiteral("Intel Corporation"));
    EXPECT_EQ(value(known, "Type"), QStringLiteral("Ethernet controller"));
    EXPECT_EQ(value(known, "Vendor ID"), QStringLiteral("0x8086"));
    EXPECT_EQ(value(known, "Device ID"), QStringLiteral("0x100e"));
    EXPECT_EQ(value(known, "Driver"), QStringLiteral("e1000"));
}

TEST(HardwareProfileTest, DescribesAdaptersWithTheirDisplaysOnce)
{
    Machine machine;
    addPciDevice(&machine, QStringLiteral("0000:00:02.0"), "0x030000", "0x8086", "0x0126");
    addPciDevice(&machine, QStringLiteral("0000:01:00.0"), "0x030000", "0x10de", "0x1cb3");
    machine.link(QStringLiteral("/sys/class/drm/card0/device"),
                 QStringLiteral("/sys/devices/pci0000:00/0000:00:02.0"));
    machine.write(QStringLiteral("/sys/class/drm/card0-HDMI-A-1/status"), "connected\n");
    machine.write(QStringLiteral("/sys/class/drm/card0-HDMI-A-1/modes"), "1920x1200\n1024x768\n");
    QByteArray edid(128, '\0');
    edid.replace(90, 18, QByteArray("\0\0\0\xfc\0Bright 24\n   ", 18));
    machine.write(QStringLiteral("/sys/class/drm/card0-HDMI-A-1/edid"), edid);
    machine.write(QStringLiteral("/sys/class/drm/card0-VGA-1/status"), "disconnected\n");
    const QVariantList items = machine.items(2);
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(value(items[0].toMap(), "Vendor"), QStringLiteral("Intel Corporation"));
    EXPECT_EQ(value(items[1].toMap(), "Vendor"), QStringLiteral("NVIDIA Corporation"));
    const QVariantList displays = items[0].toMap().value(QStringLiteral("Displays")).toList();
    ASSERT_EQ(displays.size(), 1);
    EXPECT_EQ(displays[0].toMap(),
              (QVariantMap{{QStringLiteral("_name"), QStringLiteral("Bright 24")},
                           {QStringLiteral("Connection"), QStringLiteral("HDMI-A-1")},
                           {QStringLiteral("Resolution"), QStringLiteral("1920x1200")}}));
}

TEST(HardwareProfileTest, ListsTheDrivesBelowTheirSerialAtaController)
{
    Machine machine;
    addPciDevice(&machine, QStringLiteral("0000:00:1f.2"), "0x010601", "0x8086", "0x1c02");
    const QString disk =
        QStringLiteral("/sys/devices/pci0000:00/0000:00:1f.2/ata3/host2/target2:0:0/2:0:0:0/block/sda");
    machine.write(disk + QStringLiteral("/size"), "976773168\n");
    machine.write(disk + QStringLiteral("/queue/rotational"), "0\n");
    machine.write(disk + QStringLiteral("/device/model"), "QUICK DISK 500  \n");
    machine.link(QStringLiteral("/sys/block/sda"), disk);
    machine.write(QStringLiteral("/sys/class/ata_link/link3/sata_spd"), "6.0 Gbps\n");
    machine.write(QStringLiteral("/sys/devices/virtual/block/loop0/size"), "8\n");
    machine.link(QStringLiteral("/sys/block/loop0"), QStringLiteral("/sys/devices/virtual/block/loop0"));
    const QVariantList items = machine.items(3);
    ASSERT_EQ(items.size(), 1);
    const QVariantList drives = items[0].toMap().value(QStringLiteral("Drives")).toList();
    ASSERT_EQ(drives.size(), 1);
    EXPECT_EQ(drives[0].toMap(), (QVariantMap{{QStringLiteral("_name"), QStringLiteral("QUICK DISK 500")},
                                              {QStringLiteral("Port"), qlonglong(3)},
                                              {QStringLiteral("Capacity"), QStringLiteral("466 GB")},
                                              {QStringLiteral("Medium"), QStringLiteral("Solid state")},
                                              {QStringLiteral("Link Speed"), QStringLiteral("6.0 Gbps")}}));
}

TEST(HardwareProfileTest, ListsFireWireDevicesWithoutTheirUnits)
{
    Machine machine;
    machine.write(QStringLiteral("/sys/bus/firewire/devices/fw1/model_name"), "Deck\n");
    machine.write(QStringLiteral("/sys/bus/firewire/devices/fw1/vendor_name"), "Tape Ltd\n");
    machine.write(QStringLiteral("/sys/bus/firewire/devices/fw1/guid"), "0x0011223344556677\n");
    machine.write(QStringLiteral("/sys/bus/firewire/devices/fw1.0/model_name"), "Unit\n");
    const QVariantList items = machine.items(5);
    ASSERT_EQ(items.size(), 1);
    EXPECT_EQ(items[0].toMap(), (QVariantMap{{QStringLiteral("_name"), QStringLiteral("Deck")},
                                             {QStringLiteral("Vendor"), QStringLiteral("Tape Ltd")}}));
}

TEST(HardwareProfileTest, ListsUsbDevicesByTheirOwnNamesOrTheLists)
{
    Machine machine;
    const QString bus = QStringLiteral("/sys/bus/usb/devices/");
    machine.write(bus + QStringLiteral("1-2/idVendor"), "046d\n");
    machine.write(bus + QStringLiteral("1-2/idProduct"), "c077\n");
    machine.write(bus + QStringLiteral("1-2/product"), "Mouse of mine\n");
    machine.write(bus + QStringLiteral("1-2/serial"), "SECRET\n");
    machine.write(bus + QStringLiteral("1-2/speed"), "1.5\n");
    machine.write(bus + QStringLiteral("1-10/idVendor"), "1d6b\n");
    machine.write(bus + QStringLiteral("1-10/idProduct"), "0002\n");
    machine.write(bus + QStringLiteral("1-2:1.0/bInterfaceClass"), "03\n");
    const QVariantList items = machine.items(6);
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(value(items[0].toMap(), "_name"), QStringLiteral("Mouse of mine"));
    EXPECT_EQ(value(items[0].toMap(), "Manufacturer"), QStringLiteral("Logitech, Inc."));
    EXPECT_EQ(value(items[0].toMap(), "Speed"), QStringLiteral("1.5 Mb/s"));
    EXPECT_EQ(value(items[0].toMap(), "Product ID"), QStringLiteral("0xc077"));
    EXPECT_EQ(value(items[1].toMap(), "_name"), QStringLiteral("2.0 root hub"));
    EXPECT_EQ(value(items[1].toMap(), "Manufacturer"), QStringLiteral("Linux Foundation"));
}

TEST(HardwareProfileTest, FindsNamesInADeviceList)
{
    const QByteArray list =
        "# comment\n0001  First\n\t0001  One\n# note\n\t0002  Two\n0002  Second\n\t0003  Three\n";
    EXPECT_EQ(Profile::nameInDeviceList(list, 1, -1), QStringLiteral("First"));
    EXPECT_EQ(Profile::nameInDeviceList(list, 1, 2), QStringLiteral("Two"));
    EXPECT_EQ(Profile::nameInDeviceList(list, 1, 3), QString());
    EXPECT_EQ(Profile::nameInDeviceList(list, 2, 3), QStringLiteral("Three"));
    EXPECT_EQ(Profile::nameInDeviceList(list, 3, -1), QString());
    EXPECT_EQ(Profile::nameInDeviceList(QByteArray(), 3, 1), QString());
}

TEST(HardwareProfileTest, SurvivesFilesThatAreGarbageOrPipes)
{
    Machine machine;
    machine.write(QStringLiteral("/proc/cpuinfo"), QByteArray(3 << 20, '\xff'));
    machine.write(QStringLiteral("/proc/meminfo"), "MemTotal:\n");
    machine.write(QStringLiteral("/proc/uptime"), "soon");
    QDir().mkpath(machine.path(QStringLiteral("/sys/class/dmi/id")));
    ASSERT_EQ(mkfifo(qPrintable(machine.path(QStringLiteral("/sys/class/dmi/id/product_name"))), 0600), 0);
    QDir().mkpath(machine.path(QStringLiteral("/sys/class/dmi/id/sys_vendor")));
    const QVariantMap item = machine.item(0);
    EXPECT_FALSE(item.contains(QStringLiteral("Machine Model")));
    EXPECT_FALSE(item.contains(QStringLiteral("Machine Vendor")));
    EXPECT_FALSE(item.contains(QStringLiteral("Processors")));
}

TEST(HardwareProfileTest, WritesTheSectionsAsText)
{
    const QVariantList sections{
        QVariantMap{{QStringLiteral("_dataType"), QStringLiteral("SPHardwareDataType")},
                    {QStringLiteral("_items"),
                     QVariantList{QVariantMap{
                         {QStringLiteral("_name"), QStringLiteral("Overview")},
                         {QStringLiteral("Memory"), QStringLiteral("4 GB")},
                         {QStringLiteral("Cores"), qlonglong(2)},
                         {QStringLiteral("Parts"),
                          QVariantList{QVariantMap{{QStringLiteral("_name"), QStringLiteral("Part")},
                                                   {QStringLiteral("Slot"), QStringLiteral("1")}}}}}}}},
        QVariantMap{{QStringLiteral("_dataType"), QStringLiteral("SPFireWireDataType")},
                    {QStringLiteral("_items"), QVariantList()}}};
    EXPECT_EQ(Service<HardwareProfile>::current()->text(sections), QStringLiteral("Hardware:\n"
                                                                                  "\n"
                                                                                  "    Overview:\n"
                                                                                  "\n"
                                                                                  "      Cores: 2\n"
                                                                                  "      Memory: 4 GB\n"
                                                                                  "\n"
                                                                                  "        Part:\n"
                                                                                  "\n"
                                                                                  "          Slot: 1\n"
                                                                                  "\n"
                                                                                  "FireWire:\n"
                                                                                  "\n"));
}

} // namespace
} // namespace KVBase
