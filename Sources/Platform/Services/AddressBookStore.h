#pragma once

#include "Platform/Services/Service.h"

#include <KVBase/Platform/AddressBook.h>

#include <vector>

namespace KVBase
{

/// Where the user's contacts are kept. Main thread.
struct KV_EXPORT AddressBookStore {
    virtual ~AddressBookStore();

    /// Every contact, those added and not yet saved included.
    virtual std::vector<Ref<ABPerson>> persons() = 0;

    /// Adds `person`, never nil, as a new contact; it gets an identifier if it has none.
    virtual bool add(const Ref<ABPerson> &person) = 0;

    /// Writes what was added. What cannot be written stays to be written by the next call.
    virtual bool save() = 0;

    static AddressBookStore *makeDefault();
};

extern template class KV_EXPORT Service<AddressBookStore>;

} // namespace KVBase
