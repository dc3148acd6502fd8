#include "segy/SEGYcube.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstdlib>

namespace Tolmar {

SEGYcube::SEGYcube(int sampleRateMicroseconds, int capacityHint)
    : capacityHint_(capacityHint), zStep_(sampleRateMicroseconds / 1000.0), sMin_(FLT_MAX),
      sMax_(FLT_MIN)
{
    traces_.reserve(100);
}

void SEGYcube::fillCorner(int i, SEGYtrace const& t)
{
    cornerInl_[i] = t.inlineX();
    cornerCrl_[i] = t.crlineY();
    cornerX_[i] = t.utmX();
    cornerY_[i] = t.utmY();
}

void SEGYcube::addTrace(SEGYtrace const& t)
{
    if (inlineStep_ == 0 || crlineStep_ == 0) traces_.push_back(t);

    double const x = t.utmX(), y = t.utmY();
    xMin_ = std::min(xMin_, x);
    xMax_ = std::max(xMax_, x);
    yMin_ = std::min(yMin_, y);
    yMax_ = std::max(yMax_, y);

    // SEGYtrace::sMin and sMax search from the largest float and the
    // smallest positive normal float, as the cube's own range does.
    sMin_ = std::min(sMin_, static_cast<double>(t.sMin()));
    sMax_ = std::max(sMax_, static_cast<double>(t.sMax()));

    spStart_ = std::min(spStart_, t.sP());
    spStop_ = std::max(spStop_, t.sP());
    inlineStart_ = std::min(inlineStart_, t.inlineX());
    inlineStop_ = std::max(inlineStop_, t.inlineX());

    // A step is learned from t and the trace stored before it; t is stored
    // whenever a step is unknown, so traces_ ends with t. The slopes run from
    // the cube's first trace.
    auto learnStep = [&](int& step, double& xSlope, double& ySlope, int (SEGYtrace::*number)() const) {
        if (step != 0 || traces_.size() < 2) return;
        SEGYtrace const& first = traces_.front();
        // Garbage header numbers can lie further apart than an int reaches.
        long long const d = static_cast<long long>((t.*number)()) - (traces_[traces_.size() - 2].*number)();
        step = static_cast<int>(std::clamp<long long>(d, -INT_MAX, INT_MAX));
        if (step != 0) {
            xSlope = (x - first.utmX()) / step;
            ySlope = (y - first.utmY()) / step;
        }
    };
    learnStep(inlineStep_, xInl_, yInl_, &SEGYtrace::inlineX);
    crlineStart_ = std::min(crlineStart_, t.crlineY());
    crlineStop_ = std::max(crlineStop_, t.crlineY());
    learnStep(crlineStep_, xCrl_, yCrl_, &SEGYtrace::crlineY);

    double const last = t.zStart() + (t.nSamples() - 1) * zStep_;
    zStart_ = std::min(zStart_, t.zStart());
    zStop_ = std::max(zStop_, last);
    if (zStep_ > 0.0) {
        int const n = static_cast<int>((zStop_ - zStart_) / zStep_ + 0.5) + 1;
        nSamples_ = std::max(nSamples_, n);
    }

    bool const atInlStart = t.inlineX() == inlineStart_, atInlStop = t.inlineX() == inlineStop_;
    bool const atCrlStart = t.crlineY() == crlineStart_, atCrlStop = t.crlineY() == crlineStop_;
    if (atInlStart && atCrlStart) fillCorner(0, t);
    if (atInlStart && atCrlStop) fillCorner(1, t);
    if (atInlStop && atCrlStart) fillCorner(2, t);
    if (atInlStop && atCrlStop) fillCorner(3, t);
}

void SEGYcube::setBbox()
{
    inlineStep_ = std::abs(inlineStep_);
    crlineStep_ = std::abs(crlineStep_);
    x0_ = cornerX_[0] - xInl_ * cornerInl_[0] - xCrl_ * cornerCrl_[0];
    y0_ = cornerY_[0] - yInl_ * cornerInl_[0] - yCrl_ * cornerCrl_[0];
    int const trueInl[4] = {inlineStart_, inlineStart_, inlineStop_, inlineStop_};
    int const trueCrl[4] = {crlineStart_, crlineStop_, crlineStart_, crlineStop_};
    for (int i = 0; i < 4; ++i) {
        if (cornerInl_[i] == trueInl[i] && cornerCrl_[i] == trueCrl[i]) continue;
        cornerInl_[i] = trueInl[i];
        cornerCrl_[i] = trueCrl[i];
        cornerX_[i] = x0_ + xInl_ * trueInl[i] + xCrl_ * trueCrl[i];
        cornerY_[i] = y0_ + yInl_ * trueInl[i] + yCrl_ * trueCrl[i];
    }
}

void SEGYcube::bbox(double* x, double* y) const
{
    std::copy(cornerX_, cornerX_ + 4, x);
    std::copy(cornerY_, cornerY_ + 4, y);
}

void SEGYcube::trans(double* x0, double* xInl, double* xCrl, double* y0, double* yInl,
                     double* yCrl) const
{
    *x0 = x0_;
    *xInl = xInl_;
    *xCrl = xCrl_;
    *y0 = y0_;
    *yInl = yInl_;
    *yCrl = yCrl_;
}

} // namespace Tolmar
