#include "Platform/Companion.h"
#include "Platform/Services/AddressBookStore.h"
#include "Platform/Services/ContactFolder_linux.h"
#include "Platform/Services/DesktopAddressBook.h"

#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>

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

/// The desktop's address book if the application is set to it; null when it is not, or there is none.
AddressBookStore *desktopStore()
{
    const QString chosen = NSUserDefaults::standardUserDefaults().stringForKey(QString(kKVAddressBookKey));
    if (chosen != QLatin1StringView("Desktop"))
        return nullptr;
    auto *const make = reinterpret_cast<DesktopAddressBookFunction *>(
        companionFunction(kDesktopAddressBookLibrary, kDesktopAddressBookFunction));
    return make == nullptr ? nullptr : make();
}

} // namespace

AddressBookStore::~AddressBookStore() = default;

AddressBookStore *AddressBookStore::makeDefault()
{
    AddressBookStore *const desktop = desktopStore();
    return desktop != nullptr ? desktop : new FolderStore;
}

template class Service<AddressBookStore>;

} // namespace KVBase
