#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>

#include <QtCore/QString>

namespace KVBase
{

/// The four characters of a creator code, the highest byte first; what no text holds becomes "?".
QString creatorText(OSType creator);

/// The bundle whose Info.plist has that "CFBundleSignature", else nil. Looked for in the application folders
/// and in
/// `<data folder>/<name>`, the user's first.
QString bundleWithSignature(const QString &signature);

/// The program of the desktop entry that has that "X-CreatorCode", else nil.
QString programWithCreatorCode(const QString &code);

/// The program of the bundle at `path`, or `path` itself if it is one, absolute; nil when there is none.
KV_EXPORT QString programOfApplication(const QString &path);

} // namespace KVBase
