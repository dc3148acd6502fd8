#pragma once
// Keyboard toggles that the library's tools read, as the embedding program
// reports them (a window system's own state is the program's business).
// Caps Lock switches the line layer's cursor line and the horizon tool's
// choice of peaks over troughs.

#include "platform/api.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

void set_caps_lock(bool on);
bool caps_lock();

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
