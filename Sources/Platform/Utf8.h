#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase
{

/// `text` in UTF-8, with U+FFFD for a surrogate that lacks its other half: Qt's own conversion would put a
/// question mark there, which patterns and URLs give a meaning.
inline QByteArray utf8(const QString &text)
{
    if (text.isValidUtf16())
        return text.toUtf8();
    const QList<uint> points = text.toUcs4();
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(points.constData()), points.size()).toUtf8();
}

} // namespace KVBase
