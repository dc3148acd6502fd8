#pragma once
// How background readers tell the embedding program that new data have
// arrived and a redraw would show more. The program registers a sink and
// hands its handle to the readers; a reader posts to the handle from its own
// thread. Posting is cheap and thread-safe, and a handle whose sink is gone
// is ignored. Each post carries the message name "LOD_Update_Message" and two
// zero parameters, as a window message would.

#include "platform/api.h"

#include <cstdint>
#include <functional>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

inline constexpr char const* kUpdateMessageName = "LOD_Update_Message";

using UpdateHandle = std::uint64_t; // 0 names no sink
using UpdateCallback = std::function<void(char const* message, std::uintptr_t wParam, std::intptr_t lParam)>;

// The callback runs on the posting thread; it must be quick and thread-safe.
UpdateHandle register_update_sink(UpdateCallback callback);
// After this returns no new call reaches the callback; calls already running finish.
void unregister_update_sink(UpdateHandle handle);
void post_update(UpdateHandle handle);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
