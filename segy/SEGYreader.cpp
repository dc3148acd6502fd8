#include "segy/SEGYreader.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>

#include "foundation/byte_order.h"
#include "foundation/ibm_float.h"
#include "platform/last_error.h"
#include "platform/user_output.h"
#include "foundation/sample_decode.h"
#include "platform/mapped_file.h"
#include "segy/EBCDICconverter.h"

namespace Tolmar {

namespace {

constexpr long long kTextBytes = 3200;
constexpr long long kReelBytes = 400;
constexpr long long kHeadersBytes = kTextBytes + kReelBytes;
constexpr int kTraceHeaderBytes = 240;

// Truncation towards zero that saturates instead of overflowing; NaN gives 0.
template <typename I>
I truncate_to(double v)
{
    if (!(v == v)) return 0;
    if (v <= static_cast<double>(std::numeric_limits<I>::min())) return std::numeric_limits<I>::min();
    if (v >= static_cast<double>(std::numeric_limits<I>::max())) return std::numeric_limits<I>::max();
    return static_cast<I>(v);
}

// 1/|s| for a negative scaler word, the word itself otherwise.
double multiplier(int s) { return s < 0 ? 1.0 / -s : static_cast<double>(s); }

int bytes_per_sample(int format) { return format == 3 ? 2 : format == 8 ? 1 : 4; }

bool regular_file_size(std::string const& path, long long& size)
{
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return false;
    auto const s = std::filesystem::file_size(path, ec);
    if (ec) return false;
    size = static_cast<long long>(s);
    return true;
}

// Reads up to n bytes; what the stream cannot supply stays zero.
std::streamsize read_zero_padded(std::istream& s, unsigned char* out, std::size_t n)
{
    s.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(n));
    std::streamsize const got = s.gcount();
    std::fill(out + got, out + n, 0);
    return got;
}

long long traces_in(long long fileSize, long long traceBytes, long long firstTrace)
{
    if (traceBytes <= 0 || fileSize <= firstTrace) return 0;
    return (fileSize - firstTrace) / traceBytes;
}

} // namespace

SEGYreader::DRange::DRange()
    : rawMin(std::numeric_limits<double>::max()), rawMax(-std::numeric_limits<double>::max())
{
}

SEGYreader::SEGYreader(int dimension) : dimension_(dimension) {}

void SEGYreader::setStorage(unsigned bits)
{
    if (bits == 0 || bits == 8 || bits == 16 || bits == 32) storage_ = bits;
}

void SEGYreader::setScalarRange(float min, float max)
{
    scalarMin_ = min;
    scalarMax_ = max;
}

void SEGYreader::setScalerOverride(bool on, double value)
{
    scaler_ = value;
    scalerOverride_ = on && value > 0.0;
}

void SEGYreader::setZStartOverride(bool on, double z)
{
    zStartOverride_ = on;
    if (on) zStart_ = z;
}

void SEGYreader::setSampleRateOverride(bool on, double ms)
{
    sampleRateOverride_ = on;
    if (on && ms > 0.0) sampleRate_ = ms * 1000.0;
}

void SEGYreader::setZTransform(bool on, bool toTime, int velocity)
{
    zTransform_ = on;
    zTransformToTime_ = toTime;
    zVelocity_ = velocity;
}

int SEGYreader::nBytes() const { return bytes_per_sample(format_); }

unsigned SEGYreader::storage(int format) const
{
    if (storage_ != 0) return storage_;
    return format == 3 ? 16u : format == 8 ? 8u : 32u;
}

void SEGYreader::setFile(std::string const& path)
{
    if (path.empty() || path == filename_) return;
    long long size = 0;
    std::ifstream probe(path, std::ios::binary);
    if (probe && regular_file_size(path, size)) {
        filename_ = path;
        fileSize_ = size;
    } else {
        filename_.clear();
        fileSize_ = 0;
    }
    clear();
}

void SEGYreader::clear()
{
    navigation_.clear();
    amplitudes_.clear();
}

long long SEGYreader::nTraces() const { return traces_in(fileSize_, traceBytes(), firstTraceOffset_); }

long long SEGYreader::nTraces(std::list<std::string> const& files) const
{
    long long total = nTraces();
    for (auto const& f : files) {
        long long size = 0;
        std::ifstream probe(f, std::ios::binary);
        if (probe && regular_file_size(f, size)) total += traces_in(size, traceBytes(), firstTraceOffset_);
    }
    return total;
}

std::list<std::string> SEGYreader::EBCDICheader() const
{
    std::list<std::string> lines;
    if (filename_.empty()) return lines;
    std::ifstream s(filename_, std::ios::binary);
    if (!s) return lines;
    char text[kTextBytes];
    s.read(text, kTextBytes);
    auto const complete = static_cast<int>(s.gcount() / 80);
    EBCDICconverter conv;
    for (int i = 0; i < complete; ++i)
        lines.push_back(isAscii_ ? conv.ASCIItoASCII(text + 80 * i, 80) : conv.EBCDICtoASCII(text + 80 * i, 80));
    return lines;
}

std::list<std::pair<std::string, int>> SEGYreader::reelHeader(int* format, bool shortNames) const
{
    struct Field {
        int offset;
        int width;
        char const* longName;
        char const* shortName;
    };
    static constexpr Field fields[] = {
        {0, 32, "Job identification number", "JobIdNo"},
        {4, 32, "Line number", "LineNo"},
        {8, 32, "Reel number", "ReelNo"},
        {12, 16, "Number of data traces per record", "NoOfDataTracesPerRec"},
        {14, 16, "Number of aux. traces per record", "NoOfAuxTracesPerRec"},
        {16, 16, "Sample interval (microseconds)", "SampleInterval"},
        {18, 16, "Original sample interval", "OrigSampleInterval"},
        {20, 16, "Number of samples per trace", "NoOfSamplesPerTrace"},
        {22, 16, "Original number of samples", "OrigNoOfSamples"},
        {24, 16, "Data sample format code", "DataSampleFormatCode"},
        {26, 16, "Cdp fold", "CdpFold"},
        {28, 16, "Trace sorting code", "TraceSortingCode"},
    };
    std::list<std::pair<std::string, int>> out;
    if (filename_.empty() || fileSize_ == 0) return out;
    std::ifstream s(filename_, std::ios::binary);
    if (!s) return out;
    s.seekg(kTextBytes);
    unsigned char reel[kReelBytes];
    read_zero_padded(s, reel, kReelBytes);
    for (auto const& f : fields) {
        int const v = f.width == 32 ? load_i32(reel + f.offset, littleEndian_)
                                    : load_i16(reel + f.offset, littleEndian_);
        out.emplace_back(shortNames ? f.shortName : f.longName, v);
    }
    if (format) *format = load_i16(reel + 24, littleEndian_);
    return out;
}

void SEGYreader::setIndexedSEGYHeaderValues(IndexedSEGYHeader& header) const
{
    header.format = format_;
    header.nSamples = nSamples_;
    header.ibmFloat = ibmFloat_;
    header.littleEndian = littleEndian_;
    header.sampleRate = sampleRate_;
    header.sTransform = sTransform_;
    header.sMin = sMin_;
    header.sMax = sMax_;
}

void SEGYreader::intAndStdStringFromType(Type type, int& size, std::string& name)
{
    switch (type) {
    case Integer16: size = 2; name = "Integer16 "; break;
    case Integer32: size = 4; name = "Integer32 "; break;
    default: size = 4; name = "Float32 "; break;
    }
}

// ---- positioning -------------------------------------------------------------

bool SEGYreader::skipEBCDICheader(std::istream* s) const
{
    if (!s) return false;
    s->seekg(kTextBytes, std::ios::beg);
    return true;
}

bool SEGYreader::skipReelHeader(std::istream* s) const
{
    if (!s) return false;
    s->seekg(kReelBytes, std::ios::cur);
    return true;
}

bool SEGYreader::skipTraceHeader(std::istream* s, bool back) const
{
    if (!s) return false;
    s->seekg(back ? -kTraceHeaderBytes : kTraceHeaderBytes, std::ios::cur);
    return true;
}

bool SEGYreader::skipTrace(std::istream* s) const
{
    if (!s) return false;
    s->seekg(traceBytes() - kTraceHeaderBytes, std::ios::cur);
    return true;
}

bool SEGYreader::skipTraceHeadersAndTraces(std::istream* s, long long n) const
{
    if (!s) return false;
    s->seekg(n * traceBytes(), std::ios::cur);
    return true;
}

bool SEGYreader::skipToLastTraceHeader(std::istream* s) const
{
    if (!s) return false;
    s->seekg(-traceBytes(), std::ios::end);
    return true;
}

// ---- decoding ------------------------------------------------------------------

void SEGYreader::printInvalidFormat(int format) const
{
    std::string const line = "Invalid format: " + std::to_string(format);
    platform::user_output(line);
    platform::set_last_error_info(line);
}

void SEGYreader::tellUser(char const* title, std::string const& line)
{
    platform::user_output(title);
    platform::user_output(line);
    platform::set_last_error_info(line);
}

std::string SEGYreader::sampleCountMismatch(int traceCount) const
{
    return "# of samples in reel header (" + std::to_string(nSamples_) +
           ") does not match # of samples in trace header: " + std::to_string(traceCount);
}

bool SEGYreader::overruleSampleCount(int& traceCount)
{
    if (!trustReelSampleCount_ || !fileFits(nSamples_)) return false;
    if (corrections_.overruledTraces++ == 0 && !corrections_.samplesFromTrace)
        corrections_.traceSampleCount = traceCount;
    traceCount = nSamples_;
    return true;
}

double SEGYreader::zStepFor(double wanted) const
{
    double const interval = sampleRate_ / 1000.0;
    if (!(wanted > interval)) return interval;
    double const rem = std::fmod(wanted, interval);
    return rem > -1e-6 && rem < 1e-6 ? wanted : wanted + interval - rem;
}

bool SEGYreader::rescalingOn(double scale) const
{
    return scale < 1.0 || static_cast<unsigned>(nBytes() * 8) > storage(format_);
}

bool SEGYreader::readReelHeader(std::istream* s)
{
    if (!s) return false;
    unsigned char reel[kReelBytes];
    read_zero_padded(*s, reel, kReelBytes);
    int const interval = load_i16(reel + 16, littleEndian_);
    // A count is never negative: the lenient reading takes all 16 bits.
    int ns = trustReelSampleCount_ ? load_u16(reel + 20, littleEndian_) : load_i16(reel + 20, littleEndian_);
    int const orig = load_i16(reel + 22, littleEndian_);
    int const code = load_i16(reel + 24, littleEndian_);
    corrections_.reelSampleCount = ns;
    corrections_.samplesFromTrace = false;

    format_ = formatOverride_ != 0 ? formatOverride_ : code;
    firstTraceOffset_ = kHeadersBytes;
    corrections_.extendedTextHeaders = 0;
    int const extended = load_i16(reel + 304, littleEndian_);
    if (skipExtendedTextHeaders_ && extended > 0) {
        long long const first = kHeadersBytes + kTextBytes * extended;
        if (fileFits(ns, first) && !fileFits(ns, kHeadersBytes)) {
            firstTraceOffset_ = first;
            corrections_.extendedTextHeaders = extended;
            s->seekg(first - kHeadersBytes, std::ios::cur);
        }
    }

    // Bytes 115 and 116 of the first trace header, the stream left where it was.
    auto const firstTraceCount = [&] {
        bool const wasGood = s->good();
        std::streampos const at = s->tellg();
        s->seekg(114, std::ios::cur);
        unsigned char t2[2] = {0, 0};
        s->read(reinterpret_cast<char*>(t2), 2);
        if (wasGood) {
            s->clear();
            s->seekg(at);
        }
        return trustReelSampleCount_ ? load_u16(t2, littleEndian_) : load_i16(t2, littleEndian_);
    };

    if (ns != orig && orig >= 1) {
        // Let the first trace header decide which of the two counts is true.
        int const t = firstTraceCount();
        if (ns != t && orig == t) {
            ns = orig;
        } else if (ns != t) {
            platform::user_output("SEG-Y 2D import");
            platform::user_output("# of samples in reel header (" + std::to_string(ns) +
                                  ") does not match original # of samples: " + std::to_string(orig));
        }
    }
    if (trustReelSampleCount_) {
        if (!fileFits(ns)) {
            int const t = firstTraceCount();
            if (fileFits(t)) {
                corrections_.samplesFromTrace = true;
                corrections_.traceSampleCount = t;
                ns = t;
            }
        }
        nSamples_ = ns;
    } else {
        nSamples_ = static_cast<std::int16_t>(ns);
    }
    if (!sampleRateOverride_ && interval > 0) sampleRate_ = interval;
    if (storage_ == 0) {
        switch (format_) {
        case 1:
        case 2:
        case 5: storage_ = 32; break;
        case 3: storage_ = 16; break;
        case 8: storage_ = 8; break;
        default:
            printInvalidFormat(format_);
            storage_ = 32;
        }
    }
    return true;
}

bool SEGYreader::fileFits(int nSamples, long long firstTrace) const
{
    if (nSamples <= 0 || fileSize_ <= firstTrace) return false;
    long long const length = 240LL + static_cast<long long>(nSamples) * nBytes();
    return (fileSize_ - firstTrace) % length == 0;
}

namespace {

bool is_float(SEGYreader::Type t) { return t != SEGYreader::Integer16 && t != SEGYreader::Integer32; }

// A header word at a 1-based position; words that do not fit in the 240
// bytes read as 0.
double header_word(unsigned char const* h, int position, SEGYreader::Type type, bool little, bool ibm)
{
    int const size = type == SEGYreader::Integer16 ? 2 : 4;
    if (position < 1 || position + size - 1 > 240) return 0.0;
    unsigned char const* p = h + position - 1;
    switch (type) {
    case SEGYreader::Integer16: return load_i16(p, little);
    case SEGYreader::Integer32: return load_i32(p, little);
    default: {
        std::uint32_t const w = load_u32(p, little);
        return ibm ? ibm_bits_to_float(w) : bits_float(w);
    }
    }
}

} // namespace

bool SEGYreader::readTraceHeader(std::istream* s, Type const* types, int const* positions, int* tsn,
                                 int* sp, int* inlineNo, int* crosslineNo, double* x, double* y,
                                 double* z, double* depth, int* nSamples)
{
    if (!s) return false;
    unsigned char h[kTraceHeaderBytes];
    read_zero_padded(*s, h, kTraceHeaderBytes);
    return decodeTraceHeader(h, types, positions, tsn, sp, inlineNo, crosslineNo, x, y, z, depth, nSamples);
}

bool SEGYreader::decodeTraceHeader(unsigned char const* h, Type const* types, int const* positions, int* tsn,
                                   int* sp, int* inlineNo, int* crosslineNo, double* x, double* y, double* z,
                                   double* depth, int* nSamples)
{
    auto word = [&](int slot, Type type) {
        return header_word(h, positions[slot], type, littleEndian_, ibmFloat_);
    };

    if (tsn) *tsn = load_i32(h, littleEndian_);

    double depthValue = 0.0;
    if (dimension_ == 2) {
        double const spWord = word(SlotShotPoint, types[SlotShotPoint]);
        // A float shot point is rounded; inline and crossline are truncated.
        if (sp) *sp = truncate_to<int>(is_float(types[SlotShotPoint]) ? spWord + 0.05 : spWord);
        scalerD_ = multiplier(static_cast<int>(word(SlotDepthScaler, Integer16)));
        depthValue = word(SlotDepth, types[SlotDepth]) * scalerD_;
        if (depth) *depth = depthValue;
    }

    if (inlineNo) *inlineNo = truncate_to<int>(word(SlotInline, types[SlotInline]));
    if (crosslineNo) *crosslineNo = truncate_to<int>(word(SlotCrossline, types[SlotCrossline]));

    int const scalerWord = static_cast<int>(word(SlotScaler, Integer16));
    double const rawX = word(SlotX, types[SlotX]);
    double const rawY = word(SlotY, types[SlotY]);
    double const rawZ = word(SlotZ, types[SlotZ]);

    if (nSamples) *nSamples = trustReelSampleCount_ ? load_u16(h + 114, littleEndian_) : load_i16(h + 114, littleEndian_);

    if (!scalerOverride_) {
        scaler_ = multiplier(scalerWord);
        if (scalerWord == 0 && zeroScalerAsOne_) {
            scaler_ = 1.0;
            ++corrections_.zeroScalerTraces;
        }
    }
    double xv = rawX * scaler_;
    double yv = rawY * scaler_;

    double zv = rawZ;
    if (zStartOverride_) {
        zv = zStart_;
    } else if (zTransform_ && dimension_ == 2) {
        zv = zTransformToTime_ ? depthValue / zVelocity_ * 2000.0 : depthValue;
    }

    if (xyTransform_) {
        if (secarc_) {
            xv /= 360.0;
            yv /= 360.0;
        }
        xv = xv * xMul_ + xAdd_;
        yv = yv * yMul_ + yAdd_;
    }
    if (x) *x = xv;
    if (y) *y = yv;
    if (z) *z = zv;
    return true;
}

bool SEGYreader::readTrace(std::istream* s, SEGYtrace* trace, double first, double step)
{
    if (!s || !trace) return false;
    SampleCoding coding;
    if (!sample_coding_for_format(format_, ibmFloat_, coding)) {
        printInvalidFormat(format_);
        return false;
    }
    long long const n = std::max(0, nSamples_);
    std::size_t const width = sample_bytes(coding);
    std::size_t const bytes = static_cast<std::size_t>(n) * width;
    // From a mapped file the samples are decoded in place; otherwise they are read into a buffer.
    unsigned char const* raw = nullptr;
    auto* mapped = dynamic_cast<platform::MappedStreamBuf*>(s->rdbuf());
    if (mapped && s->good()) raw = reinterpret_cast<unsigned char const*>(mapped->peek(bytes));
    if (raw) {
        mapped->consume(bytes);
    } else {
        sampleBytes_.resize(bytes);
        read_zero_padded(*s, sampleBytes_.data(), bytes);
        raw = sampleBytes_.data();
    }

    SamplePick const pick = pickSamples(first, step, trace->nSamples());
    if (pick.count == 0) return true;
    decode_picked(raw, pick, coding, littleEndian_, sampleValues_);
    std::size_t const count = pick.count;

    float lo = std::numeric_limits<float>::infinity(), hi = -lo;
    update_min_max(sampleValues_.data(), count, lo, hi);
    if (lo <= hi) {
        dRange_.rawMin = std::min(dRange_.rawMin, static_cast<double>(lo));
        dRange_.rawMax = std::max(dRange_.rawMax, static_cast<double>(hi));
    }

    if (sTransform_) clamp_coded_samples(sampleValues_.data(), count, coding, sMin_, sMax_);
    trace->addSamples(sampleValues_.data(), count);
    return true;
}

SamplePick SEGYreader::pickSamples(double first, double step, int wanted) const
{
    SamplePick pick;
    long long const n = std::max(0, nSamples_);
    // Bounds in double: a hostile start or step must not overflow the index arithmetic.
    double const ratio = sampleRate_ > 0.0 ? step / sampleRate_ : 0.0;
    long long const stride = truncate_to<long long>(ratio);
    if (stride <= 0 || !std::isfinite(first)) return pick;
    double start = std::trunc(first);
    double const endD = std::min(start + static_cast<double>(stride) * std::max(0, wanted),
                                 static_cast<double>(n));
    // Samples before the trace do not exist: start at the first index within it.
    if (start < 0.0) start = std::max(0.0, start + std::ceil(-start / static_cast<double>(stride)) * static_cast<double>(stride));
    if (!(start < endD)) return pick;
    long long const begin = static_cast<long long>(start), end = static_cast<long long>(endD);
    pick.begin = begin;
    pick.stride = stride;
    pick.count = static_cast<std::size_t>((end - begin - 1) / stride + 1);
    return pick;
}

// ---- trace header listing ---------------------------------------------------------

std::list<std::pair<std::string, int>> SEGYreader::traceHeader(unsigned long long traceNumber,
                                                               Type const* types, int const* positions,
                                                               unsigned long long& nTraces) const
{
    std::list<std::pair<std::string, int>> out;
    nTraces = 0;
    if (filename_.empty() || fileSize_ == 0) return out;
    std::ifstream s(filename_, std::ios::binary);
    if (!s) return out;

    // The listing reads the reel header for itself and leaves this reader's
    // state as it is.
    SEGYreader reel(dimension_);
    reel.littleEndian_ = littleEndian_;
    reel.formatOverride_ = formatOverride_;
    reel.storage_ = storage_ == 0 ? 32 : storage_; // the listing prints no format complaint
    reel.trustReelSampleCount_ = trustReelSampleCount_;
    reel.fileSize_ = fileSize_;
    reel.skipExtendedTextHeaders_ = skipExtendedTextHeaders_;
    reel.skipEBCDICheader(&s);
    reel.readReelHeader(&s);
    long long const count = traces_in(fileSize_, reel.traceBytes(), reel.firstTraceOffset_);
    nTraces = static_cast<unsigned long long>(count);
    if (count == 0) return out;
    unsigned long long const number = std::min(traceNumber, nTraces - 1);
    s.clear();
    s.seekg(reel.firstTraceOffset_ + static_cast<long long>(number) * reel.traceBytes(), std::ios::beg);

    unsigned char h[kTraceHeaderBytes + 4];
    std::fill(h, h + sizeof h, 0);
    s.read(reinterpret_cast<char*>(h), kTraceHeaderBytes);

    int const slots = SlotCount;
    for (int p = 1; p < kTraceHeaderBytes;) {
        Type type = p < 28 ? Integer32 : p < 36 ? Integer16 : p < 68 ? Integer32 : p < 72 ? Integer16
                  : p < 88 ? Integer32 : Integer16;
        for (int slot = 0; slot < slots; ++slot) {
            if ((slot == SlotShotPoint && dimension_ != 2) || positions[slot] != p) continue;
            type = (slot == SlotScaler || slot == SlotDepthScaler) ? Integer16 : types[slot];
            break;
        }
        int const width = type == Integer16 ? 2 : 4;
        unsigned char const* w = h + p - 1;
        int value;
        switch (type) {
        case Integer16: value = load_i16(w, littleEndian_); break;
        case Integer32: value = load_i32(w, littleEndian_); break;
        default: {
            std::uint32_t const u = load_u32(w, littleEndian_);
            value = truncate_to<int>(ibmFloat_ ? ibm_bits_to_float(u) : bits_float(u));
        }
        }
        out.emplace_back(std::to_string(p) + "-" + std::to_string(p + width - 1), value);
        p += width;
    }
    return out;
}

} // namespace Tolmar
