#pragma once
// The viewer's camera: it circles a point of the scene at a distance, turned
// by an azimuth and an elevation that mean what `tolmar render --camera`
// means by them, so that a view set in the viewer can be drawn again by the
// tool. It can also stand in for a front view (a fixed orthographic camera),
// which turns back into an orbit at the first move.

#include <optional>

#include "cli/cube_view.h"

namespace tolmar_cli {

class OrbitCamera {
public:
    using V3 = Tolmar::vec<double, 3>;

    // The scene's box (x min, x max, y min, y max, z min, z max in view
    // units) and the horizontal directions azimuth 90 and 0 face: a cube's
    // crossline and inline axes.
    void set_scene(double const bounds[6], V3 const& inlineAxis, V3 const& crosslineAxis);
    // Looks at the whole scene from the azimuth and elevation in degrees.
    void look_at_scene(double azimuthDeg, double elevationDeg);
    // The front view of a slice until the next move.
    void set_fixed(Camera const& c);
    bool is_fixed() const { return fixed_.has_value(); }

    // Degrees of azimuth and elevation; the elevation stops at straight up
    // and straight down.
    void orbit(double dAzimuthDeg, double dElevationDeg);
    // Moves the point looked at so that the scene follows the mouse by
    // these pixels of a view this many pixels high.
    void pan(double dxPixels, double dyPixels, int viewportHeight);
    // Wheel steps: forward comes closer.
    void zoom(double steps);

    Camera camera() const;
    double azimuth() const { return azimuth_; }
    double elevation() const { return elevation_; }
    double distance() const { return distance_; }
    V3 target() const { return target_; }

private:
    void leave_fixed();

    V3 centre_{}, target_{}, inline_{{1, 0, 0}}, crossline_{{0, 1, 0}};
    double radius_ = 1, azimuth_ = 30, elevation_ = 30, distance_ = 1;
    std::optional<Camera> fixed_;
};

} // namespace tolmar_cli
