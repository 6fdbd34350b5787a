#include "Platform/RunLoop/Request.h"

#include <KVBase/Platform/NSNotificationCenter.h>
#include <KVBase/Platform/NSObject.h>

namespace KVBase
{

void Request::swapContent(Request &other) noexcept
{
    std::swap(target, other.target);
    argument.swap(other.argument);
    userInfo.swap(other.userInfo);
    work.swap(other.work);
    timer.swap(other.timer);
    modes.swap(other.modes);
}

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
        NSNotificationCenter::defaultCenter().postNotification(
            NSNotification(key.name, target.object(), userInfo));
        break;
    }
}

} // namespace KVBase
