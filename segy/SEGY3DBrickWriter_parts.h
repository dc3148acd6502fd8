#pragma once
// What the two halves of the brick pass share: a unit's located traces and
// the pair sums its coarser levels are averaged from.

#include <vector>

#include "segy/SEGY3DBrickWriter.h"
#include "segy/TraceWindowReader.h"

namespace Tolmar {

struct SEGY3DBrickWriter::Loaded {
    TraceWindow traces;     // the survey's traces within the unit's window
    std::vector<int> slots; // (inline - inl0) * side + (crossline - crl0): the trace's index in `traces`
    int inl0 = 0, crl0 = 0, side = 0;
};

struct SEGY3DBrickWriter::Pairs {
    int inl0 = 0, crl0 = 0; // the unit's first lines: pair (p, q) holds lines inl0 + 2p, crl0 + 2q and the next
    int side = 0;           // pairs each way
    long long mFrom = 0;    // the first pair of samples (2 mFrom, 2 mFrom + 1); those before the trace repeat its first
    long long mCount = 0;
    std::vector<double> sums; // pair (p, q) at (p * side + q) * mCount; valid where its count is not 0
    std::vector<int> counts;
};

} // namespace Tolmar
