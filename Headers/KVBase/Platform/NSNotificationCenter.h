#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/NSNotification.h>

#include <functional>
#include <memory>

namespace KVBase
{

/// Who is told what. Any thread; an observer is called on the thread that posts. Neither observers nor the
/// objects they ask about are retained: a registration ends with either of them. The same registration made
/// twice is called twice.
class KV_EXPORT NSNotificationCenter {
public:
    NSNotificationCenter();
    ~NSNotificationCenter();
    NSNotificationCenter(const NSNotificationCenter &) = delete;
    NSNotificationCenter &operator=(const NSNotificationCenter &) = delete;

    /// The process's own.
    static NSNotificationCenter &defaultCenter();

    /// Has `selector` called on `observer` with each notification of this name about this object; a nil name
    /// or object stands for any. Does nothing for a nil observer.
    void addObserver(QObject *observer, const KVSelector &selector, const QString &name, QObject *object);

    /// The same, calling `work`; the registration belongs to `observer`.
    void addObserver(QObject *observer, const QString &name, QObject *object,
                     std::function<void(const NSNotification &)> work);

    /// Ends all registrations of `observer`.
    void removeObserver(QObject *observer);

    /// Ends those with this name and object; nil stands for any.
    void removeObserver(QObject *observer, const QString &name, QObject *object);

    /// Calls the observers in the order in which they were added, before it returns. One that was removed
    /// meanwhile is no longer called. What an observer throws passes through.
    void postNotification(const NSNotification &notification);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KVBase
