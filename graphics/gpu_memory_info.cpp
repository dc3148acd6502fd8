#include "graphics/gpu_memory_info.h"

#include <GL/glew.h>

#include "foundation/log.h"

namespace Tolmar {

namespace {

// The extensions count in kilobytes; a driver that answers a negative
// number has nothing to offer.
std::uint64_t kilobytes_to_bytes(GLint kb) { return kb > 0 ? static_cast<std::uint64_t>(kb) * 1024u : 0u; }

double megabytes(GLint kb) { return kb / 1024.0; }

} // namespace

std::optional<std::uint64_t> query_gpu_free_memory()
{
    if (GLEW_ATI_meminfo) {
        GLint v[4] = {0, 0, 0, 0};
        glGetIntegerv(GL_TEXTURE_FREE_MEMORY_ATI, v);
        Util::logf("GL_TEXTURE_FREE_MEMORY_ATI: total_mem(%f) largest_free_block(%f) total_aux_mem(%f), "
                   "largest_aux_free_block(%f)\n",
                   megabytes(v[0]), megabytes(v[1]), megabytes(v[2]), megabytes(v[3]));
        return kilobytes_to_bytes(v[0]);
    }
    if (GLEW_NVX_gpu_memory_info) {
        GLint dedicated = 0, total = 0, current = 0, evictions = 0, evicted = 0;
        glGetIntegerv(GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX, &dedicated);
        glGetIntegerv(GL_GPU_MEMORY_INFO_TOTAL_AVAILABLE_MEMORY_NVX, &total);
        glGetIntegerv(GL_GPU_MEMORY_INFO_CURRENT_AVAILABLE_VIDMEM_NVX, &current);
        glGetIntegerv(GL_GPU_MEMORY_INFO_EVICTION_COUNT_NVX, &evictions);
        glGetIntegerv(GL_GPU_MEMORY_INFO_EVICTED_MEMORY_NVX, &evicted);
        Util::logf("GL_NVX_gpu_memory_info: dedicated_vid(%f) total_avail(%f), current_avail_vid(%f), "
                   "eviction_count(%d), evicted_mem(%f)\n",
                   megabytes(dedicated), megabytes(total), megabytes(current), evictions, megabytes(evicted));
        return kilobytes_to_bytes(current);
    }
    return std::nullopt;
}

} // namespace Tolmar
