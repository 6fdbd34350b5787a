#pragma once

#include <KVBase/KVExport.h>

namespace KVBase::KVQuartzExtreme
{

/// Whether hardware draws on every active display. A display that it does not draw on is described in the
/// log, with its renderers; so is why the displays cannot be asked. No display, or none that can be asked,
/// answers false. The application's thread; may take as long as opening an OpenGL context a display. Never
/// throws.
KV_EXPORT bool isQuartzExtremeSupported();

} // namespace KVBase::KVQuartzExtreme
