#pragma once

#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QObject>
#include <QtCore/QPointer>

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>

namespace KVBase
{

/// The receiver of a call that happens later. A plain pointer is not retained: a request whose receiver was
/// destroyed is dropped. A shared pointer is retained until the request has run or was cancelled. A receiver
/// that another thread may destroy belongs in a shared pointer.
class KVTarget {
public:
    KVTarget(std::nullptr_t = nullptr) {}
    KVTarget(QObject *receiver) : weak(receiver), address(receiver) {}

    template <std::derived_from<QObject> T>
    KVTarget(const std::shared_ptr<T> &receiver)
        : retained(receiver), weak(receiver.get()), address(receiver.get())
    {}

    /// The receiver; null when nil or gone.
    QObject *object() const { return weak.data(); }

    /// The address that was handed in, also after the receiver has gone. Never to be followed.
    const void *identity() const { return address; }

    /// Whether the receiver is kept alive by this target.
    bool retains() const { return retained != nullptr; }

    /// Same receiver by identity, retained or not.
    friend bool operator==(const KVTarget &a, const KVTarget &b) { return a.address == b.address; }

private:
    std::shared_ptr<QObject> retained;
    QPointer<QObject> weak;
    const void *address = nullptr;
};

/// The callable form of a request.
using KVCallable = std::function<void()>;

} // namespace KVBase
