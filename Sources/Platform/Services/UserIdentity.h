#pragma once

#include "Platform/Services/Service.h"

#include <QtCore/QString>

namespace KVBase
{

/// Who the user is. Any thread.
struct KV_EXPORT UserIdentity {
    virtual ~UserIdentity();

    /// The user's full name, else the login name, else "". Never nil. May ask the account database.
    virtual QString fullName() = 0;

    static UserIdentity *makeDefault();
};

extern template class KV_EXPORT Service<UserIdentity>;

} // namespace KVBase
