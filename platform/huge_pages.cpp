#include "platform/huge_pages.h"

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace Tolmar::platform {

void advise_huge_pages(void* p, std::size_t bytes)
{
#ifdef MADV_HUGEPAGE
    if (!p || bytes < (std::size_t{32} << 20)) return;
    auto const page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    auto const from = (reinterpret_cast<std::uintptr_t>(p) + page - 1) / page * page;
    auto const to = (reinterpret_cast<std::uintptr_t>(p) + bytes) / page * page;
    if (to > from) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
#else
    (void)p;
    (void)bytes;
#endif
}

} // namespace Tolmar::platform
