#pragma once
// A horizon picked on a line and kept in a GeoPackage: the layer
// "horizons" holds it as a 3D line (map x and y, z the negative time, as
// the view draws it) with its name, snap mode and line. The file is written
// anew after each click, so it always holds the latest horizon.

#include <memory>
#include <string>

#include "cli/line_data.h"
#include "graphics/LineInterpreter.h"
#include "host/IPolylineFeature.h"

namespace tolmar_cli {

class HorizonFile : public Tolmar::host::IPolylineFeature {
public:
    HorizonFile(std::string path, std::string horizon, std::string mode, LineData const& line);
    bool store(std::vector<Tolmar::vec<double, 3>> const& vertices) override;
    bool saved() const { return saved_; }

private:
    std::string path_, horizon_, mode_, line_;
    Tolmar::host::SpatialReferencePtr srs_;
    bool saved_ = false;
};

// Clicks on the line without a window: the same tool the line layer hosts.
class HorizonPicker {
public:
    HorizonPicker(LineData const& line, std::string const& name, Tolmar::SnapMode mode, int window,
                  std::string const& out);
    void click(double trace, double sample) { tool_->mouseClick(trace, sample); }
    Tolmar::Horizon const& horizon() const { return tool_->activeHorizon(); }
    bool saved() const { return file_->saved(); }

private:
    std::unique_ptr<Tolmar::SeismicLineRenderer> amplitudes_;
    std::unique_ptr<Tolmar::LineInterpreter> tool_;
    std::shared_ptr<HorizonFile> file_;
};

char const* snap_mode_name(Tolmar::SnapMode mode);

} // namespace tolmar_cli
