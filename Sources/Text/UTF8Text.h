#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase
{

/// The text's UTF-8 bytes, empty for a text that has none because it holds half a surrogate pair.
inline QByteArray utf8OrEmpty(const QString &text)
{
    return text.isValidUtf16() ? text.toUtf8() : QByteArray();
}

} // namespace KVBase
