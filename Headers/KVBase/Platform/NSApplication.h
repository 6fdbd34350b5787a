#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QObject>

class QInputEvent;

namespace KVBase
{

/// The running application, an adapter over the one `QCoreApplication`. Main thread only.
class KV_EXPORT NSApplication {
public:
    /// null while no `QCoreApplication` exists. Not owned, never destroyed.
    static NSApplication *sharedApplication();

    /// Makes the application's "AppleLanguages" and "AppleLocale" the languages and the locale of Qt, of the
    /// C library's message catalogues and of every program it starts. To be called first in `main()`; keys
    /// that are absent change nothing.
    static void applyLanguagePreferences();

    NSApplication(const NSApplication &) = delete;
    NSApplication &operator=(const NSApplication &) = delete;

    /// Not retained; null once destroyed.
    QObject *delegate() const;
    void setDelegate(QObject *delegate);

    /// The input event that is being delivered; null outside event delivery. Valid until the handler returns.
    const QInputEvent *currentEvent() const;

    /// Asks the application to quit. It goes on when the delegate's `Q_INVOKABLE bool
    /// applicationShouldTerminate()` answers false or a window refuses to close. Before the loop runs, the
    /// request waits for it.
    void terminate(QObject *sender);

private:
    NSApplication() = default;
};

} // namespace KVBase
