#include "platform/last_error.h"

#include <utility>

namespace Tolmar::platform {

namespace {
thread_local std::optional<std::string> lastError;
}

void set_last_error_info(std::string description) { lastError = std::move(description); }

void clear_last_error_info() { lastError.reset(); }

std::optional<std::string> take_last_error_info() { return std::exchange(lastError, std::nullopt); }

} // namespace Tolmar::platform
