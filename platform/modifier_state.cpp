#include "platform/modifier_state.h"

#include <atomic>

namespace Tolmar::platform {

namespace {

std::atomic<bool> capsLock{false};

} // namespace

void set_caps_lock(bool on) { capsLock = on; }

bool caps_lock() { return capsLock; }

} // namespace Tolmar::platform
