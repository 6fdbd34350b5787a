#include "Platform/Services/ContactFolder_linux.h"

#include "Platform/Services/FileManager.h"

#include <KVBase/Platform/NSLog.h>

#include <QtCore/QFile>

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
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
           name.last(extension.size()).compare(extension, Qt::CaseInsensitive) == 0;
}

bool isSameTime(const timespec &one, const timespec &other)
{
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

/// The bytes of a regular file in `folder`, and what it is; a FIFO or a device is not waited for.
std::optional<QByteArray> readFile(int folder, const char *name, struct stat *about)
{
    const FileDescriptor file(openat(folder, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
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
    const bool isOther = path != folderPath;
    if (isOther) {
        folderPath = path;
        files.clear();
    }
    // What a link leads to is not watched with the folder.
    if (isOther || holdsLinks || watch.mayHaveChanged())
        readAgain();
    return all;
}

void ContactFolder::readAgain()
{
    watch.start(folderPath);
    std::vector<CardFile> next;
    holdsLinks = false;
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(QFile::encodeName(folderPath).constData()),
                                                      closedir);
    if (folder != nullptr) {
        const std::vector<QByteArray> names = cardNames(folder.get());
        next.reserve(names.size());
        VCardReader reader;
        for (const QByteArray &name : names)
            keepOrRead(dirfd(folder.get()), name, &reader, &next);
    }
    files = std::move(next);
    listPersons();
}

/// The names of the card files in order.
std::vector<QByteArray> ContactFolder::cardNames(DIR *folder)
{
    std::vector<QByteArray> names;
    while (const dirent *entry = readdir(folder)) {
        if (!isCardName(entry->d_name))
            continue;
        holdsLinks = holdsLinks || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
        names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

ContactFolder::CardFile *ContactFolder::knownFile(const QByteArray &name)
{
    const auto place =
        std::lower_bound(files.begin(), files.end(), name,
                         [](const CardFile &file, const QByteArray &wanted) { return file.name < wanted; });
    return place != files.end() && place->name == name ? &*place : nullptr;
}

void ContactFolder::keepOrRead(int folder, const QByteArray &name, VCardReader *reader,
                               std::vector<CardFile> *next)
{
    struct stat about {};
    if (CardFile *const known = knownFile(name)) {
        if (fstatat(folder, name.constData(), &about, 0) == 0 && Stamp(about) == known->stamp) {
            // Its name stays, so that the others are still found.
            next->push_back({name, known->stamp, std::move(known->persons)});
            return;
        }
    }
    std::optional<QByteArray> bytes = readFile(folder, name.constData(), &about);
    if (!bytes)
        return;
    CardFile &file = next->emplace_back(CardFile{name, Stamp(about), {}});
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
        keep({QFile::encodeName(name) + ".vcf", Stamp(about), {person}});
        listPersons();
    }
    return true;
}

} // namespace KVBase
