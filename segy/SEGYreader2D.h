#pragma once
// Reads a 2D seismic line: traces labelled by shot point (SP) with map
// coordinates. Real files repeat and skip shot points; analyze() finds where,
// and read() loads the line with one trace per SP step into amplitudes(),
// trace after trace, each nSamplesUsed() samples from zStart() to
// zStopUsed().
//
// Two arrays travel through the calls:
//   spRange[9]:  0-2 the wanted SP start, stop and step; read() leaves the
//                SP range found in 0-1, the inline start, stop and step in
//                3-5 and the crossline start, stop and step in 6-8.
//   ranges[13]:  0-1 x min and max, 2-3 y min and max, 6-7 z min and max
//                (on entry the wanted window, ms), 8 the z step (ms; raised
//                to a multiple of the file's interval), 9-10 the lowest and
//                highest amplitude, 11-12 the lowest and highest depth word.
// Results are 1 for success and 0 for failure, with the reason printed.

#include "platform/api.h"

#include <istream>
#include <memory>
#include <vector>

#include "segy/SEGYcube.h"
#include "segy/SEGYreader.h"
#include "segy/SEGYtrace.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SEGYreader2D : public SEGYreader {
public:
    SEGYreader2D();

    // Walks the line and lists its repair in `traces`, in line order: the
    // file's traces that make it, one per SP (a run of equal SPs leaves its
    // middle trace), and an entry with insert() for each SP missing from a
    // jump, placed evenly between its neighbours. An entry's tsn() is the
    // trace's position in the file counted from 1, since the sequence
    // number word is often 0 or repeated; inserted entries have 0. Answers
    // 0 when the file or its reel header cannot be read.
    int analyze(Type const* types, int const* positions, int* spRange, double* ranges,
                std::vector<SEGYtrace>& traces);
    // The track of every trace as ((x, y), SP) in navigation(), with the SP
    // range in spRange 0-1 and the x, y, z and depth ranges.
    int readNavigation(Type const* types, int const* positions, int* spRange, double* ranges);
    // Reads the line that analyze() listed (with an empty list: every
    // spStep-th trace from the first in the SP range and z window, as the
    // file has it) and fills the ranges. Unless headersOnly, amplitudes()
    // receives the samples, inserted traces and unread samples holding the
    // undefined value of the storage kind (127, 32767 or the largest
    // float), mapped onto the storage kind's range where they do not fit
    // it, and navigation() the repaired track.
    int read(Type const* types, int const* positions, int* spRange, double* ranges,
             std::vector<SEGYtrace> const& traces, bool headersOnly);

    // The line last read: traces, samples a trace, z of the last sample.
    int nTracesUsed() const { return nTracesUsed_; }
    int nSamplesUsed() const { return nSamplesUsed_; }
    double zStopUsed() const { return zStopUsed_; }

private:
    struct Header;
    struct Window;
    class Selection;

    bool openLine(std::unique_ptr<std::istream>& s, double* ranges);
    bool readHeader(std::istream* s, Type const* types, int const* positions, Header& h);
    bool zWindow(double z, double const* ranges, Window& w) const;
    bool firstTraceAgrees(int traceSamples);
    static void widenAmplitudes(double* ranges, SEGYtrace const& t, bool first);
    void readAndCreateLine(std::istream* s, SEGYcube const& cube, int tracesRead, int const* spRange,
                           double* ranges, bool measured, Type const* types, int const* positions,
                           std::vector<SEGYtrace> const& traces, float& low, float& high);

    int nTracesUsed_ = 0;
    int nSamplesUsed_ = 0;
    double zStopUsed_ = 0.0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
