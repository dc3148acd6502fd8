#pragma once
// Where each trace of a scanned 3D survey starts in its SEG-Y file, keyed by
// (inline, crossline), together with the survey's description and amplitude
// histogram, and the index file that keeps them between runs
// (docs/formats.md).
//
// Surveys hold millions of traces, so entries are kept as runs rather than one
// record a trace: along one inline, crosslines at a fixed step whose offsets
// also change by a fixed step. An inline-sorted survey then needs one run an
// inline, a crossline-sorted one too (its offsets step by a whole crossline's
// worth of traces), and even traces in random order cost no more than one
// 24-byte run each plus a little growth room.

#include "platform/api.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/IndexedSEGYHeader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class CompressedIndex {
public:
    // Callers read and replace it whole; read() and write() carry it.
    IndexedSEGYHeader header;

    // A key already present keeps its first offset: a survey with repeated
    // keys is read as its first trace of each. Adds come from one thread.
    void add(int inl, int crl, long long offset);

    // O(log n) and free of hidden state, so many threads may look up at once
    // while nothing is added.
    bool lookup(int inl, int crl) const;
    bool lookup(int inl, int crl, long long& offset) const;

    long long num_traces() const { return traces_; }
    // Drops the entries and the histogram; the header stays.
    void clear();

    void set_histogram(std::vector<unsigned long long> const& bins) { histogram_ = bins; }
    std::vector<unsigned long long> const& histogram() const { return histogram_; }

    // Writes under a temporary name in the same folder, then renames it into
    // place, so a failed write leaves an existing file as it was. False with
    // a log line on failure.
    bool write(std::string const& path) const;
    // False with a log line when the file is missing, cut short, corrupt or
    // not an index file; the object is then left as it was, and `why` gets
    // the reason in words that follow the file's name.
    bool read(std::string const& path, std::string* why = nullptr);

    // Why the header cannot describe the survey of this index's traces, in
    // words that name the field, or empty: the sample format and count, line
    // ranges and z (survey_checks.h), a grid not absurd for the traces, a
    // finite map transform.
    std::string description_problem() const;


    // Calls f(inl, crl, offset) for every trace in (inline, crossline) order.
    template <class F>
    void for_each(F&& f) const;

    // Heap bytes held by the entries, growth room included.
    std::size_t memory_bytes() const;

private:
    // Crosslines crl, crl + crlStep, ... at offsets offset, offset + offsetStep, ...
    // A lone trace has both steps 0: its second trace will choose them.
    struct Run {
        std::int64_t offset;
        std::int32_t crl;
        std::int32_t count;
        std::int32_t offsetStep;
        std::int32_t crlStep;
    };
    static_assert(sizeof(Run) == 24);

    // Runs sorted by first crossline, their crossline ranges disjoint.
    struct Line {
        int inl;
        std::vector<Run> runs;
    };

    std::vector<Run>& runsOf(int inl);
    Line const* find(int inl) const;
    static bool place(std::vector<Run>& runs, int crl, long long offset);
    static void split(std::vector<Run>& runs, std::size_t i, int crl);
    static void mergeAround(std::vector<Run>& runs, std::size_t i);
    static bool merge(std::vector<Run>& runs, std::size_t i);

    std::vector<Line> lines_;               // sorted by inline
    std::vector<unsigned long long> histogram_;
    long long traces_ = 0;
    std::size_t lastLine_ = 0;              // the inline added to last: surveys add many in a row
};

template <class F>
void CompressedIndex::for_each(F&& f) const
{
    for (Line const& line : lines_)
        for (Run const& r : line.runs)
            for (std::int32_t k = 0; k < r.count; ++k)
                f(line.inl, static_cast<int>(r.crl + static_cast<long long>(k) * r.crlStep),
                  static_cast<long long>(r.offset + static_cast<long long>(k) * r.offsetStep));
}

} // namespace Tolmar

TOLMAR_PUBLIC_END
