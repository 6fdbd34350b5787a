#include <KVBase/MD5Extensions.h>

#include "Text/UTF8Text.h"

#include <QtCore/QCryptographicHash>

namespace KVBase::MD5Extensions
{

QString md5(const QString &text)
{
    return text.isNull() ? QString() : stringWithMD5OfData(utf8OrEmpty(text));
}

QString stringWithMD5OfData(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
}

} // namespace KVBase::MD5Extensions
