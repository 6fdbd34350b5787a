#include <KVBase/KVPathUtils.h>

#include "Files/SizeTexts.h"

#include "Platform/CheckedCast.h"
#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/Folders.h"
#include "Platform/Services/SystemVersions.h"

#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/UPath.h>

#include <array>
#include <cmath>
#include <cstddef>

namespace KVBase
{

namespace
{

constexpr std::int32_t kNotPermitted = 1;
constexpr std::int32_t kNoSuchFile = 2;
constexpr std::int32_t kNoSpaceLeft = 28;
constexpr std::int32_t kUnknownFreeSpace = -1024;

/// From this release of the foundation on, the system counts disk space in thousands.
constexpr double kFoundationThatCountsInThousands = 751.0;

/// Above this release of the application framework, alerts show the failure reason.
constexpr double kAppKitBeforeFailureReasons = 743.0;

struct UnitText {
    QLatin1StringView key;
    QLatin1StringView text;
};

/// In the order of `ScaledSize::Unit`.
constexpr std::array<UnitText, 5> kUnits{{
    {QLatin1StringView("BYTES_STRING"), QLatin1StringView(" Bytes")},
    {QLatin1StringView("KB_STRING"), QLatin1StringView(" KB")},
    {QLatin1StringView("MB_STRING"), QLatin1StringView(" MB")},
    {QLatin1StringView("GB_STRING"), QLatin1StringView(" GB")},
    {QLatin1StringView("TB_STRING"), QLatin1StringView(" TB")},
}};

QString unitText(std::size_t index) { return localizedText(kUnits[index].key, kUnits[index].text); }

std::optional<std::uint64_t> freeBytes(const QString &path)
{
    const auto attributes = Service<FileManager>::current()->fileSystemAttributes(path);
    return attributes ? std::optional(attributes->freeSize) : std::nullopt;
}

QVariant number(std::uint64_t value) { return QVariant(static_cast<qulonglong>(value)); }

/// Wide enough for every 64-bit number of either sign and for a double, so that they compare as numbers.
long double numericValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::QString:
        return value.toDouble();
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return static_cast<long double>(value.toULongLong());
    default:
        return static_cast<long double>(value.toLongLong());
    }
}

/// `compare:` answers descending; a nil number counts as zero.
bool isGreater(const QVariant &value, const QVariant &other)
{
    return numericValue(value) > numericValue(other);
}

QString networkPrefix()
{
    const QStringList libraries = Service<Folders>::current()->libraryFolders(NSNetworkDomainMask);
    const QStringList components =
        libraries.isEmpty() ? QStringList() : NSPathUtilities::pathComponents(libraries.first());
    if (components.size() < 2)
        return QStringLiteral("/Network");
    return NSPathUtilities::stringByAppendingPathComponent(components.at(0), components.at(1));
}

NSError writeError(std::int32_t code, QLatin1StringView key, QLatin1StringView text, const QString &path)
{
    const QString name = Service<FileManager>::current()->displayName(path);
    const QString message = stringWithFormat(KVFormatString<QString>(localizedText(key, text)), name);
    const double appKit = std::floor(Service<SystemVersions>::current()->appKitVersionNumber());
    const QLatin1StringView infoKey =
        appKit > kAppKitBeforeFailureReasons ? NSLocalizedFailureReasonErrorKey : NSLocalizedDescriptionKey;
    return NSError(KVPathUtilsErrorDomain, code, {{infoKey, message}});
}

bool hasRoom(const QString &path, const QVariant &freeSpace)
{
    if (isNil(freeSpace) || !isGreater(freeSpace, QVariant()))
        return true;
    return !isGreater(freeSpace, KVPathUtils::getFreeSpaceForPath(path));
}

/// nil when the path can take that many bytes.
NSError obstacle(const QString &path, const QVariant &freeSpace)
{
    FileManager *const files = Service<FileManager>::current();
    if (!files->exists(path))
        return writeError(kNoSuchFile, QLatin1StringView("PATH_NOT_EXISTS"),
                          QLatin1StringView("The path '%@' does not exist."), path);
    if (!files->isWritable(path))
        return writeError(kNotPermitted, QLatin1StringView("PATH_NOT_WRITABLE"),
                          QLatin1StringView("The path '%@' does not allow writing."), path);
    if (!hasRoom(path, freeSpace))
        return writeError(kNoSpaceLeft, QLatin1StringView("NOT_ENOUGH_FREE_DISK_SPACE"),
                          QLatin1StringView("The volume %@ does not have enough free space available."),
                          path);
    return {};
}

} // namespace

QVariant KVPathUtils::fileSizeAtPath(const QString &path) { return number(UPath::GetFileSize(path)); }

QVariant KVPathUtils::freeDiskBytesForFolder(const QString &path)
{
    return number(UPath::GetFreeDiskBytesForFolder(path));
}

QVariant KVPathUtils::getFreeSpaceForPath(const QString &path)
{
    const auto bytes = freeBytes(NSPathUtilities::stringByStandardizingPath(path));
    return bytes ? number(*bytes) : QVariant(kUnknownFreeSpace);
}

QString KVPathUtils::getFreeSpaceString(const QVariant &bytes)
{
    double value = static_cast<double>(numericValue(bytes));
    if (value < 0.0)
        return localizedText(QLatin1StringView("NA_STRING"), QLatin1StringView("n/a"));
    const double foundation = Service<SystemVersions>::current()->foundationVersionNumber();
    const double divisor = foundation >= kFoundationThatCountsInThousands ? 1000.0 : 1024.0;
    std::size_t index = 0;
    while (value > divisor && index < kUnits.size()) {
        value /= divisor;
        ++index;
    }
    if (index == kUnits.size())
        throw NSException(NSRangeException, QStringLiteral("There is no unit above TB."));
    return stringWithFormat("%g", truncateToInt32(value * 100.0) / 100.0) + unitText(index);
}

QString KVPathUtils::sizeStringFromBytes(double bytes)
{
    const ScaledSize size = scaledSize(bytes);
    const bool whole = size.unit == ScaledSize::Unit::Bytes || size.unit == ScaledSize::Unit::KB;
    return sizeNumber(whole ? truncateToInt32(size.amount) : size.amount) +
           unitText(static_cast<std::size_t>(size.unit));
}

bool KVPathUtils::testPathForNetwork(const QString &path) { return path.startsWith(networkPrefix()); }

bool KVPathUtils::canWriteToPath(const QString &path, const QVariant &freeSpace, NSError *error)
{
    const NSError found = obstacle(path, freeSpace);
    if (error != nullptr)
        *error = found;
    return found.isNil();
}

std::uint64_t UPath::GetFileSize(const QString &path)
{
    FileManager *const files = Service<FileManager>::current();
    if (!files->isFolder(path)) {
        const auto attributes = files->attributes(path);
        return attributes ? attributes->size : 0;
    }
    std::uint64_t sum = 0;
    files->forEachEntryBelow(path, [&sum](const FolderEntry &entry) {
        sum += entry.attributes != nullptr ? entry.attributes->size : 0;
        return WalkStep::GoOn;
    });
    return sum;
}

std::uint64_t UPath::GetFreeDiskBytesForFolder(const QString &path) { return freeBytes(path).value_or(0); }

QString UPath::GetSizeString(double bytes)
{
    const ScaledSize size = scaledSize(bytes);
    switch (size.unit) {
    case ScaledSize::Unit::TB:
        return sizeNumber(size.amount) + localizedText(QLatin1StringView(" TB"), {});
    case ScaledSize::Unit::GB:
        return sizeNumber(size.amount) + localizedText(QLatin1StringView(" GB"), {});
    case ScaledSize::Unit::MB:
        return sizeNumber(size.amount) + localizedText(QLatin1StringView(" MB"), {});
    case ScaledSize::Unit::KB:
        return stringWithFormat(KVFormatString<std::int32_t>(localizedText(QLatin1StringView("%d KB"), {})),
                                truncateToInt32(size.amount));
    default:
        return stringWithFormat(
            KVFormatString<std::int32_t>(localizedText(QLatin1StringView("%d Bytes"), {})),
            truncateToInt32(size.amount));
    }
}

QString UPath::GetFreeDiskStringForFolder(const QString &path)
{
    return GetSizeString(static_cast<double>(GetFreeDiskBytesForFolder(path)));
}

} // namespace KVBase
