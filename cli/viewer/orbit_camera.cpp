#include "cli/viewer/orbit_camera.h"

#include <algorithm>
#include <cmath>

namespace tolmar_cli {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = 180 / kPi;

} // namespace

void OrbitCamera::set_scene(double const bounds[6], V3 const& inlineAxis, V3 const& crosslineAxis)
{
    centre_ = V3{{(bounds[0] + bounds[1]) / 2, (bounds[2] + bounds[3]) / 2, (bounds[4] + bounds[5]) / 2}};
    target_ = centre_;
    radius_ = std::max(0.5 * V3{{bounds[1] - bounds[0], bounds[3] - bounds[2], bounds[5] - bounds[4]}}.length(), 1e-9);
    inline_ = inlineAxis;
    crossline_ = crosslineAxis;
    distance_ = framing_distance(radius_);
}

void OrbitCamera::look_at_scene(double azimuthDeg, double elevationDeg)
{
    fixed_.reset();
    target_ = centre_;
    azimuth_ = azimuthDeg;
    elevation_ = std::clamp(elevationDeg, -90.0, 90.0);
    distance_ = framing_distance(radius_);
}

void OrbitCamera::set_fixed(Camera const& c) { fixed_ = c; }

void OrbitCamera::leave_fixed()
{
    if (!fixed_) return;
    // The orbit that looks the same way at the front view's middle, from
    // where the perspective view shows the front view's height.
    Camera const& c = *fixed_;
    V3 const toEye = c.forward * -1.0;
    double const along0 = toEye[0] * inline_[0] + toEye[1] * inline_[1];
    double const along90 = toEye[0] * crossline_[0] + toEye[1] * crossline_[1];
    elevation_ = std::asin(std::clamp(toEye[2], -1.0, 1.0)) * kDeg;
    if (std::hypot(along0, along90) > 1e-9) {
        azimuth_ = std::atan2(along90, along0) * kDeg;
    } else {
        // Straight down: the azimuth is the one whose picture has the front
        // view's up at the top.
        azimuth_ = std::atan2(c.up[0] * crossline_[0] + c.up[1] * crossline_[1],
                              c.up[0] * inline_[0] + c.up[1] * inline_[1]) * kDeg + (toEye[2] > 0 ? 180 : 0);
    }
    distance_ = c.halfHeight / half_fov_tan();
    // A front view stands half its far plane from the slice's middle.
    target_ = c.eye + c.forward * (c.farPlane / 2);
    fixed_.reset();
}

void OrbitCamera::orbit(double dAzimuthDeg, double dElevationDeg)
{
    leave_fixed();
    azimuth_ = std::remainder(azimuth_ + dAzimuthDeg, 360.0);
    elevation_ = std::clamp(elevation_ + dElevationDeg, -90.0, 90.0);
}

void OrbitCamera::pan(double dxPixels, double dyPixels, int viewportHeight)
{
    leave_fixed();
    Camera const c = camera();
    double const perPixel = 2 * distance_ * half_fov_tan() / std::max(viewportHeight, 1);
    target_ = target_ - c.right * (dxPixels * perPixel) + c.up * (dyPixels * perPixel);
}

void OrbitCamera::zoom(double steps)
{
    leave_fixed();
    distance_ = std::clamp(distance_ * std::pow(0.85, steps), radius_ * 1e-3, radius_ * 1e3);
}

Camera OrbitCamera::camera() const
{
    if (fixed_) return *fixed_;
    // The far plane holds the whole scene, wherever panning took the point looked at.
    double const reach = radius_ + (target_ - centre_).length();
    return orbit_view(target_, reach, inline_, crossline_, azimuth_, elevation_, distance_);
}

} // namespace tolmar_cli
