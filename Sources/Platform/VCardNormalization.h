#pragma once

#include "Platform/VCardDocument.h"

namespace KVBase
{

enum class VCardVersion { Two, Three, Four };

/// The value of the line's encoding, empty when it names none.
QByteArray vCardEncoding(const VCardLine &line);

bool isVCardBase64(const VCardLine &line);
bool isVCardQuotedPrintable(const VCardLine &line);

/// Makes a line of version 3.0 in UTF-8 out of one that `version` wrote; `isUtf8` says that its bytes are
/// known to be valid. A line that is one already stays as it is, so what is written of it reads the same.
void normalizeVCardLine(VCardLine *line, VCardVersion version, bool isUtf8);

} // namespace KVBase
