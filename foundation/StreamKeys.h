#pragma once
// The records that travel between the streaming readers and their callers.

#include "platform/api.h"

#include <tuple>
#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// A brick of a multi-resolution cube: level 0 is the finest, the root the
// highest. Ordered by level, then id.
struct BrickKey {
    unsigned int level = 0;
    unsigned int id = 0;

    bool operator==(BrickKey const& o) const { return level == o.level && id == o.id; }
    bool operator!=(BrickKey const& o) const { return !(*this == o); }
    bool operator<(BrickKey const& o) const { return level != o.level ? level < o.level : id < o.id; }
};

// brick_size^3 elements of the cube's type; element (i inline, j crossline,
// k sample) stands at (i * brick_size + j) * brick_size + k. Empty data
// marks an undefined brick: no trace reaches it.
struct Brick : BrickKey {
    std::vector<char> data;
};

struct TraceKey {
    int inl = 0;
    int crl = 0;

    bool operator==(TraceKey const& o) const { return inl == o.inl && crl == o.crl; }
    bool operator<(TraceKey const& o) const { return std::tie(inl, crl) < std::tie(o.inl, o.crl); }
};

struct Trace {
    int inl = 0;
    int crl = 0;
    std::vector<float> samples;
};

// One sample of a trace; `sample` is the index within the trace.
struct SampleKey {
    int inl = 0;
    int crl = 0;
    int sample = 0;

    bool operator==(SampleKey const& o) const { return inl == o.inl && crl == o.crl && sample == o.sample; }
    bool operator<(SampleKey const& o) const
    {
        return std::tie(inl, crl, sample) < std::tie(o.inl, o.crl, o.sample);
    }
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
