#pragma once
// A 2D seismic line as a layer: a vertical curtain hanging below the line's
// track, its amplitudes read from a single-band raster (traces as columns,
// samples as rows) tile by tile and drawn by the tile renderer. It answers
// picks, exports the curtain as textured meshes, and hosts the horizon
// picking tool.
//
// Z values are view heights: a line in time has ztop = -first time and
// zbot = -last time, and draws with z stretched by the exaggeration, as the
// cube layer does. Use: set_extent, put_rastergdb, openRaster,
// turn_on_draw, then draw each frame with the GL context current;
// shutdown_renderer_and_datasource before the context goes. Status results
// are 0 for success and negative otherwise.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

#include "foundation/vec.h"
#include "graphics/ISeismicAmplitudesReader.h"
#include "graphics/LineInterpreter.h"
#include "graphics/tile_renderer/PlaneTiler.h"
#include "host/IRasterDataset.h"
#include "host/ITexturedMeshWriter.h"
#include "platform/update_sink.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class TileRenderer;
class TileDataSourceSeismic2D;

class SeismicLineRenderer : public ISeismicAmplitudesReader {
public:
    using ColourTable = std::vector<vec<unsigned char, 4>>;

    SeismicLineRenderer();
    ~SeismicLineRenderer() override;
    SeismicLineRenderer(SeismicLineRenderer const&) = delete;
    SeismicLineRenderer& operator=(SeismicLineRenderer const&) = delete;

    void getAmplitudes(int trace, int first_sample, int last_sample, std::vector<float>& out) override;

    // The track (one position and shot point a trace) and the sample axis.
    long set_extent(double const* x, double const* y, int const* shotpoints, int ntraces, int nsamples,
                    double ztop, double zbot, double zstep);
    // Where the ray (in view coordinates, z stretched by `scale`) meets the
    // curtain: its distance along the ray, or -1; `text`, when given, the
    // pick text "x ...  y ...  z/twt ...;shotpoint ...  amp ...".
    long get_ray_slice_distance(vec<double, 3> const& origin, vec<double, 3> const& direction, double scale,
                                double* distance, std::wstring* text);
    // Corners 0 to 3: first trace top, last trace top, last trace bottom,
    // first trace bottom, in map coordinates and unstretched z.
    long get_corner(int index, double* xyz) const;
    long put_rastergdb(host::RasterDatasetPtr raster);
    long get_rastergdb(host::RasterDatasetPtr* raster) const;
    // The amplitudes' whole range, and the range the colour table spans.
    long set_sample_range(double low, double high);
    long set_effective_sample_range(float low, float high);
    long get_original_amplitude_range(vec<double, 2>& out) const;
    // Writes the curtain as textured meshes, one a tile, the textures as TGA
    // files under `image_base` (base + tile number + ".tga").
    long multipatch(host::ITexturedMeshWriter& out, std::wstring const& image_base, ColourTable const& colours);
    // 1: a click at the last pick's place on the section; 2: a move. Both
    // go to the picking tool, and do nothing without one.
    long mouseAction(int action);
    // The horizon picking tool with one horizon, "TEST", window 20 samples,
    // peaks when Caps Lock is on and troughs when off.
    long startDigitizing();
    long stopDigitizing();
    long set_is_arbline(short on);
    long get_is_arbline(short* on) const;
    // Lets the raster go.
    long delete_raster();

    void setActiveSlice(bool active) { is_active = active ? -1 : 0; }
    void set_name(std::wstring n) { name = std::move(n); }
    std::wstring const& get_name() const { return name; }
    void set_is_active(short active) { is_active = active; }
    void turn_on_draw() { visible = -1; }
    void setGraphicsUpdateWindow(platform::UpdateHandle handle) { update_window = handle; }

    // The camera as the cube layer takes it: column-major orientation and
    // position in map coordinates.
    void draw(double exaggeration, double const* matrix, vec<double, 3> const& camera, ColourTable const& colours);
    void drawOutline() const;
    void drawCursorVerticalLine() const;
    // x min, x max, y min, y max, then top and bottom z stretched.
    void getBounds(double exaggeration, double* out) const;
    // Reads the raster's statistics for the amplitude range. False, with
    // the reason logged, without a raster.
    bool openRaster();
    // A block of the raster at full resolution, row by row.
    bool readRasterTile(int x, int y, int width, int height, int band, float* out);
    void update_tile_renderer(ColourTable const& colours);
    // Each tile coloured by the effective range, as base + index + ".tga".
    bool save2Disk(std::vector<PlaneTiler::Tile> const& tiles, ColourTable const& colours, std::wstring const& base);
    // The curtain under a ray given as two arrays of three: ray parameter,
    // fractional trace and sample.
    bool getIntersection(double const* origin, double const* direction, double scale, double& t, double& trace,
                         double& sample) const;
    void shutdown_renderer_and_datasource();

    LineInterpreter* interpreter() { return tool.get(); }
    bool tiles_complete() const;
    vec<double, 3> const& get_origin() const { return origin; }
    double get_cursor_trace() const { return cursor_trace; }
    double get_cursor_sample() const { return cursor_sample; }
    // The kept vertices of the track, by trace index.
    std::vector<int> const& kept_traces() const { return indicesdp; }

private:
    platform::UpdateHandle update_window = 0;
    std::unique_ptr<LineInterpreter> tool;
    short visible = 0;
    std::vector<double> x, y;
    std::vector<int> shotpoints;
    double ztop = 0, zbot = 0, zstep = 1;
    int nsamples = 0, ntraces = 0;
    vec<double, 2> original_range{{-1.0, 1.0}}, effective_range{{-1.0, 1.0}};
    vec<double, 3> origin{};
    short is_active = 0;
    int tile_size = 1024;
    int texture_border_size = 2;
    std::shared_ptr<TileDataSourceSeismic2D> tile_source;
    std::shared_ptr<TileRenderer> tile_renderer;
    host::RasterDatasetPtr raster_dataset;
    int raster = 0; // the band
    vec<double, 3> cursor{};
    double cursor_trace = 0, cursor_sample = 0;
    std::vector<int> indicesdp;
    short is_arbline = 0;
    std::wstring name;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
