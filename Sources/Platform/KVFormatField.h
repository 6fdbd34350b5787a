#pragma once

#include <KVBase/Platform/KVFormatArgument.h>
#include <KVBase/Platform/KVFormatConversion.h>

namespace KVBase
{

class KVFormatOutput;

/// Prints one argument the way `conversion` says. The argument offers what the conversion needs.
void putConversion(KVFormatOutput &output, const KVFormatConversion &conversion,
                   const KVFormatArgument &argument);

} // namespace KVBase
