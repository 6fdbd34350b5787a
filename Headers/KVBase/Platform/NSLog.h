#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVFormat.h>

#include <QtCore/QString>

namespace KVBase
{

namespace KVFormatDetail
{
KV_EXPORT void writeConsoleLine(const KVFormatView &format, const KVFormatArgument *arguments,
                                std::size_t count) noexcept;
}

/// Writes one line "date process[pid:tid] text" to the system console, which is standard error. Each line is
/// one write. Never throws; where standard error is closed or refuses, the line is lost. Any thread.
template <class... A>
void NSLog(KVFormatString<std::type_identity_t<A>...> format, const A &...args)
{
    const std::array<KVFormatArgument, sizeof...(A)> arguments{KVFormatArgument(args)...};
    KVFormatDetail::writeConsoleLine(format.view(), arguments.data(), arguments.size());
}

} // namespace KVBase
