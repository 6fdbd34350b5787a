#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QObject>

namespace KVBase
{

/// Restarting the application, for example in another language. Main thread only. The new process takes up
/// the stored choices through `NSApplication::applyLanguagePreferences()`.
namespace Relaunch
{

/// Quits the application and opens it again once its process has gone. The application may refuse to quit; it
/// is then opened again if it quits within ten minutes, and not at all after that. Does not block. Sets
/// LAUNCH_PATH in the environment.
KV_EXPORT void relaunch();

/// Stores the title of `sender` as the one language of the application and relaunches; true. The mnemonic
/// mark of a title does not belong to it. Any sender but a menu item (`QAction`) changes nothing: false.
KV_EXPORT bool relaunchUsingLocalization(QObject *sender);

/// The same for the locale identifier.
KV_EXPORT bool relaunchUsingLocale(QObject *sender);

/// Removes the application's own choice of language; the system's holds again from the next start on.
KV_EXPORT void removeLocalizationPreference(QObject *sender);

/// The same for the locale.
KV_EXPORT void removeLocalePreference(QObject *sender);

} // namespace Relaunch

} // namespace KVBase
