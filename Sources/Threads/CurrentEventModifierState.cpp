#include <KVBase/CurrentEventModifierState.h>

#include <KVBase/ModifierState.h>
#include <KVBase/Platform/NSApplication.h>

namespace KVBase::CurrentEventModifierState
{

namespace
{

const QInputEvent *currentEvent()
{
    const NSApplication *application = NSApplication::sharedApplication();
    return application != nullptr ? application->currentEvent() : nullptr;
}

} // namespace

bool isShiftKeyDown() { return ModifierState::isShiftKeyDown(currentEvent()); }

bool isControlKeyDown() { return ModifierState::isControlKeyDown(currentEvent()); }

bool isOptionKeyDown() { return ModifierState::isOptionKeyDown(currentEvent()); }

bool isCommandKeyDown() { return ModifierState::isCommandKeyDown(currentEvent()); }

} // namespace KVBase::CurrentEventModifierState
