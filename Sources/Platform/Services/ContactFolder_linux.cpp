#include "Platform/Services/ContactFolder_linux.h"

#include "Platform/Services/FileManager.h"
#include "Platform/VCardDocument.h"

#include <KVBase/Platform/NSLog.h>

#include <QtCore/QFile>

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>

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

std::vector<Ref<ABPerson>> personsIn(const QByteArray &bytes)
{
    std::vector<Ref<ABPerson>> persons;
    for (VCardDocument &card : VCardDocument::readAll(bytes))
        persons.push_back(std::make_shared<ABPerson>(std::move(card)));
    return persons;
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
    std::map<QByteArray, CardFile> next;
    holdsLinks = false;
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(QFile::encodeName(folderPath).constData()),
                                                      closedir);
    if (folder != nullptr) {
        while (const dirent *entry = readdir(folder.get())) {
            if (!isCardName(entry->d_name))
                continue;
            holdsLinks = holdsLinks || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
            keepOrRead(dirfd(folder.get()), entry->d_name, &next);
        }
    }
    files = std::move(next);
    listPersons();
}

void ContactFolder::keepOrRead(int folder, const QByteArray &name, std::map<QByteArray, CardFile> *next)
{
    struct stat about {};
    if (const auto known = files.find(name); known != files.end()) {
        if (fstatat(folder, name.constData(), &about, 0) == 0 && Stamp(about) == known->second.stamp) {
            next->insert(files.extract(known));
            return;
        }
    }
    if (const std::optional<QByteArray> bytes = readFile(folder, name.constData(), &about))
        next->emplace(name, CardFile{Stamp(about), personsIn(*bytes)});
}

void ContactFolder::listPersons()
{
    all.clear();
    for (const auto &[name, file] : files)
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
        files.insert_or_assign(QFile::encodeName(name) + ".vcf", CardFile{Stamp(about), {person}});
        listPersons();
    }
    return true;
}

} // namespace KVBase
