#include <KVBase/Platform/NSNotification.h>

namespace KVBase
{

NSNotification::NSNotification() = default;

NSNotification::NSNotification(const QString &name, QObject *object, const QVariantMap &userInfo)
    : givenName(name), sender(object), senderAddress(object), information(userInfo)
{}

NSNotification::NSNotification(const NSNotification &) = default;
NSNotification &NSNotification::operator=(const NSNotification &) = default;
NSNotification::~NSNotification() = default;

QString NSNotification::name() const { return givenName; }

QObject *NSNotification::object() const { return sender.data(); }

QVariantMap NSNotification::userInfo() const { return information; }

const void *NSNotification::objectIdentity() const { return senderAddress; }

} // namespace KVBase
