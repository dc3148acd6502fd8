#include "foundation/CompressedIndex.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include "foundation/log.h"
#include "foundation/sample_decode.h"
#include "foundation/survey_checks.h"
#include "platform/last_error.h"

namespace Tolmar {

// The header record goes to the file as it stands in memory, and numbers are
// copied the same way; both are little-endian only on such a host.
static_assert(std::endian::native == std::endian::little, "the index file is little-endian");

namespace {

constexpr char kMagic[8] = {'T', 'O', 'L', 'M', 'A', 'R', 'I', 'X'};
constexpr std::uint32_t kVersion = 1;
// Byte positions in the file's fixed-size start (docs/formats.md).
constexpr std::size_t kVersionAt = 8, kRecordSizeAt = 12, kTracesAt = 16, kBinsAt = 24, kLinesAt = 32,
                      kRunsAt = 40, kRecordAt = 48, kHeaderSumAt = kRecordAt + sizeof(IndexedSEGYHeader),
                      kFixedBytes = kHeaderSumAt + 8;
constexpr std::size_t kBinBytes = 8, kLineBytes = 8, kRunBytes = 24, kSumBytes = 8;
constexpr std::int64_t kMax32 = std::numeric_limits<std::int32_t>::max();

template <class T>
void put(unsigned char* p, T v)
{
    std::memcpy(p, &v, sizeof v);
}

template <class T>
T get(unsigned char const* p)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// b - a when it fits in 32 bits.
bool diff32(long long a, long long b, std::int32_t& d)
{
    long long r;
    if (__builtin_sub_overflow(b, a, &r) || r < -kMax32 - 1 || r > kMax32) return false;
    d = static_cast<std::int32_t>(r);
    return true;
}

// Inserting one element at a time into vectors that may hold a whole inline
// of isolated traces: a sixteenth of growth room instead of doubling keeps
// the worst case near one run a trace.
template <class T>
void insertAt(std::vector<T>& v, std::size_t i, T value)
{
    if (v.size() == v.capacity()) v.reserve(v.size() + std::max<std::size_t>(1, v.size() / 16));
    v.insert(v.begin() + static_cast<std::ptrdiff_t>(i), std::move(value));
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct HashStateFree {
    void operator()(XXH64_state_t* s) const { XXH64_freeState(s); }
};
using HashState = std::unique_ptr<XXH64_state_t, HashStateFree>;

// Buffered output that checksums each section as it goes.
class SectionWriter {
public:
    explicit SectionWriter(std::FILE* f) : file_(f), state_(XXH64_createState()) { buffer_.reserve(kChunk); }

    void begin()
    {
        XXH64_reset(state_.get(), 0);
        hashedTo_ = buffer_.size();
    }
    void bytes(void const* p, std::size_t n)
    {
        auto const* b = static_cast<unsigned char const*>(p);
        buffer_.insert(buffer_.end(), b, b + n);
        if (buffer_.size() >= kChunk) flush();
    }
    template <class T>
    void value(T v)
    {
        unsigned char b[sizeof v];
        put(b, v);
        bytes(b, sizeof v);
    }
    // Appends the section's checksum, itself outside every section.
    void end()
    {
        hash();
        std::uint64_t const sum = XXH64_digest(state_.get());
        value(sum);
        hashedTo_ = buffer_.size();
    }
    bool finish()
    {
        flush();
        return ok_ && std::fflush(file_) == 0;
    }

private:
    static constexpr std::size_t kChunk = 1 << 16;
    void hash()
    {
        XXH64_update(state_.get(), buffer_.data() + hashedTo_, buffer_.size() - hashedTo_);
        hashedTo_ = buffer_.size();
    }
    void flush()
    {
        hash();
        if (!buffer_.empty() && std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size()) ok_ = false;
        buffer_.clear();
        hashedTo_ = 0;
    }

    std::FILE* file_;
    HashState state_;
    std::vector<unsigned char> buffer_;
    std::size_t hashedTo_ = 0;
    bool ok_ = true;
};

// Reads count records of size bytes, feeding each chunk to the checksum and
// handing each record to f.
template <class F>
bool readRecords(std::FILE* file, XXH64_state_t* state, std::uint64_t count, std::size_t size, F&& f)
{
    std::size_t const perChunk = (1 << 16) / size;
    std::vector<unsigned char> buffer;
    while (count > 0) {
        std::size_t const n = static_cast<std::size_t>(std::min<std::uint64_t>(count, perChunk));
        buffer.resize(n * size);
        if (std::fread(buffer.data(), 1, buffer.size(), file) != buffer.size()) return false;
        XXH64_update(state, buffer.data(), buffer.size());
        for (std::size_t i = 0; i < n; ++i) f(buffer.data() + i * size);
        count -= n;
    }
    return true;
}

} // namespace

// ---- entries ----------------------------------------------------------------

namespace {

long long lastCrl(auto const& r) { return r.crl + static_cast<long long>(r.count - 1) * r.crlStep; }
long long lastOffset(auto const& r) { return r.offset + static_cast<long long>(r.count - 1) * r.offsetStep; }

} // namespace

void CompressedIndex::add(int inl, int crl, long long offset)
{
    if (place(runsOf(inl), crl, offset)) ++traces_;
}

std::vector<CompressedIndex::Run>& CompressedIndex::runsOf(int inl)
{
    if (lastLine_ < lines_.size() && lines_[lastLine_].inl == inl) return lines_[lastLine_].runs;
    auto const it = std::lower_bound(lines_.begin(), lines_.end(), inl, [](Line const& l, int v) { return l.inl < v; });
    std::size_t const i = static_cast<std::size_t>(it - lines_.begin());
    if (it == lines_.end() || it->inl != inl) insertAt(lines_, i, Line{inl, {}});
    lastLine_ = i;
    return lines_[i].runs;
}

CompressedIndex::Line const* CompressedIndex::find(int inl) const
{
    auto const it = std::lower_bound(lines_.begin(), lines_.end(), inl, [](Line const& l, int v) { return l.inl < v; });
    return it != lines_.end() && it->inl == inl ? &*it : nullptr;
}

// The first trace that continues a run joins it; a trace next to a lone
// trace forms a run of two with it; otherwise it starts a run of its own.
bool CompressedIndex::place(std::vector<Run>& runs, int crl, long long offset)
{
    // n: the first run starting after crl. Surveys mostly add at the end.
    std::size_t n = runs.size();
    if (n > 0 && crl <= runs.back().crl)
        n = static_cast<std::size_t>(std::upper_bound(runs.begin(), runs.end(), crl,
                                                      [](int c, Run const& r) { return c < r.crl; }) -
                                     runs.begin());
    if (n > 0 && crl <= lastCrl(runs[n - 1])) {
        Run const& p = runs[n - 1];
        if (p.count == 1 || (crl - static_cast<long long>(p.crl)) % p.crlStep == 0) return false;
        split(runs, n - 1, crl); // crl falls between two crosslines of the run
    }
    std::int32_t dCrl = 0, dOffset = 0;
    if (n > 0) {
        Run& p = runs[n - 1];
        if (p.count > 1 && p.count < kMax32 && diff32(lastCrl(p), crl, dCrl) && dCrl == p.crlStep &&
            diff32(lastOffset(p), offset, dOffset) && dOffset == p.offsetStep) {
            ++p.count;
            mergeAround(runs, n - 1);
            return true;
        }
    }
    if (n < runs.size()) {
        Run& q = runs[n];
        if (q.count > 1 && q.count < kMax32 && diff32(crl, q.crl, dCrl) && dCrl == q.crlStep &&
            diff32(offset, q.offset, dOffset) && dOffset == q.offsetStep) {
            q = {offset, crl, q.count + 1, q.offsetStep, q.crlStep};
            mergeAround(runs, n);
            return true;
        }
    }
    if (n > 0) {
        Run& p = runs[n - 1];
        if (p.count == 1 && diff32(p.crl, crl, dCrl) && diff32(p.offset, offset, dOffset)) {
            p = {p.offset, p.crl, 2, dOffset, dCrl};
            mergeAround(runs, n - 1);
            return true;
        }
    }
    if (n < runs.size()) {
        Run& q = runs[n];
        if (q.count == 1 && diff32(crl, q.crl, dCrl) && diff32(offset, q.offset, dOffset)) {
            q = {offset, crl, 2, dOffset, dCrl};
            mergeAround(runs, n);
            return true;
        }
    }
    insertAt(runs, n, Run{offset, crl, 1, 0, 0});
    return true;
}

// Cuts run i before crl, which lies between two of its crosslines.
void CompressedIndex::split(std::vector<Run>& runs, std::size_t i, int crl)
{
    Run& r = runs[i];
    auto const head = static_cast<std::int32_t>((crl - static_cast<long long>(r.crl)) / r.crlStep + 1);
    Run tail{r.offset + static_cast<long long>(head) * r.offsetStep,
             static_cast<std::int32_t>(r.crl + static_cast<long long>(head) * r.crlStep), r.count - head,
             r.offsetStep, r.crlStep};
    r.count = head;
    if (r.count == 1) r.crlStep = r.offsetStep = 0;
    if (tail.count == 1) tail.crlStep = tail.offsetStep = 0;
    insertAt(runs, i + 1, tail);
}

// Joins run i with its neighbours where a new trace closed the gap between
// them; a run that took in a lone trace may reach the next one.
void CompressedIndex::mergeAround(std::vector<Run>& runs, std::size_t i)
{
    while (i + 1 < runs.size() && merge(runs, i)) {}
    while (i > 0 && merge(runs, i - 1)) --i;
}

bool CompressedIndex::merge(std::vector<Run>& runs, std::size_t i)
{
    Run& a = runs[i];
    Run const& b = runs[i + 1];
    Run const& model = a.count > 1 ? a : b;
    if (model.count == 1 || (a.count > 1 && b.count > 1 && (a.crlStep != b.crlStep || a.offsetStep != b.offsetStep)))
        return false;
    std::int32_t dCrl = 0, dOffset = 0;
    if (!diff32(lastCrl(a), b.crl, dCrl) || dCrl != model.crlStep || !diff32(lastOffset(a), b.offset, dOffset) ||
        dOffset != model.offsetStep || static_cast<long long>(a.count) + b.count > kMax32)
        return false;
    a = {a.offset, a.crl, a.count + b.count, model.offsetStep, model.crlStep};
    runs.erase(runs.begin() + static_cast<std::ptrdiff_t>(i + 1));
    return true;
}

bool CompressedIndex::lookup(int inl, int crl) const
{
    long long offset;
    return lookup(inl, crl, offset);
}

bool CompressedIndex::lookup(int inl, int crl, long long& offset) const
{
    Line const* line = find(inl);
    if (!line) return false;
    auto const it = std::upper_bound(line->runs.begin(), line->runs.end(), crl,
                                     [](int c, Run const& r) { return c < r.crl; });
    if (it == line->runs.begin()) return false;
    Run const& r = *(it - 1);
    long long const d = crl - static_cast<long long>(r.crl);
    if (r.count == 1) {
        if (d != 0) return false;
        offset = r.offset;
        return true;
    }
    if (d % r.crlStep != 0 || d / r.crlStep >= r.count) return false;
    offset = r.offset + d / r.crlStep * r.offsetStep;
    return true;
}

void CompressedIndex::clear()
{
    lines_ = {};
    histogram_ = {};
    traces_ = 0;
    lastLine_ = 0;
}

std::size_t CompressedIndex::memory_bytes() const
{
    std::size_t bytes = lines_.capacity() * sizeof(Line);
    for (Line const& line : lines_) bytes += line.runs.capacity() * sizeof(Run);
    return bytes;
}

// ---- index file -------------------------------------------------------------

bool CompressedIndex::write(std::string const& path) const
{
    std::string const temp = path + ".tmp" + std::to_string(::getpid());
    auto fail = [&](std::string const& why) {
        Util::logf("CompressedIndex: cannot write '%s': %s\n", path.c_str(), why.c_str());
        return false;
    };
    File file(std::fopen(temp.c_str(), "wb"));
    if (!file) return fail("cannot create '" + temp + "' (" + std::strerror(errno) + ")");

    std::uint64_t runCount = 0;
    for (Line const& line : lines_) runCount += line.runs.size();
    unsigned char head[kHeaderSumAt];
    std::memcpy(head, kMagic, sizeof kMagic);
    put(head + kVersionAt, kVersion);
    put(head + kRecordSizeAt, static_cast<std::uint32_t>(sizeof(IndexedSEGYHeader)));
    put(head + kTracesAt, static_cast<std::uint64_t>(traces_));
    put(head + kBinsAt, static_cast<std::uint64_t>(histogram_.size()));
    put(head + kLinesAt, static_cast<std::uint64_t>(lines_.size()));
    put(head + kRunsAt, runCount);
    std::memcpy(head + kRecordAt, &header, sizeof header);

    SectionWriter out(file.get());
    out.begin();
    out.bytes(head, sizeof head);
    out.end();
    out.begin();
    out.bytes(histogram_.data(), histogram_.size() * kBinBytes);
    out.end();
    out.begin();
    for (Line const& line : lines_) {
        out.value(static_cast<std::int32_t>(line.inl));
        out.value(static_cast<std::uint32_t>(line.runs.size()));
    }
    for (Line const& line : lines_)
        for (Run const& r : line.runs) {
            out.value(r.offset);
            out.value(r.crl);
            out.value(r.count);
            out.value(r.offsetStep);
            out.value(r.crlStep);
        }
    out.end();

    // Reach the disk before the rename, so a crash cannot leave a renamed but empty file.
    bool ok = out.finish() && ::fsync(::fileno(file.get())) == 0;
    int error = errno;
    if (std::fclose(file.release()) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        std::remove(temp.c_str());
        return fail(std::string("writing '") + temp + "' failed (" + std::strerror(error) + ")");
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        error = errno;
        std::remove(temp.c_str());
        return fail(std::string("cannot rename '") + temp + "' into place (" + std::strerror(error) + ")");
    }
    return true;
}

std::string CompressedIndex::description_problem() const
{
    IndexedSEGYHeader const& h = header;
    SampleCoding coding;
    if (!sample_coding_for_format(h.format, h.ibmFloat, coding))
        return "the sample format " + std::to_string(h.format) + " is not a SEG-Y format";
    if (h.nSamples < 1 || h.nSamples > 65535)
        return "the sample count " + std::to_string(h.nSamples) + " is not between 1 and 65535";
    if (!std::isfinite(h.sampleRate) || !(h.sampleRate > 0.0)) return "the sample interval is not above 0";
    std::string why = survey_problem(vec<int, 3>{{h.inlStart, h.inlStop, h.inlStep}},
                                     vec<int, 3>{{h.crlStart, h.crlStop, h.crlStep}}, h.zStart, h.zStop, h.zStep);
    if (!why.empty()) return why;
    long long const cells =
        line_count(h.inlStart, h.inlStop, h.inlStep) * line_count(h.crlStart, h.crlStop, h.crlStep);
    if (grid_absurd(cells, traces_))
        return "the line ranges make a grid of " + std::to_string(cells) + " cells for " + std::to_string(traces_) +
               " traces";
    for (double v : {h.xInl, h.xCrl, h.x0, h.yInl, h.yCrl, h.y0})
        if (!std::isfinite(v)) return "the map transform is not finite";
    return {};
}

bool CompressedIndex::read(std::string const& path, std::string* whyNot)
{
    auto fail = [&](std::string const& why) {
        Util::logf("CompressedIndex: '%s' %s\n", path.c_str(), why.c_str());
        platform::set_last_error_info(path + ": " + why);
        if (whyNot) *whyNot = why;
        return false;
    };
    File file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        int const error = errno;
        Util::logf("CompressedIndex: cannot open '%s' (%s)\n", path.c_str(), std::strerror(error));
        std::string const why = std::string("cannot be opened (") + std::strerror(error) + ")";
        platform::set_last_error_info(path + ": " + why);
        if (whyNot) *whyNot = why;
        return false;
    }
    struct stat st;
    if (::fstat(::fileno(file.get()), &st) != 0 || !S_ISREG(st.st_mode)) return fail("is not an index file");
    auto const fileSize = static_cast<std::uint64_t>(st.st_size);

    unsigned char head[kFixedBytes];
    std::size_t const got = std::fread(head, 1, sizeof head, file.get());
    if (std::memcmp(head, kMagic, std::min(got, sizeof kMagic)) != 0) return fail("is not an index file");
    if (got < sizeof head) return fail("is truncated");
    if (XXH64(head, kHeaderSumAt, 0) != get<std::uint64_t>(head + kHeaderSumAt))
        return fail("has a checksum mismatch in the header");
    if (get<std::uint32_t>(head + kVersionAt) != kVersion) return fail("has a version this program cannot read");
    if (get<std::uint32_t>(head + kRecordSizeAt) != sizeof(IndexedSEGYHeader))
        return fail("has an inconsistent header");
    // A bool holding anything but 0 or 1 is not a value the record may take.
    for (std::size_t at : {offsetof(IndexedSEGYHeader, ibmFloat), offsetof(IndexedSEGYHeader, littleEndian),
                           offsetof(IndexedSEGYHeader, rescale), offsetof(IndexedSEGYHeader, sTransform)})
        if (head[kRecordAt + at] > 1) return fail("has an inconsistent header");
    IndexedSEGYHeader record;
    std::memcpy(&record, head + kRecordAt, sizeof record);

    // The counts passed the checksum; the file must be exactly as long as they
    // say before anything is allocated for them.
    auto const traces = get<std::uint64_t>(head + kTracesAt);
    auto const bins = get<std::uint64_t>(head + kBinsAt);
    auto const lineCount = get<std::uint64_t>(head + kLinesAt);
    auto const runCount = get<std::uint64_t>(head + kRunsAt);
    if (bins > fileSize / kBinBytes || lineCount > fileSize / kLineBytes || runCount > fileSize / kRunBytes)
        return fail("is truncated");
    std::uint64_t const expected =
        kFixedBytes + bins * kBinBytes + kSumBytes + lineCount * kLineBytes + runCount * kRunBytes + kSumBytes;
    if (fileSize < expected) return fail("is truncated");
    if (fileSize > expected) return fail("has unexpected bytes past its end");
    if (lineCount > runCount || runCount > traces || traces > static_cast<std::uint64_t>(kMax32) * runCount)
        return fail("has an inconsistent header");

    HashState state(XXH64_createState());
    unsigned char sum[kSumBytes];
    auto sectionEnds = [&] {
        return std::fread(sum, 1, sizeof sum, file.get()) == sizeof sum &&
               XXH64_digest(state.get()) == get<std::uint64_t>(sum);
    };

    std::vector<unsigned long long> histogram(static_cast<std::size_t>(bins));
    std::size_t const histogramBytes = histogram.size() * kBinBytes;
    XXH64_reset(state.get(), 0);
    if (histogramBytes > 0) {
        if (std::fread(histogram.data(), 1, histogramBytes, file.get()) != histogramBytes)
            return fail("could not be read");
        XXH64_update(state.get(), histogram.data(), histogramBytes);
    }
    if (!sectionEnds()) return fail("has a checksum mismatch in the histogram");

    // Entries are checked as they are read; the checksum is still taken to
    // the end, so that damage reports as such rather than as disorder.
    char const* problem = nullptr;
    std::vector<Line> lines;
    std::vector<std::uint32_t> claimed; // runs each inline says it has
    lines.reserve(static_cast<std::size_t>(lineCount));
    claimed.reserve(static_cast<std::size_t>(lineCount));
    std::uint64_t runsClaimed = 0;
    XXH64_reset(state.get(), 0);
    bool const linesRead = readRecords(file.get(), state.get(), lineCount, kLineBytes, [&](unsigned char const* p) {
        if (problem) return;
        auto const inl = get<std::int32_t>(p);
        auto const n = get<std::uint32_t>(p + 4);
        runsClaimed += n;
        if (!lines.empty() && inl <= lines.back().inl) problem = "has inlines out of order";
        else if (n == 0 || runsClaimed > runCount) problem = "has inconsistent run counts";
        else {
            lines.push_back({inl, {}});
            lines.back().runs.reserve(n);
            claimed.push_back(n);
        }
    });
    std::size_t line = 0;
    std::uint64_t tracesSeen = 0;
    bool const runsRead = readRecords(file.get(), state.get(), runCount, kRunBytes, [&](unsigned char const* p) {
        if (problem) return;
        Run const r{get<std::int64_t>(p), get<std::int32_t>(p + 8), get<std::int32_t>(p + 12),
                    get<std::int32_t>(p + 16), get<std::int32_t>(p + 20)};
        while (line < lines.size() && lines[line].runs.size() == claimed[line]) ++line;
        long long lastOff = 0;
        bool const shape = r.count == 1 ? r.crlStep == 0 && r.offsetStep == 0
                                        : r.count > 1 && r.crlStep > 0 && lastCrl(r) <= kMax32 &&
                                              !__builtin_mul_overflow(static_cast<long long>(r.count - 1),
                                                                      static_cast<long long>(r.offsetStep), &lastOff) &&
                                              !__builtin_add_overflow(r.offset, lastOff, &lastOff);
        if (line == lines.size()) problem = "has inconsistent run counts";
        else if (!shape) problem = "has a malformed run";
        else if (!lines[line].runs.empty() && r.crl <= lastCrl(lines[line].runs.back()))
            problem = "has runs out of order";
        else {
            lines[line].runs.push_back(r);
            tracesSeen += static_cast<std::uint64_t>(r.count);
        }
    });
    if (!linesRead || !runsRead) return fail("could not be read");
    if (!sectionEnds()) return fail("has a checksum mismatch in the entries");
    if (problem) return fail(problem);
    if (runsClaimed != runCount || tracesSeen != traces) return fail("has inconsistent run counts");

    header = record;
    histogram_ = std::move(histogram);
    lines_ = std::move(lines);
    traces_ = static_cast<long long>(traces);
    lastLine_ = 0;
    return true;
}

} // namespace Tolmar
