#pragma once

#include "Platform/Services/ConsoleSink.h"

#include <KVBase/KVLog.h>

#include <QtCore/QStringList>

#include <mutex>

namespace KVBase::Tests
{

/// Collects what the log and `NSLog` write to the console while it lives, without the time stamp and the
/// process. Any thread may log meanwhile.
class CapturedLog : private ConsoleSink {
public:
    CapturedLog() : guard(this), destination(KVLogDestination()) { KVLogSetDestination(2); }
    ~CapturedLog() override { KVLogSetDestination(destination); }
    CapturedLog(const CapturedLog &) = delete;
    CapturedLog &operator=(const CapturedLog &) = delete;

    /// The lines so far, in order.
    QStringList lines() const
    {
        const std::lock_guard lock(mutex);
        return texts;
    }

    void clear()
    {
        const std::lock_guard lock(mutex);
        texts.clear();
    }

private:
    void write(const QString &line) override
    {
        // "2026-01-31 12:00:00.000 process[1:2] text"
        const qsizetype end = line.indexOf(QLatin1StringView("] "));
        const std::lock_guard lock(mutex);
        texts.append(end < 0 ? line : line.mid(end + 2));
    }

    mutable std::mutex mutex;
    QStringList texts;
    ScopedService<ConsoleSink> guard;
    std::int32_t destination;
};

} // namespace KVBase::Tests
