#pragma once
// Which GL context is current on this thread: the EGL one where EGL has one
// current, the GLX one otherwise. Renderers remember the context they were
// made in and draw differently into another (a print or export context).

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// An opaque handle; null when no context is current.
void* current_gl_context();

} // namespace Tolmar

TOLMAR_PUBLIC_END
