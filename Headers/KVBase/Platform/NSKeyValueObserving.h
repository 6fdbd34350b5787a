#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstdint>
#include <functional>

namespace KVBase
{

/// Which values a change dictionary holds, and whether the observer is told at once of the value that is
/// there.
inline constexpr std::uint32_t NSKeyValueObservingOptionNew = 1;
inline constexpr std::uint32_t NSKeyValueObservingOptionOld = 2;
inline constexpr std::uint32_t NSKeyValueObservingOptionInitial = 4;

/// Told before the change too, by objects that announce it with `willChangeValueForKey`.
inline constexpr std::uint32_t NSKeyValueObservingOptionPrior = 8;

/// Keys of a change dictionary. A value that is nil is an invalid `QVariant` under its key.
inline constexpr QLatin1StringView NSKeyValueChangeNewKey{"new"};
inline constexpr QLatin1StringView NSKeyValueChangeOldKey{"old"};

/// True in the dictionary of a notification that comes before the change, which holds no new value.
inline constexpr QLatin1StringView NSKeyValueChangeNotificationIsPriorKey{"notificationIsPrior"};

/// Key-value observing on Qt properties that have a change signal. The dots of a key path walk through
/// properties that hold objects; a change anywhere along the path is a change of its value, and behind a null
/// object the value is nil. One thread at a time per observed object: the observer is called on the thread
/// that changes the property, before the setter returns. Nothing is retained, and an observation ends with
/// its object or its observer.
namespace NSKeyValueObserving
{

/// Starts an observation; the same pair may be observed more than once. With each change the observer's
/// method
///
///     Q_INVOKABLE void observeValueForKeyPath(const QString &keyPath, QObject *object,
///                                             const QVariantMap &change, void *context);
///
/// is called. A null object or observer and a nil key path do nothing. Raises `NSInvalidArgumentException`
/// when a key names no property, a property that can change without a signal, or is followed by a dot and
/// holds no object.
KV_EXPORT void addObserver(QObject *object, QObject *observer, const QString &keyPath, std::uint32_t options,
                           void *context);

/// The same with a callable in place of the observer's method; it ends with the observer too.
KV_EXPORT void addObserver(QObject *object, QObject *observer, const QString &keyPath, std::uint32_t options,
                           std::function<void(const QVariantMap &change)> work);

/// Ends one observation, the latest of this pair and key path; without one nothing happens. The pointers are
/// compared and not followed. Safe inside the observer's method.
KV_EXPORT void removeObserver(QObject *object, QObject *observer, const QString &keyPath);

/// Announces that the property `key` of `object` is about to change: observers with the prior option are
/// told.
KV_EXPORT void willChangeValueForKey(QObject *object, const QString &key);

} // namespace NSKeyValueObserving

} // namespace KVBase
