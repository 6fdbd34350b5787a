#pragma once

#include "Platform/Services/FolderWatch_linux.h"
#include "Platform/VCardReader.h"

#include <KVBase/Platform/AddressBook.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVarLengthArray>

#include <memory>
#include <vector>

#include <dirent.h>

#include <sys/stat.h>

namespace KVBase
{

/// The contacts of a folder of .vcf files, read again only where something has changed. Main thread.
class ContactFolder {
public:
    /// Every contact of every card file in the folder at `path`, by file name. What is no file, is hidden,
    /// cannot be read or holds no whole card adds none. The list is valid until the next call.
    const std::vector<Ref<ABPerson>> &persons(const QString &path);

    /// Writes `person` as a new file into the folder, which is made if it is missing. `name` is the file's
    /// name without its extension.
    bool write(const QString &path, const QString &name, const Ref<ABPerson> &person);

private:
    /// What tells a changed file from the one that was read.
    struct Stamp {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec modified{};
        timespec changed{};

        explicit Stamp(const struct stat &about);
        bool operator==(const Stamp &other) const;
    };

    struct CardFile {
        QByteArray name;

        /// Only of files whose changes the watch does not tell: links, and all in a folder without a watch.
        std::unique_ptr<const Stamp> stamp;
        QVarLengthArray<Ref<ABPerson>, 1> persons;
    };

    void readAgain(FolderWatch::Changes changes);
    void keepOrRead(int folder, const dirent &entry, const FolderWatch::Changes &changes, VCardReader *reader,
                    std::vector<CardFile> *next);
    bool isUnchanged(const CardFile &file, int folder, const FolderWatch::Changes &changes) const;
    static std::vector<CardFile> inOrder(std::vector<CardFile> unordered);
    CardFile *knownFile(const QByteArray &name);
    void keep(CardFile file);
    void listPersons();

    QString folderPath;
    FolderWatch watch;
    bool isWatched = false;
    bool holdsLinks = false;
    // By name.
    std::vector<CardFile> files;
    std::vector<Ref<ABPerson>> all;
};

} // namespace KVBase
