#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QString>

namespace KVBase
{

/// The file that this process was started from, links resolved.
KV_EXPORT QString executablePath();

/// The folder of the application's bundle: `X.app` for `X.app/Contents/MacOS/name`, an existing
/// `<prefix>/share/name` for `<prefix>/bin/name`, else the executable's folder.
KV_EXPORT QString bundlePathForExecutable(const QString &executable);

} // namespace KVBase
