#include "Platform/Services/AlertPresenter.h"

#include "Platform/Companion.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>
#include <QtCore/QThread>

namespace KVBase
{

template class Service<AlertPresenter>;

AlertPresenter::~AlertPresenter() = default;

namespace
{

using PanelFunction = void (*)(const QString &title, const QString &message, const QString &button);

void runPanel(const QString &title, const QString &message, const QString &button)
{
    static const auto panel =
        reinterpret_cast<PanelFunction>(companionFunction("Widgets", "KVBaseRunCriticalAlert"));
    if (panel != nullptr)
        panel(title, message, button);
}

class WidgetPresenter : public AlertPresenter {
public:
    void criticalAlert(const QString &title, const QString &message, const QString &button) override
    {
        QCoreApplication *const application = QCoreApplication::instance();
        // A message box under any other kind of application ends the process.
        if (application == nullptr || !application->inherits("QApplication"))
            return;
        if (application->thread() == QThread::currentThread())
            return runPanel(title, message, button);
        QMetaObject::invokeMethod(
            application, [title, message, button] { runPanel(title, message, button); },
            Qt::QueuedConnection);
    }
};

} // namespace

AlertPresenter *AlertPresenter::makeDefault() { return new WidgetPresenter; }

} // namespace KVBase
