#pragma once
// The per-thread "last error information" of host calls: a host wrapper that
// fails sets a description before it returns its status, and
// HResultCheckFunc takes it.

#include "platform/api.h"

#include <optional>
#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

void set_last_error_info(std::string description);
void clear_last_error_info();
// The description set on this thread, if any; taking it clears it.
std::optional<std::string> take_last_error_info();

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
