#pragma once
// Learns a post-stack 3D survey from its SEG-Y file in one pass: inline and
// crossline ranges and steps, sort order, z range, amplitude range, the affine
// grid between line numbers and map coordinates, and where every trace starts
// (the trace index). After scan() the survey can be indexed, bricked or read
// an inline at a time.
//
// Import order: setFile(first file), setFileNames(all files) for a survey in
// several files, byte order and overrides, then the wanted ranges (their
// defaults cover lines 0 to 1 and z 0 to 1 only), then scan().

#include "platform/api.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <istream>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/CompressedIndex.h"
#include "foundation/Info3DGrid.h"
#include "segy/SEGY3DBrickWriter.h"
#include "segy/SEGYreader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

template <class T>
class MultiPolygon;

class SEGYreader3D : public SEGYreader {
public:
    // How the survey outline is made.
    enum NavigationType {
        NavRectangle = 0,   // the rectangle of the ranges
        NavOutline = 1,     // traced around the traces present
        NavOutlineLive = 2  // as NavOutline, traces without signal counting as absent (full scan)
    };

    // Found line ranges; -1 until a scan sets them.
    struct IRange {
        int inlStart = -1, inlStop = -1, inlStep = -1;
        int crlStart = -1, crlStop = -1, crlStep = -1;
    };

    // Map position of (inline, crossline): x = x0 + xInl*inl + xCrl*crl, y likewise.
    struct Trans {
        double x0 = 0.0, xInl = 0.0, xCrl = 0.0;
        double y0 = 0.0, yInl = 0.0, yCrl = 0.0;
    };

    struct SurveyPoint {
        bool set = false;
        int inl = 0, crl = 0;
        double x = 0.0, y = 0.0;
    };

    template <class T>
    struct Range {
        T start, stop, step;
    };

    SEGYreader3D();

    // All files of the survey, first file first; opens nothing.
    void setFileNames(std::list<std::string> const& names) { fileNames_ = names; }
    // Ignored unless stop >= start and step >= 1.
    void setInlRange(int start, int stop, int step);
    void setCrlRange(int start, int stop, int step);
    // Milliseconds; ignored if start > stop or step <= 0.
    void setZRange(double start, double stop, double step);

    // Numbers must lie strictly inside these limits, or scan answers -4 (lines) or -3 (coordinates).
    void setInlCrlVerify(bool on) { inlCrlVerify_ = on; }
    void setInlVerify(std::pair<int, int> limits) { inlVerify_ = limits; }
    void setCrlVerify(std::pair<int, int> limits) { crlVerify_ = limits; }
    void setXyVerify(bool on) { xyVerify_ = on; }
    void setXVerify(std::pair<double, double> limits) { xVerify_ = limits; }
    void setYVerify(std::pair<double, double> limits) { yVerify_ = limits; }
    // Forbids skipping unwanted inlines by hops (files whose traces differ in length).
    void setVariableTrace(bool on) { variableTrace_ = on; }
    // A sorted file's scan stops at the first inline past the wanted range
    // and hops over those before it. On, every trace outside the range is
    // passed over by itself instead: a range that cuts off garbage header
    // numbers must not end the scan at the first of them.
    void setPassOverUnwanted(bool on) { passOverUnwanted_ = on; }
    void setNavigationType(NavigationType type) { navigationType_ = type; }

    // How the last scan made the affine grid.
    enum GridKind {
        GridFitted = 0,      // through three traces that span a plane
        GridOneInline = 1,   // along the one inline; the inline axis at right angles, as long
        GridOneCrossline = 2,// along the one crossline; the crossline axis likewise
        GridLineNumbers = 3  // one map unit per inline and crossline from the first trace: one
                             // trace, or coordinates that do not span the survey
    };
    // Off by default: a survey whose traces do not span a plane of map
    // coordinates makes scan answer 0. On, the scan makes up the grid
    // instead, as gridKind() says, and finds a step of 1 on a line it never
    // saw change.
    void setFallbackGrid(bool on) { fallbackGrid_ = on; }
    GridKind gridKind() const { return gridKind_; }
    // The largest distance, in map units, between an accepted trace's
    // coordinates and where the affine grid puts it; large when the inline
    // and crossline axes are not at right angles. NaN before a scan and for
    // GridLineNumbers.
    double transformMaxError() const { return transformMaxError_; }

    NavigationType navigationType() const { return navigationType_; }
    std::shared_ptr<MultiPolygon<double>> multiPoly() const { return multiPoly_; }
    void iRange(IRange& out) const { out = iRange_; }
    void trans(Trans& out) const { out = trans_; }
    // 1 inlines rise through the file, 0 they fall, -1 unknown.
    int inlOrder() const { return inlOrder_; }

    // The file's sample interval in milliseconds.
    double zStep() const { return sampleRate_ / 1000.0; }
    // z of the last sample of a trace starting at z0.
    double zStop(double z0) const { return (nSamples_ - 1) * zStep() + z0; }
    // Samples to skip in a trace starting at z to reach the survey's zMin.
    double zSkip(double z) const { return (dRange_.zMin - z) / zStep(); }
    // The value that marks missing data in a cube of this reader's storage.
    double undef() const;

    // Walks the files and learns the survey; with fullScan the samples are
    // read too, for the amplitude range. Answers 1 when done; 0 when a file
    // or reel header cannot be read or the survey does not span a plane;
    // -1 on a trace whose sample count differs from the reel header's; -3 or
    // -4 on a trace outside the verification limits; -5 on two traces in a
    // row at one position. After a failed scan the ranges and the index hold
    // what was found so far and must not be used.
    int scan(Type const* types, int const* positions, bool skipZeroXY, bool fullScan);

    // Reading inline by inline without bricks, after a full scan: skipInitial
    // positions a fresh stream at the first trace (1), or answers 0 for a
    // null stream or a failed read, closing it.
    int skipInitial(std::ifstream* stream);
    // Fills amplitudes() with the next inline: bufferSize values, trace by
    // trace at (crossline - crlStart) / crlStep * samplesPerTrace, scalarMax
    // where a trace is missing, mapped onto [scalarMin + 2, scalarMax - 1]
    // when rescaling. inl (start with -1) receives the number of the inline
    // that follows; traceCounter (start with -1) counts the traces passed.
    // Answers 1 when a trace went into the buffer, 0 at the end.
    int readNextInl(std::istream* stream, Type const* types, int const* positions, int samplesPerTrace,
                    long long bufferSize, int& inl, long long& traceCounter);
    // One inline through the index and its record (traceIndex().header):
    // nSamples values per crossline of the record, undef() where a trace is missing.
    void getInl(std::istream& stream, int inl, std::vector<float>& out);

    // Writes the scanned survey as the brick file folder + name + ".tmf", in
    // this reader's storage kind, amplitudes mapped by the rescaling rule
    // where they do not fit it. Answers 1 on success, 0 with a log line on
    // failure. The last three arguments have no effect: the scan fixed the
    // trace positions.
    int read_brick(std::string const& folder, std::string const& name, Type const* types, int const* positions,
                   bool unused);
    // Where the time of the last read_brick went.
    SEGY3DBrickWriter::Timings const& brickTimings() const { return brickTimings_; }

    // Writes the scanned survey's index, its record and an amplitude
    // histogram to path, so that the SEG-Y file can be used without bricks.
    // Answers 1 on success, 0 when the file cannot be written. On success
    // with rescaling, the amplitude range becomes the mapped one, rounded.
    int write_index(std::string const& path);
    // 65536 bins between the record's lowest and highest amplitude, from
    // about 50 x 50 traces spread evenly over the survey.
    void generate_histogram_for_index(IndexedSEGYHeader const& header, std::vector<unsigned long long>& bins);

    // One bit per trace: accepted by the last full scan.
    std::vector<bool> const& selected() const { return selected_; }
    // Traces without signal found by a full scan with NavOutlineLive.
    std::map<std::pair<int, int>, long long> const& deadTraces() const { return deadTraces_; }
    // Inline and crossline to the file offset of the trace header.
    CompressedIndex& traceIndex() { return traceIndex_; }
    CompressedIndex const& traceIndex() const { return traceIndex_; }
    // The five traces that fixed the affine grid (0 to 4).
    SurveyPoint const& referenceTrace(int i) const { return reference_[i]; }
    // Trace headers the last scan read, hops included.
    long long headersRead() const { return headersRead_; }
    // Called with the fraction done (0 to 1) from time to time by scan() and
    // read_brick(), on the calling thread; for progress bars.
    void setProgress(std::function<void(double)> progress) { progress_ = std::move(progress); }

protected:
    // Type, undefined value and value limits of a cube in this reader's storage.
    void get_storage_dependent_values(Info3DGrid::eDataType& type, double& undefValue, double& low,
                                      double& high) const;
    // The scan's amplitude range, mapped by the rescaling rule when rescale is set.
    void get_amp_range(bool rescale, double offset, double scale, double low, double high, double& outMin,
                       double& outMax) const;
    // Outline of the survey into navigation() (and multiPoly for the traced kinds).
    void calculateNavi();

    // How amplitudes go into this reader's storage kind.
    struct Rescaling {
        Info3DGrid::eDataType type = Info3DGrid::FLOAT;
        double undefValue = 0.0, low = 0.0, high = 0.0; // the storage kind's limits
        double m = 0.0, scale = 1.0;                    // the rescaling rule's terms
        bool on = false;
        double minAmplitude = 0.0, maxAmplitude = 0.0;  // the scan's range, mapped when on
    };
    Rescaling rescaling() const;
    // The description of the scanned survey that goes with its index or bricks.
    void fill_indexed_header(Rescaling const& r, IndexedSEGYHeader& header) const;
    // After a successful write in a rescaled kind: the scan's range becomes
    // the mapped bounds, rounded to whole numbers.
    void round_mapped_amplitudes(Rescaling const& r);
    // The largest magnitude the scan found. The reported range turns into
    // the mapped one after a rescaled write or read; the rescaling rule
    // always starts from the scan's, so that a second write (bricks after
    // the index) or the next inline maps the same way as the first.
    double scanned_max_abs() const { return std::max(std::fabs(scannedMin_), std::fabs(scannedMax_)); }
    double scannedMin_ = 0.0, scannedMax_ = 0.0;

    std::list<std::string> fileNames_;
    Range<int> inlRange_{0, 1, 1};
    Range<int> crlRange_{0, 1, 1};
    Range<double> zRange_{0.0, 1.0, 1.0};
    int inlOrder_ = -1;
    IRange iRange_;
    Trans trans_;
    bool inlCrlVerify_ = false;
    std::pair<int, int> inlVerify_{0, 0};
    std::pair<int, int> crlVerify_{0, 0};
    bool xyVerify_ = false;
    std::pair<double, double> xVerify_{0.0, 0.0};
    std::pair<double, double> yVerify_{0.0, 0.0};
    bool variableTrace_ = false;
    bool passOverUnwanted_ = false;
    std::vector<bool> selected_;
    NavigationType navigationType_ = NavRectangle;
    std::shared_ptr<MultiPolygon<double>> multiPoly_;
    SurveyPoint reference_[5];
    CompressedIndex traceIndex_;
    std::map<std::pair<int, int>, long long> deadTraces_;
    std::function<void(double)> progress_;
    long long headersRead_ = 0;
    SEGY3DBrickWriter::Timings brickTimings_;
    bool fallbackGrid_ = false;
    GridKind gridKind_ = GridFitted;
    double transformMaxError_;

private:
    class Walk;
    friend class Walk;
    // Where an accepted trace is, relative to the first one.
    struct TracePlace {
        int inl, crl;
        float dx, dy;
    };
    void fitAffineGrid();
    // The grid of a survey whose traces do not span a plane; false when no
    // trace was accepted.
    bool makeFallbackGrid();
    bool gridUsable() const;
    void measureGrid(std::vector<TracePlace> const& places);
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
