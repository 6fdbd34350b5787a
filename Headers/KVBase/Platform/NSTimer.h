#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <memory>

namespace KVBase
{

/// Something that a run loop does at a time, once or again and again. It does nothing until it is added to
/// the run loop of a thread; from then on it belongs to that thread. The run loop keeps it until it is
/// invalid.
class KV_EXPORT NSTimer : public std::enable_shared_from_this<NSTimer> {
public:
    /// A timer that calls `selector` on `target`, first `seconds` after now. The method may take the timer,
    /// as `const KVBase::Ref<KVBase::NSTimer> &`. A target that has gone makes the timer invalid. Seconds
    /// that are not above 0.0001 count as 0.0001; infinitely many never pass.
    static Ref<NSTimer> timerWithTimeInterval(double seconds, const KVTarget &target,
                                              const KVSelector &selector, const QVariant &userInfo,
                                              bool repeats);

    /// The same, calling `work`.
    static Ref<NSTimer> timerWithTimeInterval(double seconds, bool repeats,
                                              std::function<void(NSTimer &)> work);

    ~NSTimer();
    NSTimer(const NSTimer &) = delete;
    NSTimer &operator=(const NSTimer &) = delete;

    /// Calls now, on the caller's thread. Leaves a repeating timer's times alone; one that does not repeat is
    /// invalid afterwards. Does nothing on an invalid timer. What the call throws passes through.
    void fire();

    /// Takes the timer out of its run loop for good and releases its target. Thread of its run loop.
    void invalidate();

    bool isValid() const;

    /// What the timer was made with.
    QVariant userInfo() const;

private:
    friend class RunLoopCore;
    struct Private;
    explicit NSTimer(std::unique_ptr<Private> given);
    std::unique_ptr<Private> d;
};

} // namespace KVBase

Q_DECLARE_METATYPE(std::shared_ptr<KVBase::NSTimer>)
