#pragma once

#include <KVBase/Platform/KVSelector.h>
#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/NSTimer.h>

#include <QtCore/QStringList>

#include <chrono>
#include <cstdint>
#include <utility>

namespace KVBase
{

/// What requests are cancelled and merged by. Names of different kinds never match; a keyless one is a
/// callable that only its receiver stands for.
struct RequestKey {
    enum class Kind : std::uint8_t { Timer, Selector, Callable, Keyless, Notification };

    const void *receiver = nullptr;
    QString name;
    Kind kind = Kind::Timer;

    bool operator==(const RequestKey &) const = default;
};

struct RequestKeyHash {
    std::size_t operator()(const RequestKey &key) const noexcept
    {
        const auto seed = reinterpret_cast<std::size_t>(key.receiver) ^ static_cast<std::size_t>(key.kind);
        return qHash(key.name, seed);
    }
};

/// When a request's turn comes: its due time, among equals the order in which they were made.
using RequestPlace = std::pair<std::chrono::nanoseconds, std::uint64_t>;

/// Due times that never come.
inline constexpr std::chrono::nanoseconds kNever = std::chrono::nanoseconds::max();

/// One thing that a run loop does later; its key's kind says what.
struct Request {
    RequestKey key;
    RequestPlace place;
    /// The number of the first pass that may take it.
    std::uint64_t firstPass = 0;
    QStringList modes;
    bool isParked = false;

    /// The receiver, or the object of a notification.
    KVTarget target;
    QVariant argument;
    QVariantMap userInfo;
    KVCallable work;
    Ref<NSTimer> timer;

    /// Neighbours among the requests with an equal key.
    Request *previousAlike = nullptr;
    Request *nextAlike = nullptr;

    /// Exchanges what is done, for whom and in which modes; the keys must be equal.
    void swapContent(Request &other) noexcept;

    /// Does it. What the call throws passes through.
    void perform();
};

} // namespace KVBase
