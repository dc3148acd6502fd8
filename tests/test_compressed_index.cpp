// The trace index: lookups against a plain map for surveys in the orders
// met in practice, its memory use, and its file under damage.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <thread>
#include <tuple>

#include "debug_capture.h"
#include "foundation/CompressedIndex.h"
#include "segy_test_util.h"

namespace {

using Tolmar::CompressedIndex;
using tolmar_test::DebugCapture;
using tolmar_test::ScratchDir;
using Entries = std::vector<std::tuple<int, int, long long>>;

constexpr long long kTrace = 4240; // 240-byte header and 1000 four-byte samples

Entries entries(CompressedIndex const& index)
{
    Entries out;
    index.for_each([&](int inl, int crl, long long offset) { out.emplace_back(inl, crl, offset); });
    return out;
}

using Truth = std::map<std::pair<int, int>, long long>;

// A walk over the index gives the map's entries in its order.
void expectEntries(CompressedIndex const& index, Truth const& truth)
{
    Entries expected;
    for (auto const& [key, offset] : truth) expected.emplace_back(key.first, key.second, offset);
    EXPECT_EQ(entries(index), expected);
    EXPECT_EQ(index.num_traces(), static_cast<long long>(truth.size()));
}

// And every key of the box around the map answers as the map does.
void expectSame(CompressedIndex const& index, Truth const& truth)
{
    expectEntries(index, truth);
    auto const [lo, hi] = std::minmax_element(truth.begin(), truth.end(), [](auto const& a, auto const& b) {
        return a.first.second < b.first.second;
    });
    for (int inl = truth.begin()->first.first - 1; inl <= truth.rbegin()->first.first + 1; ++inl)
        for (int crl = lo->first.second - 1; crl <= hi->first.second + 1; ++crl) {
            auto const it = truth.find({inl, crl});
            long long offset = -1;
            ASSERT_EQ(index.lookup(inl, crl, offset), it != truth.end()) << inl << " " << crl;
            if (it != truth.end()) {
                ASSERT_EQ(offset, it->second) << inl << " " << crl;
            }
        }
}

// 300 x 300 traces, crossline step 2, in the four orders a survey is written in.
TEST(CompressedIndex, RegularSurveysTakeAFewRunsAnInline)
{
    for (bool crosslineSorted : {false, true})
        for (bool falling : {false, true}) {
            SCOPED_TRACE(testing::Message() << "crossline-sorted " << crosslineSorted << ", falling " << falling);
            CompressedIndex index;
            Truth truth;
            long long offset = 3600;
            for (int a = 0; a < 300; ++a)
                for (int b = 0; b < 300; ++b) {
                    int const i = falling ? 299 - (crosslineSorted ? b : a) : (crosslineSorted ? b : a);
                    int const j = falling ? 299 - (crosslineSorted ? a : b) : (crosslineSorted ? a : b);
                    index.add(1000 + i, 2000 + 2 * j, offset);
                    truth[{1000 + i, 2000 + 2 * j}] = offset;
                    offset += kTrace;
                }
            expectSame(index, truth);
            EXPECT_LT(index.memory_bytes(), 2 * truth.size());
        }
}

TEST(CompressedIndex, RandomOrderWithHolesMatchesAMap)
{
    std::mt19937 rng(7);
    std::vector<std::pair<int, int>> keys;
    for (int inl = -40; inl < 60; ++inl)
        for (int crl = -150; crl < 150; ++crl)
            if (rng() % 10 >= 3) keys.emplace_back(inl, crl);
    std::shuffle(keys.begin(), keys.end(), rng);
    // Offsets in file order, then offsets too far apart for any two traces to share a run.
    for (long long spacing : {kTrace, 1LL << 32}) {
        SCOPED_TRACE(spacing);
        CompressedIndex index;
        Truth truth;
        for (std::size_t k = 0; k < keys.size(); ++k) {
            index.add(keys[k].first, keys[k].second, 3600 + static_cast<long long>(k) * spacing);
            truth[keys[k]] = 3600 + static_cast<long long>(k) * spacing;
        }
        // Repeated keys keep their first offset.
        for (std::size_t k = 0; k < keys.size(); k += 7) index.add(keys[k].first, keys[k].second, 1);
        expectSame(index, truth);
        EXPECT_LT(index.memory_bytes(), (spacing == kTrace ? 24 : 26) * truth.size());
        // Cut and rejoined runs still make a valid file, which replaces what the index held.
        ScratchDir dir;
        CompressedIndex back;
        back.add(1000, 1000, 1);
        ASSERT_TRUE(index.write(dir.path("r.idx")) && back.read(dir.path("r.idx")));
        expectSame(back, truth);
    }
}

TEST(CompressedIndex, DuplicatesExtremesAndGapsFilledLater)
{
    CompressedIndex index;
    Truth truth;
    auto add = [&](int inl, int crl, long long offset) {
        index.add(inl, crl, offset);
        truth.emplace(std::pair(inl, crl), offset);
    };
    // A run with step 4, cut and rejoined by the crosslines between; offsets past 4 GB.
    for (int crl : {0, 4, 8, 12, 16}) add(5, crl, (1LL << 33) + crl * kTrace);
    for (int crl : {6, 2, 10, 14}) add(5, crl, (1LL << 33) + crl * kTrace);
    // One inline (32 bytes) with one run (24) again; a copy holds no growth room.
    EXPECT_EQ(CompressedIndex(index).memory_bytes(), 56u);
    for (int crl : {0, 12, 16}) add(5, crl, 99); // repeated at the start, inside, at the end
    add(INT_MIN, INT_MAX, 1);
    add(INT_MIN, INT_MIN, 2);
    add(INT_MIN, INT_MAX, 3); // repeated alone
    add(INT_MAX, -1, LLONG_MAX);
    add(INT_MAX, 0, 0);
    expectEntries(index, truth);
    for (auto const& [key, value] : truth) {
        long long offset = -1;
        EXPECT_TRUE(index.lookup(key.first, key.second, offset));
        EXPECT_EQ(offset, value);
    }
    for (int crl = -1; crl <= 17; crl += 2) EXPECT_FALSE(index.lookup(5, crl));
    EXPECT_FALSE(index.lookup(INT_MIN, 0));
    EXPECT_FALSE(index.lookup(INT_MAX, 1));
}

TEST(CompressedIndex, ConcurrentLookups)
{
    CompressedIndex index;
    for (int inl = 0; inl < 100; ++inl)
        for (int crl = 0; crl < 100; ++crl) index.add(inl, crl, (inl * 100 + crl) * kTrace);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&index] {
            long long offset = 0;
            for (int inl = 0; inl < 100; ++inl)
                for (int crl = 0; crl < 100; ++crl)
                    EXPECT_TRUE(index.lookup(inl, crl, offset) && offset == (inl * 100 + crl) * kTrace);
        });
    for (auto& t : threads) t.join();
}

CompressedIndex sample()
{
    CompressedIndex index;
    index.header = {.format = 5, .nSamples = 1000, .ibmFloat = true, .crlStep = 2, .y0 = 7000000.25};
    for (int inl = -3; inl < 20; ++inl)
        for (int crl = 0; crl < 40; ++crl)
            if ((inl * 31 + crl * 17) % 11 != 0) index.add(inl, crl, 3600 + (crl * 23 + inl) * kTrace);
    index.set_histogram({1, 0, 1ULL << 40, 7});
    return index;
}

void expectEqual(CompressedIndex const& a, CompressedIndex const& b)
{
    EXPECT_EQ(std::memcmp(&a.header, &b.header, sizeof a.header), 0);
    EXPECT_EQ(a.histogram(), b.histogram());
    EXPECT_EQ(entries(a), entries(b));
    EXPECT_EQ(a.num_traces(), b.num_traces());
}

// The header and histogram travel whole (entries: RandomOrderWithHolesMatchesAMap);
// an empty index is a file too.
TEST(CompressedIndex, FileRoundTrip)
{
    ScratchDir dir;
    CompressedIndex copy;
    ASSERT_TRUE(sample().write(dir.path("a.idx")) && copy.read(dir.path("a.idx")));
    expectEqual(copy, sample());
    ASSERT_TRUE(CompressedIndex().write(dir.path("empty.idx")) && copy.read(dir.path("empty.idx")));
    EXPECT_EQ(copy.num_traces(), 0);
    EXPECT_TRUE(copy.histogram().empty());
}

TEST(CompressedIndex, DamagedFilesAreRefusedAndChangeNothing)
{
    ScratchDir dir;
    ASSERT_TRUE(sample().write(dir.path("good.idx")));
    std::vector<char> const good = tolmar_test::readFile(dir.path("good.idx"));
    std::size_t const histogramAt = 228, entriesAt = histogramAt + 4 * 8 + 8;
    auto check = [&](std::vector<char> const& bytes, std::string const& message) {
        SCOPED_TRACE(message);
        tolmar_test::writeFile(dir.path("bad.idx"), bytes);
        CompressedIndex index = sample();
        index.add(-100, -100, 1);
        CompressedIndex const before = index;
        DebugCapture log;
        EXPECT_FALSE(index.read(dir.path("bad.idx")));
        EXPECT_NE(log.text().find(message), std::string::npos) << log.text();
        expectEqual(index, before);
    };
    for (std::size_t size : {std::size_t{0}, std::size_t{100}, histogramAt, entriesAt + 3, good.size() - 1})
        check({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)}, "is truncated");
    auto flipped = [&](std::size_t at) {
        auto bytes = good;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
        return bytes;
    };
    check(flipped(20), "checksum mismatch in the header"); // the trace count
    check(flipped(histogramAt + 17), "checksum mismatch in the histogram");
    check(flipped(good.size() - 30), "checksum mismatch in the entries");
    check(flipped(0), "not an index file");
    auto longer = good;
    longer.push_back(0);
    check(longer, "unexpected bytes past its end");
    std::string const text = "inline,crossline,offset\n1,2,3600\n";
    check({text.begin(), text.end()}, "not an index file");
    CompressedIndex index = sample();
    DebugCapture log;
    EXPECT_FALSE(index.read(dir.path("missing.idx")));
    EXPECT_NE(log.text().find("cannot open '" + dir.path("missing.idx") + "'"), std::string::npos);
    expectEqual(index, sample());
}

TEST(CompressedIndex, FailedWritesLeaveNoTemporaryFile)
{
    ScratchDir dir;
    CompressedIndex const index = sample();
    DebugCapture log;
    EXPECT_FALSE(index.write(dir.path("missing/a.idx")));
    EXPECT_NE(log.text().find("cannot write '" + dir.path("missing/a.idx") + "'"), std::string::npos);
    // A folder in the way: the temporary is written, the rename fails.
    std::filesystem::create_directory(dir.path("taken"));
    EXPECT_FALSE(index.write(dir.path("taken")));
    std::vector<std::string> left;
    for (auto const& e : std::filesystem::directory_iterator(dir.dir())) left.push_back(e.path().filename());
    EXPECT_EQ(left, std::vector<std::string>{"taken"});
}

} // namespace
