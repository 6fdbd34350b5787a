#include "Platform/Services/AddressBookStore.h"
#include "Platform/Services/ContactFolder_linux.h"

#include <KVBase/Platform/KVNil.h>

#include <QtCore/QStandardPaths>
#include <QtCore/QUuid>

#include <algorithm>

namespace KVBase
{

namespace
{

/// The folder that other programs share, with one file for each contact.
QString contactsPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/contacts");
}

class FolderStore final : public AddressBookStore {
public:
    std::vector<Ref<ABPerson>> persons() override
    {
        std::vector<Ref<ABPerson>> all = folder.persons(contactsPath());
        for (const Addition &addition : additions)
            all.push_back(addition.person);
        return all;
    }

    bool add(const Ref<ABPerson> &person) override
    {
        // A name of its own for each file, so that two writers never meet.
        const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        if (isNil(person->valueForProperty(QString(kABUIDProperty))))
            person->setValue(name, QString(kABUIDProperty));
        additions.push_back({name, person});
        return true;
    }

    bool save() override
    {
        std::erase_if(additions, [this](const Addition &addition) {
            return folder.write(contactsPath(), addition.name, addition.person);
        });
        return additions.empty();
    }

private:
    struct Addition {
        QString name;
        Ref<ABPerson> person;
    };

    ContactFolder folder;
    std::vector<Addition> additions;
};

} // namespace

AddressBookStore::~AddressBookStore() = default;

AddressBookStore *AddressBookStore::makeDefault() { return new FolderStore; }

template class Service<AddressBookStore>;

} // namespace KVBase
