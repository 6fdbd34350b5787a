#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KVBase
{

/// The machine's Ethernet interfaces and the controllers behind them. Any thread.
class KV_EXPORT Interfaces {
public:
    /// What a listing is restricted to.
    enum class Matching : std::uint8_t { Null, Ethernet, PrimaryEthernet };

    /// An interface or a controller, by the name that the listing or the interface gave it.
    using Entry = QString;

    virtual ~Interfaces();

    /// Makes the restriction. `Null` when none can be made; `Ethernet` with `*dictionaryMade` false when it
    /// cannot be narrowed to the primary interface.
    virtual Matching matching(bool *dictionaryMade) = 0;

    /// 0 and the interfaces, else a status and none.
    virtual std::int32_t list(Matching matching, std::vector<Entry> *interfaces) = 0;

    /// The interface's controller; `*status` is not 0 when there is none.
    virtual Entry controller(const Entry &interface, std::int32_t *status) = 0;

    /// The controller's hardware address, if it has one.
    virtual std::optional<QByteArray> address(const Entry &controller) = 0;

    static Interfaces *makeDefault();
};

extern template class KV_EXPORT Service<Interfaces>;

/// The interfaces that the kernel shows below `folder`, in the layout of /sys/class/net.
KV_EXPORT std::unique_ptr<Interfaces> interfacesBelow(const QString &folder);

} // namespace KVBase
