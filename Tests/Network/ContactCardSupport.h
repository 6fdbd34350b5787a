#pragma once

#include "Platform/Services/AddressBookStore.h"
#include "Platform/Services/Applications.h"
#include "Platform/Services/Folders.h"
#include "Support/TestPaths.h"

#include <KVBase/KV_VCard.h>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <gtest/gtest.h>

namespace KVBase::Tests
{

/// An address book in memory that counts what is done with it.
struct MemoryStore : AddressBookStore {
    std::vector<Ref<ABPerson>> persons() override { return records; }
    bool add(const Ref<ABPerson> &person) override
    {
        ++added;
        if (adds)
            records.push_back(person);
        return adds;
    }
    bool save() override
    {
        ++saved;
        return saves;
    }

    std::vector<Ref<ABPerson>> records;
    int added = 0;
    int saved = 0;
    bool adds = true;
    bool saves = true;
};

/// A desktop that writes down which files it was to open.
struct RecordingApplications : Applications {
    QString applicationForCreator(OSType) override { return {}; }
    bool openFile(const QString &path) override
    {
        opened.append(path);
        return opens;
    }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &) override {}

    QStringList opened;
    bool opens = true;
};

/// A temporary folder below the scratch folder.
struct ScratchFolders : Folders {
    ScratchFolders() { QDir().mkpath(folder); }
    QStringList libraryFolders(std::uint32_t) override { return {}; }
    QString temporaryFolder() override { return folder; }
    QString frameworksFolder() override { return {}; }

    QString folder = scratchFolder() + QStringLiteral("/cards");
};

/// A contact that is shown as a company, unless `flags` say otherwise.
inline Ref<ABPerson> company(const char *organization, const QStringList &emails, int flags = 1)
{
    Ref<ABPerson> person = ABPerson::create();
    person->setValue(QString::fromUtf8(organization), QString(kABOrganizationProperty));
    person->setValue(emails, QString(kABEmailProperty));
    person->setValue(flags, QString(kABPersonFlags));
    return person;
}

/// An address book, a desktop and a temporary folder of the test's own.
class ContactCardTest : public testing::Test {
protected:
    ContactCardTest() { QFile::remove(cardPath()); }

    QString cardPath() const { return folders.folder + QStringLiteral("/kelvo.vcf"); }

    KV_VCard &card(const Ref<ABPerson> &person, const QString &prefix = QStringLiteral("Kelvo"))
    {
        made.setPerson(person);
        made.setSearchPrefix(prefix);
        return made;
    }

    MemoryStore memory;
    RecordingApplications desktop;
    ScratchFolders folders;
    ScopedService<AddressBookStore> store{&memory};
    ScopedService<Applications> applications{&desktop};
    ScopedService<Folders> places{&folders};
    KV_VCard made;
};

} // namespace KVBase::Tests
