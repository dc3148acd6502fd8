#include "platform/update_sink.h"

#include <map>
#include <memory>
#include <mutex>

namespace Tolmar::platform {

namespace {

struct Registry {
    std::mutex mutex;
    std::map<UpdateHandle, std::shared_ptr<UpdateCallback>> sinks;
    UpdateHandle next = 1;
};

Registry& registry()
{
    static Registry r;
    return r;
}

} // namespace

UpdateHandle register_update_sink(UpdateCallback callback)
{
    auto& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    UpdateHandle const h = r.next++;
    r.sinks[h] = std::make_shared<UpdateCallback>(std::move(callback));
    return h;
}

void unregister_update_sink(UpdateHandle handle)
{
    auto& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.sinks.erase(handle);
}

void post_update(UpdateHandle handle)
{
    if (handle == 0) return;
    std::shared_ptr<UpdateCallback> sink;
    {
        auto& r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        auto const it = r.sinks.find(handle);
        if (it == r.sinks.end()) return;
        sink = it->second;
    }
    // Called outside the lock, so a sink may post or unregister itself.
    if (*sink) (*sink)(kUpdateMessageName, 0, 0);
}

} // namespace Tolmar::platform
