#include "Platform/Profile/Sections.h"

#include <QtCore/QMap>
#include <QtCore/QSet>
#include <QtCore/QSysInfo>

namespace KVBase::Profile
{

namespace
{

struct Processors {
    QString name;
    QString clock;
    bool virtualMachine = false;
    int logical = 0;
    QSet<QString> packages;
    QSet<QString> cores;
};

using CpuBlock = QMap<QString, QString>;

void addProcessor(const CpuBlock &block, Processors *processors)
{
    if (!block.contains(QStringLiteral("processor")))
        return;
    ++processors->logical;
    const QString package = block.value(QStringLiteral("physical id"));
    processors->packages.insert(package);
    const QString core = block.value(QStringLiteral("core id"), block.value(QStringLiteral("processor")));
    processors->cores.insert(package + u'/' + core);
    if (processors->name.isEmpty())
        processors->name =
            block.value(QStringLiteral("model name"), block.value(QStringLiteral("Processor")));
    if (processors->clock.isEmpty())
        processors->clock = block.value(QStringLiteral("cpu MHz"));
    processors->virtualMachine |= block.value(QStringLiteral("flags")).split(u' ').contains(u"hypervisor");
}

/// /proc/cpuinfo: one block of "key : value" lines for each logical processor, blank lines between them.
Processors readProcessors(const SystemFiles &files)
{
    Processors processors;
    CpuBlock block;
    const QStringList lines = QString::fromUtf8(files.bytes(QStringLiteral("/proc/cpuinfo"))).split(u'\n');
    for (const QString &line : lines) {
        const qsizetype colon = line.indexOf(u':');
        if (colon >= 0) {
            block.insert(line.left(colon).trimmed(), line.mid(colon + 1).simplified());
            continue;
        }
        addProcessor(block, &processors);
        block.clear();
    }
    addProcessor(block, &processors);
    return processors;
}

QString clockText(const SystemFiles &files, const Processors &processors)
{
    const QString maximum = QStringLiteral("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq");
    double megahertz = static_cast<double>(files.number(maximum)) / 1000;
    if (megahertz <= 0)
        megahertz = processors.clock.toDouble();
    return megahertz > 0 ? QString::number(megahertz / 1000, 'f', 2) + QStringLiteral(" GHz") : QString();
}

void addCaches(const SystemFiles &files, QVariantMap *item)
{
    const QString folder = QStringLiteral("/sys/devices/system/cpu/cpu0/cache");
    const QStringList indices = files.names(folder);
    for (const QString &index : indices) {
        const QString cache = folder + u'/' + index;
        const QString level = files.text(cache + QStringLiteral("/level"));
        const QString size = files.text(cache + QStringLiteral("/size"));
        const QString type = files.text(cache + QStringLiteral("/type"));
        if (!index.startsWith(u"index") || level.isEmpty())
            continue;
        const QString kind = type == u"Unified" ? QString() : u' ' + type;
        setUnlessEmpty(item, u'L' + level + kind + QStringLiteral(" Cache"), size);
    }
}

QString memoryText(const SystemFiles &files)
{
    const QList<QByteArray> lines = files.bytes(QStringLiteral("/proc/meminfo")).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("MemTotal:"))
            return sizeText(line.mid(9).simplified().split(' ').first().toDouble() * 1024);
    }
    return {};
}

void addMachine(const SystemFiles &files, QVariantMap *item)
{
    const QString folder = QStringLiteral("/sys/class/dmi/id/");
    const auto add = [&](const char *key, const char *file) {
        setUnlessEmpty(item, QLatin1StringView(key), files.text(folder + QLatin1StringView(file)));
    };
    add("Machine Vendor", "sys_vendor");
    add("Machine Model", "product_name");
    add("Machine Version", "product_version");
    add("Board", "board_name");
    add("Firmware Vendor", "bios_vendor");
    add("Firmware Version", "bios_version");
    add("Firmware Date", "bios_date");
    if (!item->contains(QStringLiteral("Machine Model")))
        setUnlessEmpty(item, QStringLiteral("Machine Model"),
                       files.text(QStringLiteral("/sys/firmware/devicetree/base/model")));
}

} // namespace

QVariantList hardwareItems(const SystemFiles &files)
{
    QVariantMap item{{QStringLiteral("_name"), QStringLiteral("Hardware Overview")}};
    addMachine(files, &item);
    const Processors processors = readProcessors(files);
    setUnlessEmpty(&item, QStringLiteral("Processor"), processors.name);
    setUnlessEmpty(&item, QStringLiteral("Processor Speed"), clockText(files, processors));
    if (processors.logical > 0) {
        item.insert(QStringLiteral("Processors"), static_cast<qlonglong>(processors.packages.size()));
        item.insert(QStringLiteral("Cores"), static_cast<qlonglong>(processors.cores.size()));
        item.insert(QStringLiteral("Logical Processors"), static_cast<qlonglong>(processors.logical));
    }
    if (processors.virtualMachine)
        item.insert(QStringLiteral("Virtual Machine"), QStringLiteral("Yes"));
    addCaches(files, &item);
    setUnlessEmpty(&item, QStringLiteral("Memory"), memoryText(files));
    item.insert(QStringLiteral("Architecture"), QSysInfo::currentCpuArchitecture());
    return {item};
}

} // namespace KVBase::Profile
