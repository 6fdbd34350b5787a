#pragma once

#include "Platform/VCardDocument.h"

#include <initializer_list>

namespace KVBase
{

/// Whether two names of a card are the same, which their case does not tell apart.
inline bool isSameVCardName(QByteArrayView one, QByteArrayView other)
{
    const auto folded = [](char byte) { return byte >= 'A' && byte <= 'Z' ? byte | 0x20 : int{byte}; };
    if (one.size() != other.size())
        return false;
    for (qsizetype i = 0; i < one.size(); ++i) {
        if (folded(one[i]) != folded(other[i]))
            return false;
    }
    return true;
}

/// Whether `name` is one of `names`.
bool isAmongVCardNames(QByteArrayView name, std::initializer_list<QByteArrayView> names);

/// Reads "[group.]name[;parameter]*:value" into an empty line; false when the text is no such line.
/// `isLasting` says that the text outlives the line, which then needs no copies.
bool parseVCardLine(QByteArrayView text, bool isLasting, VCardLine *line);

} // namespace KVBase
