#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/KVExport.h>

#include <QtCore/QStringList>

#include <cstdint>

namespace KVBase
{

/// Domains of the search path, to be combined.
inline constexpr std::uint32_t NSUserDomainMask = 1;
inline constexpr std::uint32_t NSLocalDomainMask = 2;
inline constexpr std::uint32_t NSNetworkDomainMask = 4;
inline constexpr std::uint32_t NSSystemDomainMask = 8;

/// Where the system keeps things. Paths are absolute, without a separator at the end.
class KV_EXPORT Folders {
public:
    static Folders *makeDefault();
    virtual ~Folders();

    /// The Library folders of the domains asked for, in the order user, local, network, system; a domain that
    /// has none adds nothing. The folders need not exist.
    virtual QStringList libraryFolders(std::uint32_t domains) = 0;

    /// The user's temporary folder.
    virtual QString temporaryFolder() = 0;

    /// The folder of the system's frameworks.
    virtual QString frameworksFolder() = 0;
};

extern template class KV_EXPORT Service<Folders>;

} // namespace KVBase
