#include <KVBase/Platform/NSApplication.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QThread>
#include <QtGui/QInputEvent>

#include <utility>

namespace KVBase
{

namespace
{

/// The input events that are being delivered, the innermost first. Each lies in the stack frame of its
/// delivery.
struct Delivered {
    const QInputEvent *event;
    const Delivered *outer;
};

thread_local const Delivered *innermost = nullptr;

QEvent::Type deliveryType()
{
    static const int type = QEvent::registerEventType();
    return static_cast<QEvent::Type>(type);
}

/// Delivers one input event in the place of Qt, which tells when a delivery begins but not when it ends. It
/// goes through an event of its own, so that Qt counts the nesting that `deleteLater` depends on.
class Delivery : public QObject {
public:
    Delivery(QObject *target, QInputEvent *inputEvent)
        : receiver(target), delivered{inputEvent, std::exchange(innermost, &delivered)}, input(inputEvent)
    {}
    ~Delivery() override { innermost = delivered.outer; }

    bool run()
    {
        QEvent start(deliveryType());
        QCoreApplication::sendEvent(this, &start);
        return result;
    }

    bool event(QEvent *start) override
    {
        if (start->type() != deliveryType())
            return QObject::event(start);
        result = QCoreApplication::instance()->notify(receiver, input);
        return true;
    }

private:
    QObject *receiver;
    Delivered delivered;
    QInputEvent *input;
    bool result = false;
};

/// Qt calls this before each delivery; true means that the event was delivered here. `data` holds the
/// receiver, the event and the place for the result.
bool deliverInputEvent(void **data)
{
    auto *event = static_cast<QEvent *>(data[1]);
    const QCoreApplication *application = QCoreApplication::instance();
    if (!event->isInputEvent() || application == nullptr || QThread::currentThread() != application->thread())
        return false;
    Delivery delivery(static_cast<QObject *>(data[0]), static_cast<QInputEvent *>(event));
    *static_cast<bool *>(data[2]) = delivery.run();
    return true;
}

void trackInputEvents()
{
    [[maybe_unused]] static const bool registered =
        QInternal::registerCallback(QInternal::EventNotifyCallback, deliverInputEvent);
}

// The first question about the current event may come while that event is being delivered, so that tracking
// has to begin with the application. This is the library's one registration at load; until then it costs
// nothing.
Q_COREAPP_STARTUP_FUNCTION(trackInputEvents)

} // namespace

const QInputEvent *NSApplication::currentEvent() const
{
    return innermost != nullptr ? innermost->event : nullptr;
}

} // namespace KVBase
