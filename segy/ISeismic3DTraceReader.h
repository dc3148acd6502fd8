#pragma once
// What a tool needs of a seismic cube, whatever holds it.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class ISeismic3DTraceReader {
public:
    virtual ~ISeismic3DTraceReader() = default;

    int inlStart = 0, inlStop = 0, inlStep = 1;
    int crlStart = 0, crlStop = 0, crlStep = 1;
    double zStart = 0.0, zStop = 0.0, zStep = 1.0; // milliseconds

    // The amplitudes of one inline, crossline or time slice; false when they
    // cannot be had. Layouts are those of the implementation.
    virtual bool inlslice(int inl, std::vector<float>& out) = 0;
    virtual bool crlslice(int crl, std::vector<float>& out) = 0;
    virtual bool timeslice(double z, std::vector<float>& out) = 0;
    // The value that marks missing data.
    virtual float undef() = 0;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
