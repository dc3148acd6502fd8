#pragma once
// Large buffers that are filled at once fault in page by page, and for a
// buffer of hundreds of megabytes the kernel's work per 4 KB page costs more
// than the filling. Where the system offers transparent huge pages on
// request, a buffer can ask for them before it is first touched.

#include "platform/api.h"

#include <cstddef>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

// Asks for huge pages over the whole pages of [p, p + bytes). Only buffers
// of 32 MB and more: smaller ones may share their pages with the heap.
// Harmless where the system has no such pages.
void advise_huge_pages(void* p, std::size_t bytes);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
