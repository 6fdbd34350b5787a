#pragma once

#include <KVBase/Platform/KVFormatArgument.h>
#include <KVBase/Platform/KVFormatConversion.h>

#include <QtCore/QByteArrayView>

namespace KVBase
{

class KVFormatOutput;

/// The bytes of a `%s`, of which no more are read than the precision allows (-1: none given); a character
/// that it would cut in two is left out whole.
QByteArrayView formatBytes(const KVFormatArgument &argument, std::int32_t precision);

/// Prints one argument the way `conversion` says. The argument offers what the conversion needs.
void putConversion(KVFormatOutput &output, const KVFormatConversion &conversion,
                   const KVFormatArgument &argument);

} // namespace KVBase
