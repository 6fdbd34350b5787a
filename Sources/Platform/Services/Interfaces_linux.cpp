#include "Platform/Services/Interfaces.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <tuple>

namespace KVBase
{

template class Service<Interfaces>;

Interfaces::~Interfaces() = default;

namespace
{

/// The kernel's number for Ethernet hardware.
constexpr int kEthernet = 1;
/// The address came with the hardware: it was neither made up nor set by a user.
constexpr int kPermanentAddress = 0;

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(256).trimmed() : QByteArray();
}

/// The number in a file of the kernel's; -1 when there is none.
int numberIn(const QString &path)
{
    bool isNumber = false;
    const int number = contentsOf(path).toInt(&isNumber);
    return isNumber ? number : -1;
}

/// The bytes of an address in hexadecimal with colons; nothing for any other text.
std::optional<QByteArray> bytesOfAddress(const QByteArray &text)
{
    QByteArray bytes;
    for (const QByteArray &part : text.split(':')) {
        bool isNumber = false;
        const uint value = part.toUInt(&isNumber, 16);
        if (!isNumber || part.size() != 2)
            return std::nullopt;
        bytes.append(static_cast<char>(value));
    }
    return bytes;
}

/// Bridges, bonds, tunnels and the ends of virtual cables have no device; wireless ones have, and say so.
bool isWired(const QString &path)
{
    return numberIn(path + QStringLiteral("/type")) == kEthernet &&
           QFileInfo::exists(path + QStringLiteral("/device")) &&
           !QFileInfo::exists(path + QStringLiteral("/wireless")) &&
           !QFileInfo::exists(path + QStringLiteral("/phy80211"));
}

/// What makes an interface the primary one: an address of its own, then the order of discovery.
std::tuple<bool, int> precedence(const QString &path)
{
    return {numberIn(path + QStringLiteral("/addr_assign_type")) != kPermanentAddress,
            numberIn(path + QStringLiteral("/ifindex"))};
}

/// The kernel's interfaces as files. An interface's controller is its device, and is known by the same path.
class KernelInterfaces : public Interfaces {
public:
    explicit KernelInterfaces(const QString &path) : folder(path) {}

    Matching matching(bool *dictionaryMade) override
    {
        *dictionaryMade = true;
        return Matching::PrimaryEthernet;
    }

    std::int32_t list(Matching matching, std::vector<Entry> *interfaces) override
    {
        interfaces->clear();
        const QDir directory(folder);
        if (!directory.isReadable())
            return ENOENT;
        for (const QString &name :
             directory.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
            const QString path = directory.filePath(name);
            if (isWired(path))
                interfaces->push_back(path);
        }
        std::stable_sort(interfaces->begin(), interfaces->end(),
                         [](const Entry &a, const Entry &b) { return precedence(a) < precedence(b); });
        if (matching == Matching::PrimaryEthernet && interfaces->size() > 1)
            interfaces->resize(1);
        return 0;
    }

    Entry controller(const Entry &interface, std::int32_t *status) override
    {
        *status = QFileInfo::exists(interface + QStringLiteral("/device")) ? 0 : ENODEV;
        return *status == 0 ? interface : Entry();
    }

    std::optional<QByteArray> address(const Entry &controller) override
    {
        return bytesOfAddress(contentsOf(controller + QStringLiteral("/address")));
    }

private:
    QString folder;
};

} // namespace

Interfaces *Interfaces::makeDefault() { return interfacesBelow(QStringLiteral("/sys/class/net")).release(); }

std::unique_ptr<Interfaces> interfacesBelow(const QString &folder)
{
    return std::make_unique<KernelInterfaces>(folder);
}

} // namespace KVBase
