#include <KVBase/Platform/NSNotificationQueue.h>

#include "Platform/RunLoop/RunLoopCore.h"
#include "Platform/RunLoop/RunLoopModes.h"

namespace KVBase
{

namespace
{

RequestKey keyOf(const NSNotification &notification)
{
    return {notification.objectIdentity(), notification.name(), RequestKey::Kind::Notification};
}

} // namespace

NSNotificationQueue &NSNotificationQueue::defaultQueue()
{
    static NSNotificationQueue queue;
    return queue;
}

void NSNotificationQueue::enqueueNotification(const NSNotification &notification, std::uint32_t,
                                              std::uint32_t coalesceMask, const QStringList &modes)
{
    const bool senderGone = notification.objectIdentity() != nullptr && notification.object() == nullptr;
    if (senderGone)
        return;
    Request request;
    request.key = keyOf(notification);
    request.target = notification.object();
    request.userInfo = notification.userInfo();
    request.modes = modes.isEmpty() ? QStringList(RunLoopModes::defaultMode()) : modes;
    RunLoopCore::current()->enqueue(std::move(request), (coalesceMask & NSNotificationCoalescingOnName) != 0);
}

void NSNotificationQueue::dequeueNotificationsMatching(const NSNotification &notification, std::uint32_t)
{
    RunLoopCore::current()->dequeue(keyOf(notification));
}

} // namespace KVBase
