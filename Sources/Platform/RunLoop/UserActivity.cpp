#include "Platform/RunLoop/UserActivity.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QMouseEvent>

#include <algorithm>

namespace KVBase
{

namespace
{

bool isPopup(const QWindow &window) { return window.type() == Qt::Popup; }

bool isModalKind(const QWindow &window) { return window.modality() != Qt::NonModal; }

bool hasWindows() { return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr; }

} // namespace

bool UserActivity::noteEvent(QObject *receiver, const QEvent *event, int loopLevel)
{
    switch (event->type()) {
    case QEvent::Show:
        if (auto *window = qobject_cast<QWindow *>(receiver))
            noteShown(window, loopLevel);
        return true;
    case QEvent::Hide:
        return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
        notePress(receiver, static_cast<const QMouseEvent *>(event)->buttons());
        return true;
    default:
        return false;
    }
}

void UserActivity::noteShown(QWindow *window, int loopLevel)
{
    if (isPopup(*window))
        popups.emplace_back(window);
    if (!isModalKind(*window))
        return;
    std::erase_if(modalWindows, [window](const ModalWindow &known) { return known.window == window; });
    modalWindows.push_back({window, loopLevel});
}

void UserActivity::notePress(QObject *receiver, Qt::MouseButtons held)
{
    simulatedButtons = held & ~QGuiApplication::mouseButtons();
    simulatedReceiver = receiver;
}

bool UserActivity::isButtonHeld() const
{
    return QGuiApplication::mouseButtons() != Qt::NoButton ||
           (simulatedButtons != Qt::NoButton && !simulatedReceiver.isNull());
}

bool UserActivity::isPopupOpen()
{
    if (!windowsWereSeen) {
        for (QWindow *window : QGuiApplication::topLevelWindows())
            if (window->isVisible() && isPopup(*window))
                popups.emplace_back(window);
        windowsWereSeen = true;
    }
    std::erase_if(popups,
                  [](const QPointer<QWindow> &window) { return window.isNull() || !window->isVisible(); });
    return !popups.empty();
}

bool UserActivity::isTracking() { return hasWindows() && (isPopupOpen() || isButtonHeld()); }

/// A modal window that opened unseen: one that blocks the whole application nearly always runs a loop of its
/// own, one that blocks its parent never does.
void UserActivity::adoptModalWindow(int loopLevel)
{
    QWindow *const window = QGuiApplication::modalWindow();
    if (window == nullptr)
        return;
    const auto isKnown = [window](const ModalWindow &known) { return known.window == window; };
    if (std::any_of(modalWindows.begin(), modalWindows.end(), isKnown))
        return;
    modalWindows.push_back({window, window->modality() == Qt::ApplicationModal ? loopLevel - 1 : loopLevel});
}

bool UserActivity::isModal(int loopLevel)
{
    if (!hasWindows())
        return false;
    std::erase_if(modalWindows, [](const ModalWindow &known) {
        return known.window.isNull() || !known.window->isVisible() || !isModalKind(*known.window);
    });
    adoptModalWindow(loopLevel);
    return std::any_of(modalWindows.begin(), modalWindows.end(),
                       [loopLevel](const ModalWindow &known) { return loopLevel > known.loopLevel; });
}

} // namespace KVBase
