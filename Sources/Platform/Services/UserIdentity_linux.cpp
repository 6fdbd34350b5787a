#include "Platform/Services/UserIdentity.h"

#include <QtCore/QByteArray>

#include <cerrno>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace KVBase
{

template class Service<UserIdentity>;

UserIdentity::~UserIdentity() = default;

namespace
{

/// The account's comment field starts with the full name; an ampersand in it stands for the login name.
QString nameOf(const passwd &account)
{
    const QString login = QString::fromLocal8Bit(account.pw_name != nullptr ? account.pw_name : "");
    QString full =
        QString::fromLocal8Bit(account.pw_gecos != nullptr ? account.pw_gecos : "").section(u',', 0, 0);
    if (!login.isEmpty())
        full.replace(u'&', login.at(0).toUpper() + login.mid(1));
    return full.isEmpty() ? login : full;
}

class AccountDatabase : public UserIdentity {
public:
    QString fullName() override
    {
        std::vector<char> buffer(1024);
        passwd account{};
        passwd *found = nullptr;
        while (::getpwuid_r(::getuid(), &account, buffer.data(), buffer.size(), &found) == ERANGE)
            buffer.resize(buffer.size() * 2);
        return found != nullptr ? nameOf(*found) : QStringLiteral("");
    }
};

} // namespace

UserIdentity *UserIdentity::makeDefault() { return new AccountDatabase; }

} // namespace KVBase
