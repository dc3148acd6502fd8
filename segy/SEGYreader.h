#pragma once
// Reads the SEG-Y exchange format: the 3200-byte text header, the 400-byte
// reel header and fixed-length traces of a 240-byte header and samples.
// Header words sit at byte positions chosen by the caller (counted from 1);
// the library keeps no default positions. Every operation that touches the
// file opens its own stream, so a reader holds no open file between calls.
// Nothing here throws: failures are false results, empty lists and lines on
// standard output.

#include "platform/api.h"

#include <algorithm>
#include <cstdint>
#include <istream>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "foundation/IndexedSEGYHeader.h"
#include "foundation/sample_decode.h"
#include "segy/SEGYtrace.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SEGYreader {
public:
    // Width and meaning of a header word: Integer16 is 2 bytes, Integer32 4,
    // any other value a 4-byte float (IBM when the ibmFloat flag is set).
    enum Type { Integer16 = 0, Integer32 = 1, Float32 = 2 };

    // The nine header-word slots of the position and type arrays.
    enum Slot {
        SlotShotPoint = 0,   // 2D only
        SlotInline = 1,
        SlotCrossline = 2,
        SlotScaler = 3,      // always 16-bit
        SlotX = 4,
        SlotY = 5,
        SlotZ = 6,           // z of the first sample
        SlotDepthScaler = 7, // 2D only, always 16-bit
        SlotDepth = 8,       // 2D only
        SlotCount = 9
    };

    // Ranges found by scanning.
    struct DRange {
        double xMin = -1.0, xMax = -1.0, inlSpacing = -1.0;
        double yMin = -1.0, yMax = -1.0, crlSpacing = -1.0;
        double zMin = -1.0, zMax = -1.0, zStep = -1.0;
        double sMin = -1.0, sMax = -1.0;
        double rawMin;
        double rawMax;
        DRange();
    };

    // dimension: 2 for lines (shot points and depth words are read), 3 for surveys.
    explicit SEGYreader(int dimension);
    virtual ~SEGYreader() = default;

    void setIbmFloat(bool on) { ibmFloat_ = on; }
    void setLittleEndian(bool on) { littleEndian_ = on; }
    void setIsAscii(bool on) { isAscii_ = on; }
    void setSTransform(bool on) { sTransform_ = on; }
    void setSMin(double v) { sMin_ = v; }
    void setSMax(double v) { sMax_ = v; }
    void setXyTransform(bool on) { xyTransform_ = on; }
    void setSecarc(bool on) { secarc_ = on; }
    void setXMul(double v) { xMul_ = v; }
    void setYMul(double v) { yMul_ = v; }
    void setXAdd(double v) { xAdd_ = v; }
    void setYAdd(double v) { yAdd_ = v; }
    void setFormatOverride(int format) { formatOverride_ = format; }
    // Output bits: 0 (from the format), 8, 16 or 32; other values are ignored.
    void setStorage(unsigned bits);
    void setScalarRange(float min, float max);
    // Stores value as the scaler in any case; the override is on only when
    // asked for and value is above 0.
    void setScalerOverride(bool on, double value);
    // Stores the flag; z only when on.
    void setZStartOverride(bool on, double z);
    // Stores the flag; with on and ms above 0 the sample rate becomes ms*1000.
    void setSampleRateOverride(bool on, double ms);
    void setZTransform(bool on, bool toTime, int velocity);

    // Readings beyond the letter of the format, for files that real programs
    // write; both off by default. With the first, the reel header's sample
    // count (read as unsigned 16 bits) is trusted when trace headers disagree
    // with it and the file size fits it exactly, and a reel count that the
    // file size does not fit gives way to the first trace header's count
    // when that one fits. With the second, a coordinate scaler word of 0
    // means no scaling instead of the multiplier 0.
    void setTrustReelSampleCount(bool on) { trustReelSampleCount_ = on; }
    void setZeroScalerAsOne(bool on) { zeroScalerAsOne_ = on; }
    // Off by default. On, the extended text headers that the reel header
    // announces (bytes 3505-3506) are skipped when the file size fits them.
    void setSkipExtendedTextHeaders(bool on) { skipExtendedTextHeaders_ = on; }
    // Where the first trace header starts: 3600, and 3200 more for each
    // extended text header skipped.
    long long firstTraceOffset() const { return firstTraceOffset_; }

    // What those readings changed since the reel header was last read.
    struct Corrections {
        int reelSampleCount = 0;         // the reel header's count as read
        int traceSampleCount = 0;        // the first trace header count that was overruled or taken
        bool samplesFromTrace = false;   // the first trace header's count replaced the reel header's
        int extendedTextHeaders = 0;     // skipped after the reel header
        long long overruledTraces = 0;   // trace headers whose sample count was overruled
        long long zeroScalerTraces = 0;  // trace headers whose scaler word 0 was read as 1
    };
    Corrections const& corrections() const { return corrections_; }

    std::string const& filename() const { return filename_; }
    double sampleRate() const { return sampleRate_; }
    double zStart() const { return zStart_; }
    double scaler() const { return scaler_; }
    double scalerD() const { return scalerD_; }
    std::vector<std::pair<std::pair<double, double>, int>> const& navigation() const { return navigation_; }
    std::vector<float> const& amplitudes() const { return amplitudes_; }
    long long fileSize() const { return fileSize_; }
    int format() const { return format_; }
    int nSamples() const { return nSamples_; }
    int dimension() const { return dimension_; }
    bool ibmFloat() const { return ibmFloat_; }
    bool littleEndian() const { return littleEndian_; }
    // Bytes per sample of the format in force: 2 for format 3, 1 for 8, else 4.
    int nBytes() const;
    void dRange(DRange& out) const { out = dRange_; }
    // The storage member when not 0; else 16 for format 3, 8 for format 8, 32 otherwise.
    unsigned storage(int format) const;

    // Makes path the current file and measures its size; an empty path is
    // ignored, the same path changes nothing, a file that cannot be opened
    // leaves no current file.
    void setFile(std::string const& path);
    // Empties navigation and amplitudes.
    void clear();

    // (file size - 3600) / trace length, never below 0. Needs the reel header read.
    long long nTraces() const;
    // The current file's count plus that of every listed file, measured with
    // the current sample count and format: an upper bound for sizing.
    long long nTraces(std::list<std::string> const& files) const;

    // The text header, one string per complete 80-character line, at most 40.
    std::list<std::string> EBCDICheader() const;
    // The twelve leading reel header fields with long or short names;
    // *format receives the format code.
    std::list<std::pair<std::string, int>> reelHeader(int* format, bool shortNames) const;
    // A listing of one trace header as (byte range, value) pairs; the number
    // is limited to the last trace, nTraces receives the file's trace count.
    std::list<std::pair<std::string, int>> traceHeader(unsigned long long traceNumber,
                                                       Type const* types, int const* positions,
                                                       unsigned long long& nTraces) const;
    // Copies format, sample count, float kind, byte order, sample rate and
    // the clamp into the record.
    void setIndexedSEGYHeaderValues(IndexedSEGYHeader& header) const;

    static void intAndStdStringFromType(Type type, int& size, std::string& name);

protected:
    // Positioning; each answers false for a null stream.
    bool skipEBCDICheader(std::istream* s) const;
    bool skipReelHeader(std::istream* s) const;
    bool skipTraceHeader(std::istream* s, bool back) const;
    bool skipTrace(std::istream* s) const;
    bool skipTraceHeadersAndTraces(std::istream* s, long long n) const;
    bool skipToLastTraceHeader(std::istream* s) const;

    // Reads the reel header and takes sample interval, count and format
    // from it; the stream is left at the first trace header.
    bool readReelHeader(std::istream* s);
    // Decodes one 240-byte trace header; sp and depth are written for
    // dimension 2 only. Trusts the stream: callers test its state.
    bool readTraceHeader(std::istream* s, Type const* types, int const* positions, int* tsn, int* sp,
                         int* inlineNo, int* crosslineNo, double* x, double* y, double* z,
                         double* depth, int* nSamples);
    // The same from the 240 bytes of a header already in memory.
    bool decodeTraceHeader(unsigned char const* header, Type const* types, int const* positions, int* tsn, int* sp,
                           int* inlineNo, int* crosslineNo, double* x, double* y, double* z, double* depth,
                           int* nSamples);
    // Reads one trace's samples and appends every stride-th from index
    // first, stride = step / sampleRate (both microseconds).
    bool readTrace(std::istream* s, SEGYtrace* trace, double first, double step);

    // The samples readTrace takes of a trace meant to hold `wanted` samples.
    SamplePick pickSamples(double first, double step, int wanted) const;

    // True when the traces of nSamples samples fill the file exactly.
    bool fileFits(int nSamples) const { return fileFits(nSamples, firstTraceOffset_); }
    bool fileFits(int nSamples, long long firstTrace) const;

    // Bytes of one trace, header included.
    long long traceBytes() const { return 240LL + static_cast<long long>(std::max(0, nSamples_)) * nBytes(); }
    // Prints "Invalid format: " and the code on standard output.
    void printInvalidFormat(int format) const;
    // A line to the user under an import's title ("SEG-Y 2D import"); the
    // line also becomes the calling thread's last error.
    static void tellUser(char const* title, std::string const& line);
    // "# of samples in reel header (N) does not match # of samples in trace header: count"
    std::string sampleCountMismatch(int traceCount) const;
    // With the lenient reading on and the file size bearing the reel header
    // out, a trace header's differing sample count is taken as stale: count
    // becomes the reel header's and the answer is true.
    bool overruleSampleCount(int& traceCount);
    // The z step in milliseconds for a wanted one: the file's interval at
    // least, and a multiple of it, so that a trace's samples can be taken
    // by a whole stride.
    double zStepFor(double wanted) const;
    // Whether amplitudes must be mapped onto this reader's storage kind
    // when the rescaling rule's scale for them is `scale`.
    bool rescalingOn(double scale) const;

    std::string filename_;
    unsigned storage_ = 32;
    float scalarMin_ = -128.0f;
    float scalarMax_ = 127.0f;
    double sampleRate_ = 1000.0;
    int format_ = 1;
    int nSamples_ = 0;
    double zStart_ = 0.0;
    DRange dRange_;
    std::vector<std::pair<std::pair<double, double>, int>> navigation_;
    std::vector<float> amplitudes_;
    long long fileSize_ = 0;
    bool ibmFloat_ = false;
    bool littleEndian_ = false;
    bool isAscii_ = false;
    bool scalerOverride_ = false;
    double scaler_ = 1.0;
    bool zStartOverride_ = false;
    bool sampleRateOverride_ = false;
    double scalerD_ = 1.0;
    bool sTransform_ = false;
    double sMin_ = -1.0;
    double sMax_ = 1.0;
    bool xyTransform_ = false;
    bool secarc_ = false;
    double xMul_ = 1.0, yMul_ = 1.0, xAdd_ = 0.0, yAdd_ = 0.0;
    bool zTransform_ = false;
    bool zTransformToTime_ = true;
    int zVelocity_ = 1500;
    int formatOverride_ = 0;
    int dimension_;
    bool trustReelSampleCount_ = false;
    bool zeroScalerAsOne_ = false;
    bool skipExtendedTextHeaders_ = false;
    long long firstTraceOffset_ = 3600;
    Corrections corrections_;

private:
    std::vector<unsigned char> sampleBytes_; // scratch for readTrace
    std::vector<float> sampleValues_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
