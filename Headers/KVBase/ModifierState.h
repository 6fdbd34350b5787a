#pragma once

#include <KVBase/KVExport.h>

class QInputEvent;

namespace KVBase
{

/// Whether a modifier key was held with a given event. Other modifiers make no difference; a null event
/// answers false.
namespace ModifierState
{

KV_EXPORT bool isShiftKeyDown(const QInputEvent *event);
KV_EXPORT bool isControlKeyDown(const QInputEvent *event);

/// The Alt key.
KV_EXPORT bool isOptionKeyDown(const QInputEvent *event);

/// The Super key.
KV_EXPORT bool isCommandKeyDown(const QInputEvent *event);

} // namespace ModifierState

} // namespace KVBase
