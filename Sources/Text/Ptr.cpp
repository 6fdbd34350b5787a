#include <KVBase/Ptr.h>

#include "Text/UTF8Text.h"

#include <cstdint>

namespace KVBase::Ptr
{

namespace
{

/// The digit's value, or -1. The C library's test depends on the locale and on the sign of `char`.
int hexadecimalValue(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

} // namespace

QString stringWithPtr(const void *pointer)
{
    return QStringLiteral("0x") + QString::number(reinterpret_cast<std::uintptr_t>(pointer), 16);
}

void *ptrValue(const QString &text)
{
    const QByteArray bytes = utf8OrEmpty(text);
    const char *next = bytes.constData();
    if (bytes.startsWith("0x"))
        next += 2;
    std::uintptr_t value = 0;
    // The terminating NUL is no digit.
    for (int digit = hexadecimalValue(*next); digit >= 0; digit = hexadecimalValue(*++next))
        value = value * 16 + static_cast<std::uintptr_t>(digit);
    return reinterpret_cast<void *>(value);
}

} // namespace KVBase::Ptr
