#pragma once

#include <KVBase/KVExport.h>

namespace KVBase
{

/// Whether a modifier key was held with the event that the application is handling: the innermost one that is
/// being delivered. False outside the delivery of an input event. Main thread.
namespace CurrentEventModifierState
{

KV_EXPORT bool isShiftKeyDown();
KV_EXPORT bool isControlKeyDown();

/// The Alt key.
KV_EXPORT bool isOptionKeyDown();

/// The Super key.
KV_EXPORT bool isCommandKeyDown();

} // namespace CurrentEventModifierState

} // namespace KVBase
