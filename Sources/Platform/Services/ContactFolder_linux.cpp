#include "Platform/Services/ContactFolder_linux.h"

#include "Platform/Services/FileManager.h"
#include "Platform/VCardLineParser.h"

#include <KVBase/Platform/NSLog.h>

#include <QtCore/QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <unistd.h>
#include <utility>

namespace KVBase
{

namespace
{

/// No card with its pictures is larger; a file that is would only take memory.
constexpr off_t kMaximumSize = 64 << 20;

bool isCardName(QByteArrayView name)
{
    constexpr QByteArrayView extension(".vcf");
    return name.size() > extension.size() && name.front() != '.' &&
           isSameVCardName(name.last(extension.size()), extension);
}

bool isSameTime(const timespec &one, const timespec &other)
{
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

/// A number that orders names as their first eight bytes do.
std::uint64_t firstBytes(QByteArrayView name)
{
    std::uint64_t number = 0;
    for (qsizetype i = 0; i < 8; ++i)
        number = number << 8 | (i < name.size() ? static_cast<unsigned char>(name[i]) : 0U);
    return number;
}

constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

/// The bytes of a regular file in `folder`, and what it is; a FIFO or a device is not waited for.
std::optional<QByteArray> readFile(int folder, const char *name, struct stat *about)
{
    const FileDescriptor file(openat(folder, name, kReading));
    if (!file.isValid() || fstat(file.get(), about) != 0 || !S_ISREG(about->st_mode))
        return std::nullopt;
    if (about->st_size > kMaximumSize) {
        NSLog("The contact file %@ is too large and is left out", QString::fromUtf8(name));
        return std::nullopt;
    }
    QByteArray bytes(about->st_size, Qt::Uninitialized);
    const std::ptrdiff_t count = readFully(file.get(), bytes.data(), static_cast<std::size_t>(bytes.size()));
    if (count < 0)
        return std::nullopt;
    bytes.truncate(count);
    return bytes;
}

/// The same for a file that is known to be regular. Nearly all cards are small, and one read tells.
std::optional<QByteArray> readRegularFile(int folder, const char *name)
{
    std::array<char, 16384> block;
    ssize_t count = -1;
    {
        const FileDescriptor file(openat(folder, name, kReading));
        if (!file.isValid())
            return std::nullopt;
        do {
            count = read(file.get(), block.data(), block.size());
        } while (count < 0 && errno == EINTR);
    }
    if (count < 0)
        return std::nullopt;
    if (static_cast<std::size_t>(count) < block.size())
        return QByteArray(block.data(), count);
    struct stat about {};
    return readFile(folder, name, &about);
}

} // namespace

ContactFolder::Stamp::Stamp(const struct stat &about)
    : device(about.st_dev), inode(about.st_ino), size(about.st_size), modified(about.st_mtim),
      changed(about.st_ctim)
{}

bool ContactFolder::Stamp::operator==(const Stamp &other) const
{
    return device == other.device && inode == other.inode && size == other.size &&
           isSameTime(modified, other.modified) && isSameTime(changed, other.changed);
}

const std::vector<Ref<ABPerson>> &ContactFolder::persons(const QString &path)
{
    FolderWatch::Changes changes;
    if (path == folderPath) {
        changes = watch.takeChanges();
    } else {
        folderPath = path;
        files.clear();
        changes.everything = true;
    }
    // What a link leads to is not watched with the folder.
    if (changes.everything || !changes.names.empty() || holdsLinks)
        readAgain(std::move(changes));
    return all;
}

void ContactFolder::readAgain(FolderWatch::Changes changes)
{
    if (changes.everything)
        isWatched = watch.start(folderPath);
    std::sort(changes.names.begin(), changes.names.end());
    holdsLinks = false;
    std::vector<CardFile> next;
    next.reserve(files.size());
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(QFile::encodeName(folderPath).constData()),
                                                      closedir);
    VCardReader reader;
    // In the folder's own order, in which its files are found fastest.
    while (const dirent *entry = folder == nullptr ? nullptr : readdir(folder.get())) {
        if (isCardName(entry->d_name))
            keepOrRead(dirfd(folder.get()), *entry, changes, &reader, &next);
    }
    files = inOrder(std::move(next));
    listPersons();
}

std::vector<ContactFolder::CardFile> ContactFolder::inOrder(std::vector<CardFile> unordered)
{
    // Most names differ in their first bytes, which are compared without going to the name.
    std::vector<std::pair<std::uint64_t, CardFile *>> order;
    order.reserve(unordered.size());
    for (CardFile &file : unordered)
        order.emplace_back(firstBytes(file.name), &file);
    std::sort(order.begin(), order.end(), [](const auto &one, const auto &other) {
        return one.first != other.first ? one.first < other.first : one.second->name < other.second->name;
    });
    std::vector<CardFile> ordered;
    ordered.reserve(order.size());
    for (const auto &[bytes, file] : order)
        ordered.push_back(std::move(*file));
    return ordered;
}

ContactFolder::CardFile *ContactFolder::knownFile(const QByteArray &name)
{
    const auto place =
        std::lower_bound(files.begin(), files.end(), name,
                         [](const CardFile &file, const QByteArray &wanted) { return file.name < wanted; });
    return place != files.end() && place->name == name ? &*place : nullptr;
}

bool ContactFolder::isUnchanged(const CardFile &file, int folder, const FolderWatch::Changes &changes) const
{
    struct stat about {};
    if (file.stamp != nullptr)
        return fstatat(folder, file.name.constData(), &about, 0) == 0 && Stamp(about) == *file.stamp;
    return !changes.everything && !std::binary_search(changes.names.begin(), changes.names.end(), file.name);
}

void ContactFolder::keepOrRead(int folder, const dirent &entry, const FolderWatch::Changes &changes,
                               VCardReader *reader, std::vector<CardFile> *next)
{
    const bool mayBeLink = entry.d_type == DT_LNK || entry.d_type == DT_UNKNOWN;
    holdsLinks = holdsLinks || mayBeLink;
    const QByteArray name(entry.d_name);
    if (CardFile *const known = knownFile(name); known != nullptr && isUnchanged(*known, folder, changes)) {
        // Its name stays where it is, so that the others are still found.
        next->push_back({name, std::move(known->stamp), std::move(known->persons)});
        return;
    }
    std::optional<QByteArray> bytes;
    std::unique_ptr<const Stamp> stamp;
    if (isWatched && entry.d_type == DT_REG) {
        bytes = readRegularFile(folder, entry.d_name);
    } else if (struct stat about{}; (bytes = readFile(folder, entry.d_name, &about))) {
        stamp = std::make_unique<const Stamp>(about);
    }
    if (!bytes)
        return;
    CardFile &file = next->emplace_back(CardFile{name, std::move(stamp), {}});
    reader->setText(*std::exchange(bytes, std::nullopt));
    while (reader->next())
        file.persons.push_back(std::make_shared<ABPerson>(*reader));
}

void ContactFolder::keep(CardFile file)
{
    const auto isEarlier = [](const CardFile &one, const CardFile &other) { return one.name < other.name; };
    const auto place = std::lower_bound(files.begin(), files.end(), file, isEarlier);
    if (place != files.end() && place->name == file.name)
        *place = std::move(file);
    else
        files.insert(place, std::move(file));
}

void ContactFolder::listPersons()
{
    all.clear();
    all.reserve(files.size());
    for (const CardFile &file : files)
        all.insert(all.end(), file.persons.begin(), file.persons.end());
}

bool ContactFolder::write(const QString &path, const QString &name, const Ref<ABPerson> &person)
{
    FileManager *const manager = Service<FileManager>::current();
    if (!manager->isFolder(path) && !manager->createDirectory(path, true, 0700))
        return false;
    const QString file = path + QLatin1Char('/') + name + QStringLiteral(".vcf");
    if (!manager->write(file, person->vCardRepresentation(), {kPrivateFileMode, false}))
        return false;
    // The person that was added stays the one that later searches find.
    struct stat about {};
    if (path == folderPath && stat(QFile::encodeName(file).constData(), &about) == 0) {
        keep({QFile::encodeName(name) + ".vcf", std::make_unique<const Stamp>(about), {person}});
        listPersons();
    }
    return true;
}

} // namespace KVBase
