#include "Platform/Services/Volumes.h"

#include "Platform/FileDescriptor.h"
#include "Platform/NSPathUtilities.h"
#include "Platform/Services/Folders.h"
#include "Platform/Services/MountTable_linux.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace KVBase
{

template class Service<Volumes>;

Volumes::~Volumes() = default;

std::int16_t Volumes::volumeOfLink(const QString &path) { return volumeOf(path); }

QString Volumes::nameAt(const QString &) { return {}; }

using namespace NSPathUtilities;

namespace
{

constexpr auto kLabelFolder = "/dev/disk/by-label";

std::optional<struct stat> statusOf(const char *path, bool followLink = true)
{
    struct stat status;
    if (::fstatat(AT_FDCWD, path, &status, followLink ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return status;
}

bool isOnDevice(const std::string &path, std::uint64_t device)
{
    const auto status = statusOf(path.c_str());
    return status && status->st_dev == device;
}

/// Empty when there is nothing.
std::string resolvedPath(const char *path)
{
    char *const resolved = ::realpath(path, nullptr);
    const std::string result = resolved != nullptr ? resolved : "";
    std::free(resolved);
    return result;
}

/// The highest folder above `path` that is still on the device: the root of the volume as it is seen from
/// there, which also finds the roots that the mount table does not list, as those of btrfs subvolumes.
std::string topOfDevice(const char *path, std::uint64_t device)
{
    std::string top = resolvedPath(path);
    while (top.size() > 1) {
        const std::size_t separator = top.find_last_of('/');
        const std::string parent = separator == 0 ? "/" : top.substr(0, separator);
        if (!isOnDevice(parent, device))
            break;
        top = parent;
    }
    return top;
}

/// Ours alone: a folder, no link, owned by the user, closed to everybody else.
bool isPrivateFolder(const std::string &path, std::uint64_t device)
{
    const auto status = statusOf(path.c_str(), false);
    return status && S_ISDIR(status->st_mode) && status->st_uid == ::geteuid() && status->st_dev == device &&
           (status->st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// The private folder below `parent`; empty when it cannot be had.
std::string privateFolderIn(const std::string &parent, std::uint64_t device)
{
    const std::string name = ".kvbase-tmp-" + std::to_string(::geteuid());
    const std::string path = parent == "/" ? parent + name : parent + '/' + name;
    ::mkdir(path.c_str(), S_IRWXU);
    return isPrivateFolder(path, device) && ::access(path.c_str(), W_OK | X_OK) == 0 ? path : std::string();
}

struct CloseFolder {
    void operator()(DIR *folder) const { ::closedir(folder); }
};

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// In the names of the label folder, what no file name should hold stands as "\x20".
std::string unescapedLabel(const std::string &name)
{
    std::string label;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name.compare(i, 2, "\\x") == 0 && i + 3 < name.size() && hexDigit(name[i + 2]) >= 0 &&
            hexDigit(name[i + 3]) >= 0) {
            label.push_back(static_cast<char>(hexDigit(name[i + 2]) * 16 + hexDigit(name[i + 3])));
            i += 3;
        } else
            label.push_back(name[i]);
    }
    return label;
}

QString labelOfDeviceFile(const std::string &source)
{
    const auto wanted = statusOf(source.c_str());
    const std::unique_ptr<DIR, CloseFolder> folder(::opendir(kLabelFolder));
    if (!wanted || !S_ISBLK(wanted->st_mode) || folder == nullptr)
        return {};
    while (const dirent *entry = ::readdir(folder.get())) {
        struct stat status;
        if (::fstatat(::dirfd(folder.get()), entry->d_name, &status, 0) == 0 && S_ISBLK(status.st_mode) &&
            status.st_rdev == wanted->st_rdev)
            return stringWithFileSystemRepresentation(unescapedLabel(entry->d_name));
    }
    return {};
}

class LinuxVolumes final : public Volumes {
public:
    std::int16_t volumeOf(const QString &path) override { return volumeOf(path, true); }
    std::int16_t volumeOfLink(const QString &path) override { return volumeOf(path, false); }

    QString temporaryFolder(std::int16_t volume) override
    {
        const std::optional<Volume> known = volumeNumbered(volume);
        if (!known)
            return {};
        for (const std::string &parent : temporaryParents(*known)) {
            if (!isOnDevice(parent, known->device))
                continue;
            const std::string folder =
                isPrivateFolder(parent, known->device) ? parent : privateFolderIn(parent, known->device);
            if (!folder.empty())
                return stringWithFileSystemRepresentation(folder);
        }
        return {};
    }

    QString nameAt(const QString &path) override
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        if (!bytes || !isRootOfVolume(*bytes))
            return {};
        const auto status = statusOf(bytes->constData());
        const std::string resolved = resolvedPath(bytes->constData());
        for (const MountPoint &mount : mountTable()) {
            // Where each part of a file system has a device of its own, the table has another one.
            const bool isHere = mount.path == resolved || (status && mount.device == status->st_dev);
            if (isHere && mount.source.starts_with('/'))
                return labelOfDeviceFile(mount.source);
        }
        return {};
    }

private:
    struct Volume {
        std::uint64_t device = 0;
        std::string top;
    };

    std::int16_t volumeOf(const QString &path, bool followLink)
    {
        const std::optional<QByteArray> bytes = fileSystemRepresentation(path);
        const auto status = bytes ? statusOf(bytes->constData(), followLink) : std::nullopt;
        return status ? numberOf(status->st_dev, bytes->constData()) : std::int16_t(0);
    }

    std::int16_t numberOf(std::uint64_t device, const char *path)
    {
        const std::lock_guard lock(mutex);
        for (std::size_t i = 0; i < volumes.size(); ++i) {
            if (volumes[i].device != device)
                continue;
            // What was mounted there may have moved elsewhere since.
            if (!isOnDevice(volumes[i].top, device))
                volumes[i].top = topOfDevice(path, device);
            return static_cast<std::int16_t>(i + 1);
        }
        if (volumes.size() >= static_cast<std::size_t>(std::numeric_limits<std::int16_t>::max()))
            return 0;
        volumes.push_back({device, topOfDevice(path, device)});
        return static_cast<std::int16_t>(volumes.size());
    }

    std::optional<Volume> volumeNumbered(std::int16_t number)
    {
        const std::lock_guard lock(mutex);
        if (number < 1 || static_cast<std::size_t>(number) > volumes.size())
            return std::nullopt;
        return volumes[static_cast<std::size_t>(number) - 1];
    }

    /// Where a temporary folder may lie, the best place first.
    static std::vector<std::string> temporaryParents(const Volume &volume)
    {
        std::vector<std::string> parents;
        if (const auto usual = fileSystemRepresentation(Service<Folders>::current()->temporaryFolder()))
            parents.push_back(usual->toStdString());
        parents.push_back(volume.top);
        for (const MountPoint &mount : mountTable()) {
            if (mount.device == volume.device)
                parents.push_back(mount.path);
        }
        return parents;
    }

    static bool isRootOfVolume(const QByteArray &path)
    {
        const auto here = statusOf(path.constData(), false);
        const auto above = statusOf((path + "/..").constData());
        if (!here || !above || !S_ISDIR(here->st_mode))
            return false;
        return here->st_dev != above->st_dev || here->st_ino == above->st_ino;
    }

    std::mutex mutex;
    std::vector<Volume> volumes;
};

} // namespace

Volumes *Volumes::makeDefault() { return new LinuxVolumes; }

} // namespace KVBase
