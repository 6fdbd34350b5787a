#pragma once

#include "Platform/Services/FileManager.h"

namespace KVBase
{

/// Puts `data` in the place of the file at `path` (its bytes), whole or not at all.
bool replaceFile(const QByteArray &path, const QByteArray &data, const FileWriteOptions &options);

} // namespace KVBase
