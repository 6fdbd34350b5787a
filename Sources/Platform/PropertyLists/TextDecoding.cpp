#include "Platform/PropertyLists/TextDecoding.h"

#include <QtCore/QStringConverter>

#include <optional>

namespace KVBase::PropertyLists
{

namespace
{

/// UTF-16 without a mark: every text of this kind begins with an ASCII character, whose other byte is zero.
std::optional<QStringConverter::Encoding> encodingByZeroBytes(const QByteArray &data)
{
    if (data.size() < 2 || data.size() % 2 != 0)
        return std::nullopt;
    if (data[0] == '\0' && data[1] != '\0')
        return QStringConverter::Utf16BE;
    if (data[0] != '\0' && data[1] == '\0')
        return QStringConverter::Utf16LE;
    return std::nullopt;
}

QString decoded(const QByteArray &data, QStringConverter::Encoding encoding)
{
    QStringDecoder decoder(encoding);
    return decoder(data);
}

} // namespace

QString decodedText(const QByteArray &data)
{
    if (data.isEmpty())
        return QStringLiteral("");
    auto encoding = QStringConverter::encodingForData(data);
    if (!encoding)
        encoding = encodingByZeroBytes(data);
    if (encoding)
        return decoded(data, *encoding);
    return data.isValidUtf8() ? QString::fromUtf8(data) : QString::fromLatin1(data);
}

} // namespace KVBase::PropertyLists
