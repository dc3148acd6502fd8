#pragma once
// Numeric helpers shared by the readers, slices and geometry code.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::Ma {

// The value of the grid start, start+step, ... (stop included when on the
// grid) nearest to start + fraction*(stop-start). Always a grid value.
int fromDoubleToInt(double fraction, int start, int stop, int step);
// The last grid value not beyond start + fraction*(stop-start).
int fromDoubleToIntFloor(double fraction, int start, int stop, int step);

// y0 + (x-x0)*(y1-y0)/(x1-x0): the position comes first.
double linearInterpolate2Values(double x, double y0, double x0, double y1, double x1);
void linearInterpolate2Points(double* outA, double* outB, double* outC, double x,
                              double a0, double a1, double a2, double x0,
                              double b0, double b1, double b2, double x1);

bool pointsOnLine(double x1, double y1, double z1, double x2, double y2, double z2,
                  double x3, double y3, double z3);
bool samePoint(double x1, double y1, double z1, double x2, double y2, double z2, double tolerance);

// True if segment (x1,y1)-(x2,y2) crosses segment (x3,y3)-(x4,y4); *param is
// the crossing's parameter along the first segment.
bool getCrossingPoint(double* x, double* y, double x1, double y1, double x2, double y2,
                      double x3, double y3, double x4, double y4, double* param);

// Orthogonal projection of p on the line through a and b; true when the foot
// lies within the segment a-b.
bool projectPointToLine2D(double* out, double const* p, double const* a, double const* b);
bool projectPointToLine3D(double* out, double const* p, double const* a, double const* b);

// Barycentric coordinates (three weights) of (px, py) in the triangle.
void barycentricalCoordinates(double* out, double px, double py, double x0, double y0,
                              double x1, double y1, double x2, double y2);

// The power of two closest to n; ties go up, 0 gives 1.
unsigned int ClosestPowerOf2(unsigned int n);

// Running checksum: equal bytes give equal sums for equal seeds.
unsigned int calculateChecksum(unsigned int seed, void const* data, unsigned int bytes);

// The line through p0 (parameter 0) and p1 (parameter 1).
class Line3D {
public:
    Line3D(vec<double, 3> p0, vec<double, 3> p1);
    vec<double, 3> pointAtT(double t) const;
    // True if the infinite line meets the box.
    bool intersectBox(vec<double, 3> lo, vec<double, 3> hi) const;
    // The points where the line enters and leaves the box, ordered by
    // parameter; with segmentOnly, only those between p0 and p1.
    std::vector<vec<double, 3>> CrossingsBox3D(vec<double, 3> lo, vec<double, 3> hi,
                                               bool segmentOnly) const;

private:
    bool clip(vec<double, 3> const& lo, vec<double, 3> const& hi, double& t0, double& t1) const;
    vec<double, 3> p0_;
    vec<double, 3> d_;
};

// The plane z = a + b*x + c*y through three points.
class PlaneFunction2D {
public:
    PlaneFunction2D(double x0, double y0, double z0, double x1, double y1, double z1,
                    double x2, double y2, double z2);
    double a() const { return a_; }
    double b() const { return b_; }
    double c() const { return c_; }
    double value(double x, double y) const { return a_ + b_ * x + c_ * y; }
    // Distance in the x-y plane over which z rises by 1 along the steepest ascent.
    double getIncrement() const;
    // The x and y components of that step.
    double getXIncrement() const;
    double getYIncrement() const;

private:
    double a_ = 0.0, b_ = 0.0, c_ = 0.0;
};

} // namespace Tolmar::Ma

TOLMAR_PUBLIC_END
