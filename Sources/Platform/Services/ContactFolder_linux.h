#pragma once

#include "Platform/Services/FolderWatch_linux.h"
#include "Platform/VCardReader.h"

#include <KVBase/Platform/AddressBook.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVarLengthArray>

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
        Stamp stamp;
        QVarLengthArray<Ref<ABPerson>, 1> persons;
    };

    void readAgain();
    std::vector<QByteArray> cardNames(DIR *folder);
    void keepOrRead(int folder, const QByteArray &name, VCardReader *reader, std::vector<CardFile> *next);
    CardFile *knownFile(const QByteArray &name);
    void keep(CardFile file);
    void listPersons();

    QString folderPath;
    FolderWatch watch;
    bool holdsLinks = false;
    // By name.
    std::vector<CardFile> files;
    std::vector<Ref<ABPerson>> all;
};

} // namespace KVBase
