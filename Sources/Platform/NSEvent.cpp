#include <KVBase/Platform/NSEvent.h>

#include <QtGui/QInputEvent>

namespace KVBase
{

std::uint32_t modifierFlags(const QInputEvent *event)
{
    if (event == nullptr)
        return 0;
    const Qt::KeyboardModifiers held = event->modifiers();
    return (held.testFlag(Qt::ShiftModifier) ? NSShiftKeyMask : 0) |
           (held.testFlag(Qt::ControlModifier) ? NSControlKeyMask : 0) |
           (held.testFlag(Qt::AltModifier) ? NSAlternateKeyMask : 0) |
           (held.testFlag(Qt::MetaModifier) ? NSCommandKeyMask : 0);
}

} // namespace KVBase
