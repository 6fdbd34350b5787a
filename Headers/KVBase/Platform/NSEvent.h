#pragma once

#include <KVBase/KVExport.h>

#include <cstdint>

class QInputEvent;

namespace KVBase
{

/// Bits of an event's modifier flags.
inline constexpr std::uint32_t NSShiftKeyMask = 1u << 17;
inline constexpr std::uint32_t NSControlKeyMask = 1u << 18;
inline constexpr std::uint32_t NSAlternateKeyMask = 1u << 19;
inline constexpr std::uint32_t NSCommandKeyMask = 1u << 20;

/// The modifier keys held with `event`: Shift, Control, Alt (Option) and Super (Command), each under its own
/// bit; 0 for null.
KV_EXPORT std::uint32_t modifierFlags(const QInputEvent *event);

} // namespace KVBase
