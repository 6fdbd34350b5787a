#include <KVBase/MacAddress.h>

#include "Platform/Services/ConsoleSink.h"
#include "Platform/Services/Interfaces.h"

#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/NSLog.h>

#include <algorithm>
#include <array>

namespace KVBase::MacAddress
{

namespace
{

using HardwareAddress = std::array<std::uint8_t, 6>;

/// The kernel's code for a failure of no particular kind.
constexpr std::int32_t kGeneralFailure = 5;

/// Lists the primary interface, or all where they cannot be told apart; 0 or the failing call's status.
std::int32_t findEthernetInterfaces(std::vector<Interfaces::Entry> *found)
{
    Interfaces *interfaces = Service<Interfaces>::current();
    bool dictionaryMade = true;
    const Interfaces::Matching matching = interfaces->matching(&dictionaryMade);
    if (matching == Interfaces::Matching::Null)
        NSLog("IOServiceMatching returned a NULL dictionary.\n");
    else if (!dictionaryMade)
        NSLog("CFDictionaryCreateMutable returned a NULL dictionary.\n");
    const std::int32_t status = interfaces->list(matching, found);
    if (status != 0)
        NSLog("IOServiceGetMatchingServices returned 0x%08x\n", status);
    return status;
}

/// Prints data to the console as it stands.
void show(const QByteArray &data)
{
    Service<ConsoleSink>::current()->write(
        stringWithFormat("{length = %d, bytes = 0x%@}", data.size(), QString::fromLatin1(data.toHex())));
}

/// The address of the last interface whose controller has one; zeros where none has.
std::int32_t getMACAddress(const std::vector<Interfaces::Entry> &found, HardwareAddress *address)
{
    Interfaces *interfaces = Service<Interfaces>::current();
    std::int32_t status = kGeneralFailure;
    for (const Interfaces::Entry &interface : found) {
        status = 0;
        const Interfaces::Entry controller = interfaces->controller(interface, &status);
        if (status != 0) {
            NSLog("IORegistryEntryGetParentEntry returned 0x%08x\n", status);
            continue;
        }
        if (const std::optional<QByteArray> data = interfaces->address(controller)) {
            show(*data);
            const QByteArray bytes = data->first(std::min(data->size(), qsizetype(address->size())));
            std::copy(bytes.begin(), bytes.end(), address->begin());
        }
    }
    return status;
}

} // namespace

QString primaryMacAddress()
{
    std::vector<Interfaces::Entry> found;
    if (const std::int32_t status = findEthernetInterfaces(&found); status != 0) {
        NSLog("FindEthernetInterfaces returned 0x%08x\n", status);
        return {};
    }
    HardwareAddress address{};
    if (const std::int32_t status = getMACAddress(found, &address); status != 0) {
        NSLog("GetMACAddress returned 0x%08x\n", status);
        return {};
    }
    const QString text = stringWithFormat("%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2],
                                          address[3], address[4], address[5]);
    NSLog("This system's built-in MAC address is %@.\n", text);
    return text;
}

} // namespace KVBase::MacAddress
