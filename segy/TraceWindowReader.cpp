#include "segy/TraceWindowReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/mman.h>
#include <unistd.h>

#include "foundation/SEGY3D_read_trace.h"
#include "foundation/log.h"
#include "foundation/sample_decode.h"

namespace Tolmar {

namespace {

constexpr std::size_t kHugePage = std::size_t(2) << 20;

// Traces read with one call at most: a megabyte or so, large enough that the
// calls cost little, small enough to stay in the cache until decoded.
constexpr std::size_t kRunTraces = 256;

// Reads up to n bytes at offset; answers how many it got.
std::size_t read_at(int fd, unsigned char* p, std::size_t n, long long offset)
{
    std::size_t got = 0;
    while (got < n) {
        ssize_t const r = ::pread(fd, p + got, n - got, static_cast<off_t>(offset + static_cast<long long>(got)));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) break;
        got += static_cast<std::size_t>(r);
    }
    return got;
}

} // namespace

SampleBlock::~SampleBlock()
{
    if (data_) ::munmap(data_, bytes_);
}

bool SampleBlock::reserve(std::size_t n)
{
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(float) - kHugePage) return false;
    std::size_t const bytes = (n * sizeof(float) + kHugePage - 1) / kHugePage * kHugePage;
    if (bytes <= bytes_) return true;
    // Grown in place where the address space allows, else moved: either way
    // the pages touched so far stay, and only the new ones are fresh.
    void* p = data_ ? ::mremap(data_, bytes_, bytes, MREMAP_MAYMOVE)
                    : ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return false;
#ifdef MADV_HUGEPAGE
    ::madvise(p, bytes, MADV_HUGEPAGE); // a hint: without huge pages the block still works
#endif
    data_ = static_cast<float*>(p);
    bytes_ = bytes;
    return true;
}

TraceWindowReader::~TraceWindowReader()
{
    if (fd_ >= 0) ::close(fd_);
}

bool TraceWindowReader::open(std::string const& path, CompressedIndex const& index)
{
    std::size_t const samples = SEGY3D_trace_samples(index.header);
    SampleCoding coding;
    if (samples == 0 || !sample_coding_for_format(index.header.format, index.header.ibmFloat, coding)) {
        Util::logf("TraceWindowReader: the index of '%s' gives format %d with %d samples\n", path.c_str(),
                   index.header.format, index.header.nSamples);
        return false;
    }
    int const fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        Util::logf("TraceWindowReader: cannot open '%s' (%s)\n", path.c_str(), std::strerror(errno));
        return false;
    }
    // The pass reads each part of the file once or twice, front to back.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
    path_ = path;
    index_ = &index;
    samples_ = samples;
    traceBytes_ = 240 + static_cast<long long>(index.header.nSamples) * static_cast<long long>(sample_bytes(coding));
    return true;
}

void TraceWindowReader::shape(TraceWindow& w, int inl0, int inlines, int crl0, int crosslines) const
{
    w.inl0 = inl0;
    w.crl0 = crl0;
    w.inlines = std::max(0, inlines);
    w.crosslines = std::max(0, crosslines);
    w.offsets.assign(static_cast<std::size_t>(w.inlines) * static_cast<std::size_t>(w.crosslines), -1);
}

void TraceWindowReader::locate_rows(TraceWindow& w, int from, int to) const
{
    if (!index_) return;
    IndexedSEGYHeader const& h = index_->header;
    for (int i = std::max(0, from); i < std::min(to, w.inlines); ++i) {
        long long const inl = h.inlStart + static_cast<long long>(h.inlStep) * (w.inl0 + i);
        long long* const row = w.offsets.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(w.crosslines);
        for (int j = 0; j < w.crosslines; ++j) {
            long long const crl = h.crlStart + static_cast<long long>(h.crlStep) * (w.crl0 + j);
            long long offset = -1;
            bool const inRange = inl >= INT32_MIN && inl <= INT32_MAX && crl >= INT32_MIN && crl <= INT32_MAX;
            if (!inRange || !index_->lookup(static_cast<int>(inl), static_cast<int>(crl), offset)) offset = -1;
            row[j] = offset;
        }
    }
}

bool TraceWindowReader::hold(TraceBand& band, TraceWindow const& w, int row0, int rows) const
{
    band.row0 = row0;
    band.rows = std::max(0, rows);
    band.crosslines = w.crosslines;
    band.samples = samples_;
    std::size_t const traces = static_cast<std::size_t>(band.rows) * static_cast<std::size_t>(band.crosslines);
    bool const tooMany = samples_ > 0 && traces > std::numeric_limits<std::size_t>::max() / samples_ / sizeof(float) / 2;
    if (tooMany || !band.data.reserve(traces * samples_)) {
        Util::logf("TraceWindowReader: no memory for %zu traces of %zu samples\n", traces, samples_);
        band.rows = 0;
        band.read.clear();
        return false;
    }
    band.read.assign(traces, 0);
    return true;
}

void TraceWindowReader::read_rows(TraceBand& band, TraceWindow const& w, int from, int to) const
{
    if (fd_ < 0) return;
    IndexedSEGYHeader const& h = index_->header;
    // Reached through a reference bound once: in a shared library every use
    // of a thread_local costs a call.
    thread_local std::vector<unsigned char> bufferScratch;
    std::vector<unsigned char>& buffer = bufferScratch;
    auto const failed = [&](int i, int j) {
        if (failureLogged_.exchange(true)) return;
        Util::logf("TraceWindowReader: cannot read the trace of inline %lld, crossline %lld from '%s'\n",
                   h.inlStart + static_cast<long long>(h.inlStep) * (w.inl0 + i),
                   h.crlStart + static_cast<long long>(h.crlStep) * (w.crl0 + j), path_.c_str());
    };
    for (int i = std::max(from, band.row0); i < std::min(to, band.row0 + band.rows); ++i) {
        long long const* const offsets =
            w.offsets.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(w.crosslines);
        std::size_t const row = static_cast<std::size_t>(i - band.row0) * static_cast<std::size_t>(w.crosslines);
        for (int first = 0, last; first < w.crosslines; first = last) {
            last = first + 1;
            long long const start = offsets[first];
            if (start < 0) continue;
            while (last < w.crosslines && last - first < static_cast<int>(kRunTraces) &&
                   offsets[last] == start + (last - first) * traceBytes_)
                ++last;
            std::size_t const bytes = static_cast<std::size_t>(traceBytes_) * static_cast<std::size_t>(last - first);
            buffer.resize(bytes);
            std::size_t const got = read_at(fd_, buffer.data(), bytes, start);
            for (int j = first; j < last; ++j) {
                std::size_t const at = static_cast<std::size_t>(traceBytes_) * static_cast<std::size_t>(j - first);
                std::size_t const t = row + static_cast<std::size_t>(j);
                bool const whole = at + static_cast<std::size_t>(traceBytes_) <= got;
                band.read[t] = whole && SEGY3D_decode_trace(buffer.data() + at, h, band.data.data() + t * band.samples);
                if (!band.read[t]) failed(i, j);
            }
        }
    }
}

} // namespace Tolmar
