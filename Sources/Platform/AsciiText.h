#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KVBase
{

/// Text from bytes that are meant to be ASCII: each byte above 0x7f reads as U+FFFD. Never nil.
inline QString textFromAscii(const QByteArray &bytes)
{
    QString text = QString::fromLatin1(bytes);
    for (QChar &character : text) {
        if (character.unicode() > 0x7f)
            character = QChar::ReplacementCharacter;
    }
    return text.isNull() ? QStringLiteral("") : text;
}

} // namespace KVBase
