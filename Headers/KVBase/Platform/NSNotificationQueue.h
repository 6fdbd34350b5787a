#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/NSNotification.h>

#include <QtCore/QStringList>

#include <cstdint>

namespace KVBase
{

/// Posting style: at the end of the run loop's current pass.
inline constexpr std::uint32_t NSPostASAP = 2;

/// Coalesce masks: every notification is posted; one that waits under the same name is replaced.
inline constexpr std::uint32_t NSNotificationNoCoalescing = 0;
inline constexpr std::uint32_t NSNotificationCoalescingOnName = 1;

/// Notifications that wait on the calling thread's run loop until its current pass ends, then go to the
/// default center. Entries die with the object they are about.
class KV_EXPORT NSNotificationQueue {
public:
    /// The calling thread's queue: whichever thread uses the answer, its own queue is meant.
    static NSNotificationQueue &defaultQueue();

    /// Queues `notification` for one of `modes`; none stands for the default mode. With
    /// `NSNotificationCoalescingOnName` it takes the place of all that wait with the same name and object, at
    /// the end of the queue and with its own modes.
    void enqueueNotification(const NSNotification &notification, std::uint32_t postingStyle,
                             std::uint32_t coalesceMask, const QStringList &modes);

    /// Drops what waits with the same name and object, whatever the mask.
    void dequeueNotificationsMatching(const NSNotification &notification, std::uint32_t coalesceMask);

private:
    NSNotificationQueue() = default;
};

} // namespace KVBase
