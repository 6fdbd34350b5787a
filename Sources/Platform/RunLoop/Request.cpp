#include "Platform/RunLoop/Request.h"

#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSObject.h>

namespace KVBase
{

namespace
{

void post(const NSNotification &notification)
{
    const bool senderGone = notification.objectIdentity() != nullptr && notification.object() == nullptr;
    if (!senderGone)
        NSNotificationCenter::defaultCenter().postNotification(notification);
}

} // namespace

void Request::perform()
{
    const bool receiverGone = target.identity() != nullptr && target.object() == nullptr;
    if (receiverGone)
        return;
    switch (key.kind) {
    case RequestKey::Kind::Timer:
        timer->fire();
        break;
    case RequestKey::Kind::Selector:
        performSelector(target.object(), KVSelector(key.name), argument);
        break;
    case RequestKey::Kind::Callable:
    case RequestKey::Kind::Keyless:
        work();
        break;
    case RequestKey::Kind::Notification:
        post(notification);
        break;
    }
}

} // namespace KVBase
