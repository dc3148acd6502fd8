#pragma once
// Reads the traces of a rectangle of lines of an indexed SEG-Y file, a band
// of its inlines at a time, into one dense block of decoded samples, for the
// brick pass. Nothing is cached and nothing is copied twice: runs of traces
// that follow each other in the file are read with one call into a
// per-thread buffer and decoded from there into their place in the block,
// mapped as SEGY3D_decode_trace maps them. Many threads may locate or read
// disjoint rows at once.

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

#include "foundation/CompressedIndex.h"

namespace Tolmar {

// The samples of a band of traces: large and written whole before they are
// read, so they are not cleared first, and kept from band to band. Backed by
// huge pages where the system gives them, so that first use costs a page
// fault every 2 MB instead of every 4 KB.
class SampleBlock {
public:
    SampleBlock() = default;
    ~SampleBlock();
    SampleBlock(SampleBlock const&) = delete;
    SampleBlock& operator=(SampleBlock const&) = delete;

    // Room for n floats; what was there may be lost when it grows. False
    // when the memory cannot be had.
    bool reserve(std::size_t n);
    float* data() { return data_; }
    float const* data() const { return data_; }

private:
    float* data_ = nullptr;
    std::size_t bytes_ = 0;
};

// Where the traces of a rectangle of lines are in the file. Lines are counted
// as indices into the survey's ranges: inline inlStart + inlStep * i,
// crossline crlStart + crlStep * j; trace (i, j) of the rectangle is trace
// i * crosslines + j.
struct TraceWindow {
    int inl0 = 0, crl0 = 0; // the first line of each kind
    int inlines = 0, crosslines = 0;
    std::vector<long long> offsets; // per trace; -1 where the index has none
};

// The decoded samples of a band of a window's inlines.
struct TraceBand {
    int row0 = 0, rows = 0; // the window's inlines [row0, row0 + rows)
    int crosslines = 0;
    std::size_t samples = 0; // per trace
    SampleBlock data;        // trace (i, j) at ((i - row0) * crosslines + j) * samples
    std::vector<unsigned char> read; // whether it was read whole, in the same order

    // Trace t of the window; null when it is not in the band or was not read.
    float const* trace(std::size_t t) const
    {
        std::size_t const first = static_cast<std::size_t>(row0) * static_cast<std::size_t>(crosslines);
        if (t < first || t - first >= read.size() || !read[t - first]) return nullptr;
        return data.data() + (t - first) * samples;
    }
};

class TraceWindowReader {
public:
    TraceWindowReader() = default;
    ~TraceWindowReader();
    TraceWindowReader(TraceWindowReader const&) = delete;
    TraceWindowReader& operator=(TraceWindowReader const&) = delete;

    // The index, whose header describes the survey, its sample format and
    // mapping, must outlive the reader. False with a log line when the file
    // cannot be opened or the format is unknown.
    bool open(std::string const& path, CompressedIndex const& index);

    // Sizes the window for inlines [inl0, inl0 + inlines) and crosslines
    // [crl0, crl0 + crosslines), none of its traces located yet.
    void shape(TraceWindow& w, int inl0, int inlines, int crl0, int crosslines) const;
    // Looks up the traces of the window's inlines [from, to).
    void locate_rows(TraceWindow& w, int from, int to) const;
    // Sizes the band for the window's inlines [row0, row0 + rows), none read
    // yet; its storage is kept from earlier bands. False, with a log line and
    // the band empty, when memory runs out.
    bool hold(TraceBand& band, TraceWindow const& w, int row0, int rows) const;
    // Reads the located traces of the window's inlines [from, to), which the
    // band holds. A trace that cannot be read whole stays unread; the first
    // such read is logged.
    void read_rows(TraceBand& band, TraceWindow const& w, int from, int to) const;

private:
    int fd_ = -1;
    std::string path_;
    CompressedIndex const* index_ = nullptr;
    std::size_t samples_ = 0;
    long long traceBytes_ = 0;
    mutable std::atomic<bool> failureLogged_{false};
};

} // namespace Tolmar
