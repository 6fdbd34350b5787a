#include <KVBase/ModifierState.h>

#include <KVBase/Platform/NSEvent.h>

namespace KVBase::ModifierState
{

bool isShiftKeyDown(const QInputEvent *event) { return (modifierFlags(event) & NSShiftKeyMask) != 0; }

bool isControlKeyDown(const QInputEvent *event) { return (modifierFlags(event) & NSControlKeyMask) != 0; }

bool isOptionKeyDown(const QInputEvent *event) { return (modifierFlags(event) & NSAlternateKeyMask) != 0; }

bool isCommandKeyDown(const QInputEvent *event) { return (modifierFlags(event) & NSCommandKeyMask) != 0; }

} // namespace KVBase::ModifierState
