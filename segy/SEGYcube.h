#pragma once
// Collects traces while a file is analysed and derives the geometry of a line
// or survey: ranges, steps, corners and the affine map between (inline,
// crossline) and map coordinates,
//   x = x0 + xInl * inline + xCrl * crossline,  y likewise.

#include "platform/api.h"

#include <vector>

#include "segy/SEGYtrace.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SEGYcube {
public:
    SEGYcube(int sampleRateMicroseconds, int capacityHint);

    // Updates ranges, steps and corners; stores the trace only while a step
    // is still unknown, which keeps a pass through a large file small.
    void addTrace(SEGYtrace const& t);
    // Empties the stored traces; the ranges stay.
    void deleteAllTraces() { traces_.clear(); }
    // Called once all traces are added: makes the steps positive, fixes x0
    // and y0 and computes corners that no trace reached.
    void setBbox();

    unsigned nTraces() const { return static_cast<unsigned>(traces_.size()); }
    // Trace i, null past the end.
    SEGYtrace const* trace(unsigned i) const { return i < traces_.size() ? &traces_[i] : nullptr; }
    // Corner order: 0 (inlineStart, crlineStart), 1 (inlineStart, crlineStop),
    // 2 (inlineStop, crlineStart), 3 (inlineStop, crlineStop).
    void bbox(double* x, double* y) const;
    void trans(double* x0, double* xInl, double* xCrl, double* y0, double* yInl, double* yCrl) const;

    int nSamples() const { return nSamples_; }
    int capacityHint() const { return capacityHint_; }
    int spStart() const { return spStart_; }
    int spStop() const { return spStop_; }
    int inlineStart() const { return inlineStart_; }
    int inlineStop() const { return inlineStop_; }
    int inlineStep() const { return inlineStep_; }
    int crlineStart() const { return crlineStart_; }
    int crlineStop() const { return crlineStop_; }
    int crlineStep() const { return crlineStep_; }
    double zStart() const { return zStart_; }
    double zStop() const { return zStop_; }
    double zStep() const { return zStep_; }
    double xMin() const { return xMin_; }
    double xMax() const { return xMax_; }
    double yMin() const { return yMin_; }
    double yMax() const { return yMax_; }
    double sMin() const { return sMin_; }
    double sMax() const { return sMax_; }
    // Corner numbers as stored: those of the trace that last reached each
    // corner, or after setBbox the true numbers.
    int cornerInline(int i) const { return cornerInl_[i]; }
    int cornerCrossline(int i) const { return cornerCrl_[i]; }

private:
    void fillCorner(int i, SEGYtrace const& t);

    int nSamples_ = 0;
    int capacityHint_;
    int spStart_ = 9999999, spStop_ = -999999;
    int inlineStart_ = 9999999, inlineStop_ = -999999, inlineStep_ = 0;
    int crlineStart_ = 9999999, crlineStop_ = -999999, crlineStep_ = 0;
    double zStart_ = 9999999.0, zStop_ = -999999.0, zStep_;
    double xMin_ = 99999999.0, xMax_ = -99999999.0;
    double yMin_ = 99999999.0, yMax_ = -99999999.0;
    double sMin_, sMax_;
    double cornerX_[4] = {}, cornerY_[4] = {};
    int cornerInl_[4] = {}, cornerCrl_[4] = {};
    double x0_ = 0, xInl_ = 0, xCrl_ = 0, y0_ = 0, yInl_ = 0, yCrl_ = 0;
    std::vector<SEGYtrace> traces_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
