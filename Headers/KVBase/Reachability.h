#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QUrl>

namespace KVBase::Reachability
{

/// Whether the host of `url` can be reached now, without dialling or anyone's doing: it has an address, and a
/// route leads there. Sends nothing to the host, but blocks while its name is looked up. A file URL without a
/// host counts as reachable, any other URL without a host does not. Any thread.
KV_EXPORT bool isHostReachable(const QUrl &url);

/// Whether the interface that `url` would use is up. Looks up no name and sends nothing; a host given by name
/// is taken to be behind the default route. false for a nil URL and for one without a host. Any thread.
KV_EXPORT bool isNetworkConnectionUp(const QUrl &url);

/// `isNetworkConnectionUp`.
KV_EXPORT bool checkNetwork(const QUrl &url);

/// Shows the desktop's network settings; true when they opened, and when there was nothing to open. false for
/// a nil URL. Main thread.
KV_EXPORT bool showNetworkDiagnostics(const QUrl &url);

} // namespace KVBase::Reachability
