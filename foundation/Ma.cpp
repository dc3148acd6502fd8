#include "foundation/Ma.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace Tolmar::Ma {

namespace {

// Index of the last grid point, or 0 when the grid has only its start.
long long lastGridIndex(int start, int stop, int step)
{
    if (step == 0) return 0;
    long long n = (static_cast<long long>(stop) - start) / step;
    return std::max(0LL, n);
}

int gridValue(double k, int start, int stop, int step)
{
    double const last = static_cast<double>(lastGridIndex(start, stop, step));
    if (!(k >= 0.0)) k = 0.0; // also catches NaN
    if (k > last) k = last;
    return static_cast<int>(start + static_cast<long long>(k) * step);
}

} // namespace

int fromDoubleToInt(double fraction, int start, int stop, int step)
{
    if (step == 0) return start;
    double const along = fraction * (static_cast<double>(stop) - start);
    return gridValue(std::floor(along / step + 0.5), start, stop, step);
}

int fromDoubleToIntFloor(double fraction, int start, int stop, int step)
{
    if (step == 0) return start;
    double const along = fraction * (static_cast<double>(stop) - start);
    // A tiny tolerance keeps fractions computed from grid values on their point.
    return gridValue(std::floor(along / step + 1e-9), start, stop, step);
}

double linearInterpolate2Values(double x, double y0, double x0, double y1, double x1)
{
    return y0 + (x - x0) * (y1 - y0) / (x1 - x0);
}

void linearInterpolate2Points(double* outA, double* outB, double* outC, double x,
                              double a0, double a1, double a2, double x0,
                              double b0, double b1, double b2, double x1)
{
    *outA = linearInterpolate2Values(x, a0, x0, b0, x1);
    *outB = linearInterpolate2Values(x, a1, x0, b1, x1);
    *outC = linearInterpolate2Values(x, a2, x0, b2, x1);
}

bool pointsOnLine(double x1, double y1, double z1, double x2, double y2, double z2,
                  double x3, double y3, double z3)
{
    double const ux = x2 - x1, uy = y2 - y1, uz = z2 - z1;
    double const vx = x3 - x1, vy = y3 - y1, vz = z3 - z1;
    double const cx = uy * vz - uz * vy, cy = uz * vx - ux * vz, cz = ux * vy - uy * vx;
    double const cross = std::sqrt(cx * cx + cy * cy + cz * cz);
    double const scale = std::sqrt(ux * ux + uy * uy + uz * uz) * std::sqrt(vx * vx + vy * vy + vz * vz);
    return cross <= 1e-9 * scale;
}

bool samePoint(double x1, double y1, double z1, double x2, double y2, double z2, double tolerance)
{
    double const dx = x1 - x2, dy = y1 - y2, dz = z1 - z2;
    return dx * dx + dy * dy + dz * dz <= tolerance * tolerance;
}

bool getCrossingPoint(double* x, double* y, double x1, double y1, double x2, double y2,
                      double x3, double y3, double x4, double y4, double* param)
{
    double const dx1 = x2 - x1, dy1 = y2 - y1, dx2 = x4 - x3, dy2 = y4 - y3;
    double const den = dx1 * dy2 - dy1 * dx2;
    if (den == 0.0) return false; // parallel or degenerate
    double const t = ((x3 - x1) * dy2 - (y3 - y1) * dx2) / den;
    double const u = ((x3 - x1) * dy1 - (y3 - y1) * dx1) / den;
    if (t < 0.0 || t > 1.0 || u < 0.0 || u > 1.0) return false;
    *x = x1 + t * dx1;
    *y = y1 + t * dy1;
    if (param) *param = t;
    return true;
}

namespace {

template <int N>
bool projectPoint(double* out, double const* p, double const* a, double const* b)
{
    double d[N], len2 = 0.0, dot = 0.0;
    for (int i = 0; i < N; ++i) {
        d[i] = b[i] - a[i];
        len2 += d[i] * d[i];
        dot += (p[i] - a[i]) * d[i];
    }
    if (len2 == 0.0) {
        std::copy(a, a + N, out);
        return false;
    }
    double const t = dot / len2;
    for (int i = 0; i < N; ++i) out[i] = a[i] + t * d[i];
    return t >= 0.0 && t <= 1.0;
}

} // namespace

bool projectPointToLine2D(double* out, double const* p, double const* a, double const* b)
{
    return projectPoint<2>(out, p, a, b);
}

bool projectPointToLine3D(double* out, double const* p, double const* a, double const* b)
{
    return projectPoint<3>(out, p, a, b);
}

void barycentricalCoordinates(double* out, double px, double py, double x0, double y0,
                              double x1, double y1, double x2, double y2)
{
    double const den = (y1 - y2) * (x0 - x2) + (x2 - x1) * (y0 - y2);
    double const l0 = ((y1 - y2) * (px - x2) + (x2 - x1) * (py - y2)) / den;
    double const l1 = ((y2 - y0) * (px - x2) + (x0 - x2) * (py - y2)) / den;
    out[0] = l0;
    out[1] = l1;
    out[2] = 1.0 - l0 - l1;
}

unsigned int ClosestPowerOf2(unsigned int n)
{
    if (n <= 1) return 1;
    unsigned int lower = 1;
    while (lower <= n / 2) lower <<= 1; // largest power of two <= n
    if (lower == n || lower == 0x80000000u) return lower;
    unsigned int const upper = lower << 1;
    return (n - lower < upper - n) ? lower : upper;
}

unsigned int calculateChecksum(unsigned int seed, void const* data, unsigned int bytes)
{
    // 32-bit FNV-1a over words with a final avalanche: cheap on large
    // texture buffers and sensitive to every byte.
    auto const* p = static_cast<unsigned char const*>(data);
    std::uint32_t h = 2166136261u ^ seed;
    unsigned int i = 0;
    for (; i + 4 <= bytes; i += 4) {
        std::uint32_t w;
        std::memcpy(&w, p + i, 4);
        h = (h ^ w) * 16777619u;
        h ^= h >> 15;
    }
    for (; i < bytes; ++i) h = (h ^ p[i]) * 16777619u;
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    return h;
}

// ---- Line3D ----------------------------------------------------------------

Line3D::Line3D(vec<double, 3> p0, vec<double, 3> p1) : p0_(p0), d_(p1 - p0) {}

vec<double, 3> Line3D::pointAtT(double t) const { return p0_ + d_ * t; }

bool Line3D::clip(vec<double, 3> const& lo, vec<double, 3> const& hi, double& t0, double& t1) const
{
    t0 = -std::numeric_limits<double>::infinity();
    t1 = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 3; ++i) {
        if (d_[i] == 0.0) {
            if (p0_[i] < lo[i] || p0_[i] > hi[i]) return false;
            continue;
        }
        double a = (lo[i] - p0_[i]) / d_[i];
        double b = (hi[i] - p0_[i]) / d_[i];
        if (a > b) std::swap(a, b);
        t0 = std::max(t0, a);
        t1 = std::min(t1, b);
        if (t0 > t1) return false;
    }
    return true;
}

bool Line3D::intersectBox(vec<double, 3> lo, vec<double, 3> hi) const
{
    double t0, t1;
    return clip(lo, hi, t0, t1);
}

std::vector<vec<double, 3>> Line3D::CrossingsBox3D(vec<double, 3> lo, vec<double, 3> hi,
                                                   bool segmentOnly) const
{
    std::vector<vec<double, 3>> out;
    double t0, t1;
    if (!clip(lo, hi, t0, t1) || !std::isfinite(t0) || !std::isfinite(t1)) return out;
    for (double t : {t0, t1}) {
        if (segmentOnly && (t < 0.0 || t > 1.0)) continue;
        if (!out.empty() && t == t0) continue; // the line only touches an edge or corner
        out.push_back(pointAtT(t));
    }
    return out;
}

// ---- PlaneFunction2D -------------------------------------------------------

PlaneFunction2D::PlaneFunction2D(double x0, double y0, double z0, double x1, double y1, double z1,
                                 double x2, double y2, double z2)
{
    // Solve a + b*x + c*y = z for the three points by Cramer's rule on the
    // differences, which keeps large map coordinates well conditioned.
    double const ux = x1 - x0, uy = y1 - y0, uz = z1 - z0;
    double const vx = x2 - x0, vy = y2 - y0, vz = z2 - z0;
    double const det = ux * vy - uy * vx;
    if (det == 0.0) return;
    b_ = (uz * vy - uy * vz) / det;
    c_ = (ux * vz - uz * vx) / det;
    a_ = z0 - b_ * x0 - c_ * y0;
}

double PlaneFunction2D::getIncrement() const { return 1.0 / std::sqrt(b_ * b_ + c_ * c_); }
double PlaneFunction2D::getXIncrement() const { return b_ / (b_ * b_ + c_ * c_); }
double PlaneFunction2D::getYIncrement() const { return c_ / (b_ * b_ + c_ * c_); }

} // namespace Tolmar::Ma
