#pragma once

#include <KVBase/KVBuildStyle.h>
#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVFormat.h>

#include <QtCore/QString>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace KVBase
{

/// The user-defaults key of the log destination.
inline constexpr QLatin1StringView kKVLogDestinationKey{"KVLogDestination"};

/// The verbosity of each of 128 domains, 0 until a client sets it. The log functions do not look at it.
extern KV_EXPORT std::atomic<std::int32_t> sDomainLevel[128];

/// Forgets the destination in use and registers 1 as the default, so that a stored value wins over it.
KV_EXPORT void KVLogSetDefaultDestination();

/// Uses and stores a destination: 0 or less is off, 1 the log file, 2 or more the log file and the console.
/// Takes effect with the next line; opens and closes no file.
KV_EXPORT void KVLogSetDestination(std::int32_t destination);

/// The destination in use; read from the user defaults when there is none yet or when it is negative. 0 where
/// nothing is stored and `KVLogSetDefaultDestination` was not called.
KV_EXPORT std::int32_t KVLogDestination();

/// The standardised path of the log file that was opened last; nil when there is none or after `KVLogClose`.
KV_EXPORT QString KVLogPath();

/// Does nothing for a domain above 127.
KV_EXPORT void KVLogSetDomainLevel(std::uint32_t domain, std::int32_t level);

/// 0 for a domain above 127.
KV_EXPORT std::int32_t KVLogDomainLevel(std::uint32_t domain);

namespace KVFormatDetail
{
KV_EXPORT void writeLogLine(std::int32_t destination, const KVFormatView &format,
                            const KVFormatArgument *arguments, std::size_t count) noexcept;
}

/// Writes one line to the log file, where one is open, and with a destination of 2 or more to the console.
/// The line has no prefix and reaches the file with one write before the call returns. With the destination
/// off nothing is formatted. Formats are described at `KVFormatString`. Never throws; any thread.
///
///     KVLog("%@ holds %d files", folder, count);
template <class... A>
void KVLog(KVFormatString<std::type_identity_t<A>...> format, const A &...args)
{
    const std::int32_t destination = KVLogDestination();
    if (destination < 1)
        return;
    const std::array<KVFormatArgument, sizeof...(A)> arguments{KVFormatArgument(args)...};
    KVFormatDetail::writeLogLine(destination, format.view(), arguments.data(), arguments.size());
}

/// Logs an error number with the place where it was seen; 0 is no error and logs nothing. `context` may be
/// null; of `file`, which is UTF-8, the last path component is shown. Never throws; any thread.
KV_EXPORT void KVLogError(std::int32_t err, const char *context, const char *file, std::int32_t line);

/// Opens the log file, appends a session header to it, and makes folders that are missing. A file above 1 MiB
/// is cut to its last MiB first. False when logging is off or a log file is open already, which is logged;
/// true otherwise, also when the file could not be opened: then lines reach the console only. The file is
/// readable by its owner alone. Blocks on the file system; never throws; any thread.
KV_EXPORT bool KVLogOpen(const QString &path);

/// Closes the log file and forgets its path; does nothing when none is open. Any thread.
KV_EXPORT void KVLogClose();

} // namespace KVBase
