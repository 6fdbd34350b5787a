#pragma once

#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtGui/QWindow>

#include <vector>

namespace KVBase
{

/// What the user is doing with the application's windows: whether a popup is open or a mouse button is held,
/// and whether a modal window runs a loop of its own. Application's thread; does nothing in a program without
/// windows.
class UserActivity {
public:
    /// Looks at an event on its way to `receiver`, at a loop level. True when the answers may have changed.
    bool noteEvent(QObject *receiver, const QEvent *event, int loopLevel);

    /// Whether a popup is open or a mouse button is held, drags included.
    bool isTracking();

    /// Whether a modal window is open and a loop runs above the level at which it opened.
    bool isModal(int loopLevel);

private:
    struct ModalWindow {
        QPointer<QWindow> window;
        int loopLevel;
    };

    void noteShown(QWindow *window, int loopLevel);
    void notePress(QObject *receiver, Qt::MouseButtons held);
    bool isPopupOpen();
    bool isButtonHeld() const;
    void adoptModalWindow(int loopLevel);

    std::vector<ModalWindow> modalWindows;
    std::vector<QPointer<QWindow>> popups;
    bool windowsWereSeen = false;
    /// Buttons that only events spoke of, and who got the event: programs simulate presses so.
    Qt::MouseButtons simulatedButtons;
    QPointer<QObject> simulatedReceiver;
};

} // namespace KVBase
