#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVSelector.h>

#include <QtCore/QObject>
#include <QtCore/QVariant>

namespace KVBase
{

/// Calling a method by its name. A selector means the slot or invokable method whose name is the text before
/// the first colon and whose number of parameters is the number of colons; among several the one declared
/// last, of the most derived class. Look-ups are remembered, so that repeated calls are cheap. Any thread;
/// the method runs on the caller's.

/// Whether `receiver` has a method for `selector`; false for a nil receiver or selector.
KV_EXPORT bool respondsToSelector(const QObject *receiver, const KVSelector &selector);

/// Calls the method and answers its result, nil for one that answers nothing. Objects are converted to the
/// types of the parameters, nil to a default-constructed value; surplus objects are dropped, missing ones are
/// nil. A nil receiver does nothing and answers nil. Raises `NSInvalidArgumentException` when there is no
/// such method or when an object cannot be converted; what the method throws passes through.
KV_EXPORT QVariant performSelector(QObject *receiver, const KVSelector &selector);
KV_EXPORT QVariant performSelector(QObject *receiver, const KVSelector &selector, const QVariant &object);
KV_EXPORT QVariant performSelector(QObject *receiver, const KVSelector &selector, const QVariant &object1,
                                   const QVariant &object2);

} // namespace KVBase
