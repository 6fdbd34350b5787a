#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/KVTarget.h>
#include <KVBase/Platform/NSError.h>

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <memory>
#include <optional>

namespace KVBase
{

/// The one test for nil. A comparison with an empty value is none: in Qt `QString() == ""` is true.
///
/// A text is nil when it is null, an object when it is invalid or holds a null text, an address or a date
/// when it is default-constructed, a target when it is nil or its receiver has gone.
inline bool isNil(const QString &text) { return text.isNull(); }
KV_EXPORT bool isNil(const QVariant &object);
KV_EXPORT bool isNil(const QUrl &url);
KV_EXPORT bool isNil(const QDateTime &date);
inline bool isNil(const NSError &error) { return error.isNil(); }
inline bool isNil(const KVTarget &target) { return target.object() == nullptr; }

template <class T>
bool isNil(const std::optional<T> &value)
{
    return !value.has_value();
}

template <class T>
bool isNil(const std::shared_ptr<T> &object)
{
    return object == nullptr;
}

template <class T>
bool isNil(const T *pointer)
{
    return pointer == nullptr;
}

} // namespace KVBase
