#include "cli/line_pick.h"

#include <iostream>

#include "cli/host_module.h"

namespace tolmar_cli {

using Tolmar::host::FieldValue;

char const* snap_mode_name(Tolmar::SnapMode mode) { return mode == Tolmar::SnapPeak ? "peak" : "trough"; }

HorizonFile::HorizonFile(std::string path, std::string horizon, std::string mode, LineData const& line)
    : path_(std::move(path)), horizon_(std::move(horizon)), mode_(std::move(mode)), line_(line.name),
      srs_(line.spatialReference)
{
}

bool HorizonFile::store(std::vector<Tolmar::vec<double, 3>> const& vertices)
{
    using namespace Tolmar::host;
    VectorLayer layer{"horizons", GeometryKind::Line, srs_, {}};
    layer.features.push_back(VectorFeature{vertices,
                                           {{"name", FieldValue(horizon_)},
                                            {"mode", FieldValue(mode_)},
                                            {"line", FieldValue(line_)}}});
    write_vector_layers(path_, {layer});
    saved_ = true;
    return true;
}

HorizonPicker::HorizonPicker(LineData const& line, std::string const& name, Tolmar::SnapMode mode, int window,
                             std::string const& out)
    : amplitudes_(open_line_layer(line))
{
    std::vector<double> x = line.x, y = line.y;
    tool_ = std::make_unique<Tolmar::LineInterpreter>(x, y, -line.zStart, -line.z_of_sample(line.samples - 1),
                                                      line.samples, amplitudes_.get());
    tool_->addHorizon(name, mode, window);
    tool_->setActiveHorizon(name);
    file_ = std::make_shared<HorizonFile>(out, name, snap_mode_name(mode), line);
    tool_->setFeature(file_);
}

} // namespace tolmar_cli
