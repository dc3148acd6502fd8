#include "graphics/SeismicLineRenderer.h"

#include <GL/glew.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <numeric>

#include "foundation/log.h"
#include "foundation/scale_and_color.h"
#include "geometry/fence_intersection.h"
#include "graphics/draw_state.h"
#include "graphics/mat44.h"
#include "graphics/tga_image.h"
#include "graphics/tile_renderer/TileDataSourceSeismic2D.h"
#include "graphics/tile_renderer/TileRenderer.h"
#include "platform/modifier_state.h"
#include "platform/text_encoding.h"

namespace Tolmar {

SeismicLineRenderer::SeismicLineRenderer() { cursor.set(DBL_MAX, DBL_MAX, DBL_MAX); }

SeismicLineRenderer::~SeismicLineRenderer() { shutdown_renderer_and_datasource(); }

long SeismicLineRenderer::set_extent(double const* xs, double const* ys, int const* sps, int traces, int samples,
                                     double top, double bottom, double step)
{
    Util::logf("SeismicLineRenderer::set_extent: ntraces = %d, nsamples = %d, ztop = %lf, zbot = %lf, zstep = %lf\n",
               traces, samples, top, bottom, step);
    if (!xs || !ys || !sps || traces < 1 || samples < 1 || !(step > 0)) return -1;
    ntraces = traces;
    nsamples = samples;
    origin.set(xs[0], ys[0], 0);
    x.resize(static_cast<std::size_t>(traces));
    y.resize(x.size());
    shotpoints.assign(sps, sps + traces);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = xs[i] - origin[0];
        y[i] = ys[i] - origin[1];
    }
    ztop = top;
    zbot = bottom;
    zstep = step;
    // Every trace is a vertex of the track: a tile's texture advances by
    // vertex, so only a vertex a trace keeps each sample over its trace.
    indicesdp.resize(x.size());
    std::iota(indicesdp.begin(), indicesdp.end(), 0);
    shutdown_renderer_and_datasource(); // the tiles follow the new track
    return 0;
}

long SeismicLineRenderer::put_rastergdb(host::RasterDatasetPtr r)
{
    raster_dataset = std::move(r);
    shutdown_renderer_and_datasource();
    return raster_dataset ? 0 : -1;
}

long SeismicLineRenderer::get_rastergdb(host::RasterDatasetPtr* r) const
{
    if (!r) return -1;
    *r = raster_dataset;
    return 0;
}

long SeismicLineRenderer::delete_raster()
{
    shutdown_renderer_and_datasource();
    raster_dataset.reset();
    return 0;
}

long SeismicLineRenderer::set_sample_range(double low, double high)
{
    original_range.set(low, high);
    return 0;
}

long SeismicLineRenderer::set_effective_sample_range(float low, float high)
{
    effective_range.set(low, high);
    return 0;
}

long SeismicLineRenderer::get_original_amplitude_range(vec<double, 2>& out) const
{
    out = original_range;
    return 0;
}

long SeismicLineRenderer::set_is_arbline(short on)
{
    is_arbline = on;
    return 0;
}

long SeismicLineRenderer::get_is_arbline(short* on) const
{
    if (!on) return -1;
    *on = is_arbline;
    return 0;
}

bool SeismicLineRenderer::openRaster()
{
    Util::logc("Entered SeismicLineRenderer::openRaster()");
    if (!raster_dataset) {
        Util::logc("SeismicLineRenderer::openRaster(): Failed to open RasterDataset!\n");
        return false;
    }
    if (raster_dataset->band_count() < 1) {
        Util::logc("SeismicLineRenderer::openRaster(): Failed to get first RasterBand!\n");
        return false;
    }
    host::BandStatistics stats;
    std::string why;
    if (raster_dataset->statistics(raster, stats, &why)) {
        original_range.set(stats.min, stats.max);
        effective_range = original_range;
    } else {
        Util::logf("SeismicLineRenderer::openRaster(): %s\n", why.c_str());
    }
    Util::logc("Leaving SeismicLineRenderer::openRaster()");
    return true;
}

bool SeismicLineRenderer::readRasterTile(int px, int py, int width, int height, int band, float* out)
{
    if (!raster_dataset || !out || width < 1 || height < 1) return false;
    host::PixelBlock block;
    std::string why;
    if (!raster_dataset->read(band, raster_dataset->width(), raster_dataset->height(), px, py, width, height, block,
                              &why)) {
        Util::logf("SeismicLineRenderer::readRasterTile: %s\n", why.c_str());
        return false;
    }
    for (std::size_t i = 0; i < block.values.size(); ++i)
        out[i] = block.masked && !block.valid[i] ? 0.0f : block.values[i];
    return true;
}

void SeismicLineRenderer::getAmplitudes(int trace, int first, int last, std::vector<float>& out)
{
    out.assign(static_cast<std::size_t>(std::max(last - first + 1, 0)), 0.0f);
    int const from = std::max(first, 0), to = std::min(last, nsamples - 1);
    if (out.empty() || to < from || trace < 0 || trace >= ntraces) return;
    readRasterTile(trace, from, 1, to - from + 1, raster, out.data() + (from - first));
}

void SeismicLineRenderer::update_tile_renderer(ColourTable const& colours)
{
    if (!visible) return;
    if (!tile_source) {
        tile_renderer = TileRendererManager::getInstance().create_tile_renderer();
        tile_source = std::make_shared<TileDataSourceSeismic2D>();
        tile_source->setGraphicsUpdateWindow(update_window);
        tile_source->set_x(x);
        tile_source->set_y(y);
        tile_source->set_indicesdp(indicesdp);
        tile_source->set_ztop(ztop);
        tile_source->set_zbot(zbot);
        tile_source->set_zstep(zstep);
        tile_source->set_texture_border_size(texture_border_size);
        tile_source->set_tile_size(tile_size);
        tile_source->set_ntraces(ntraces);
        tile_source->set_nsamples(nsamples);
        tile_source->set_raster_dataset(raster_dataset);
        tile_source->set_raster(raster);
        tile_source->calc_tile_layout();
        tile_renderer->set_data_source(tile_source);
    }
    auto const f = [](vec<double, 2> const& r) {
        return vec<float, 2>{{static_cast<float>(r[0]), static_cast<float>(r[1])}};
    };
    tile_renderer->set_render_config(RenderConfigTile2D{f(effective_range), f(original_range)});
    tile_renderer->set_color_table_data(colours);
}

bool SeismicLineRenderer::tiles_complete() const { return tile_source && tile_source->is_complete(); }

void SeismicLineRenderer::shutdown_renderer_and_datasource()
{
    if (tile_renderer) {
        tile_renderer->set_data_source(nullptr);
        tile_renderer->invalidate_data();
    }
    tile_renderer.reset();
    tile_source.reset();
}

void SeismicLineRenderer::drawOutline() const
{
    if (indicesdp.empty()) return;
    for (double z : {ztop, zbot}) {
        glBegin(GL_LINE_STRIP);
        for (int i : indicesdp) glVertex3d(x[static_cast<std::size_t>(i)], y[static_cast<std::size_t>(i)], z);
        glEnd();
    }
    glBegin(GL_LINES);
    glVertex3d(x.back(), y.back(), ztop);
    glVertex3d(x.back(), y.back(), zbot);
    glEnd();
}

void SeismicLineRenderer::drawCursorVerticalLine() const
{
    double const cx = cursor[0], cy = cursor[1];
    glColor3f(0, 0, 1);
    glPointSize(10);
    glBegin(GL_POINTS);
    glVertex3d(cx, cy, ztop);
    glVertex3d(cx, cy, zbot);
    glEnd();
    glBegin(GL_LINES);
    glVertex3d(cx, cy, ztop);
    glVertex3d(cx, cy, zbot);
    glEnd();
    glColor3d(0.7, 0.7, 0.7);
}

void SeismicLineRenderer::draw(double exaggeration, double const* matrix, vec<double, 3> const& camera,
                               ColourTable const& colours)
{
    if (!visible || x.empty()) return;
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    // The camera taken apart in double, relative to the line's origin:
    // map coordinates of millions would lose the curtain's place in float.
    double translate[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    translate[12] = origin[0] - camera[0];
    translate[13] = origin[1] - camera[1];
    translate[14] = origin[2] - camera[2];
    double relative[16];
    mat44_mult_mat44(matrix, translate, relative);
    glLoadMatrixd(relative);
    glScaled(1, 1, exaggeration);
    push_slice_draw_state();

    // The thick edge and its dots mark where the line begins.
    glColor3f(0, 0, 0);
    glLineWidth(3);
    glBegin(GL_LINES);
    glVertex3d(x[0], y[0], ztop);
    glVertex3d(x[0], y[0], zbot);
    glEnd();
    glPointSize(7);
    glBegin(GL_POINTS);
    glVertex3d(x[0], y[0], ztop);
    glVertex3d(x[0], y[0], zbot);
    glEnd();
    glLineWidth(1);
    drawOutline();
    if (is_active) {
        glColor3f(0, 1, 0);
        glLineWidth(2.5f);
        drawOutline();
        glLineWidth(1);
    }
    if (cursor[0] != DBL_MAX && is_active && platform::caps_lock()) drawCursorVerticalLine();
    glColor3d(0.7, 0.7, 0.7);
    update_tile_renderer(colours);
    if (tile_renderer) tile_renderer->draw();
    if (tool) {
        // The tool works in map coordinates.
        glPushMatrix();
        glTranslated(-origin[0], -origin[1], -origin[2]);
        tool->draw();
        glPopMatrix();
    }
    glPopAttrib();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
}

void SeismicLineRenderer::getBounds(double exaggeration, double* out) const
{
    if (x.empty()) {
        std::fill(out, out + 6, 0.0);
        return;
    }
    out[0] = *std::min_element(x.begin(), x.end()) + origin[0];
    out[1] = *std::max_element(x.begin(), x.end()) + origin[0];
    out[2] = *std::min_element(y.begin(), y.end()) + origin[1];
    out[3] = *std::max_element(y.begin(), y.end()) + origin[1];
    out[4] = ztop * exaggeration;
    out[5] = zbot * exaggeration;
}

long SeismicLineRenderer::get_corner(int index, double* xyz) const
{
    if (!xyz || x.empty() || index < 0 || index > 3) return -1;
    std::size_t const trace = index == 0 || index == 3 ? 0 : x.size() - 1;
    xyz[0] = x[trace] + origin[0];
    xyz[1] = y[trace] + origin[1];
    xyz[2] = index < 2 ? ztop : zbot;
    return 0;
}

bool SeismicLineRenderer::getIntersection(double const* o, double const* d, double scale, double& t, double& trace,
                                          double& sample) const
{
    if (indicesdp.size() < 2 || !(zstep > 0)) return false;
    std::vector<double> kx, ky;
    for (int i : indicesdp) {
        kx.push_back(x[static_cast<std::size_t>(i)] + origin[0]);
        ky.push_back(y[static_cast<std::size_t>(i)] + origin[1]);
    }
    double const a = ztop * scale, b = zbot * scale;
    if (!rayFenceIntersection(o, d, kx, ky, indicesdp, std::min(a, b), std::max(a, b), &t, &trace)) return false;
    double const z = (o[2] + t * d[2]) / scale;
    sample = (ztop - z) / zstep;
    return true;
}

long SeismicLineRenderer::get_ray_slice_distance(vec<double, 3> const& o, vec<double, 3> const& d, double scale,
                                                 double* distance, std::wstring* text)
{
    if (!distance) return -1;
    double t = 0, trace = 0, sample = 0;
    double const origin3[3] = {o[0], o[1], o[2]}, direction3[3] = {d[0], d[1], d[2]};
    if (!getIntersection(origin3, direction3, scale, t, trace, sample)) {
        *distance = -1;
        cursor[0] = cursor[2] = DBL_MAX;
        return 0;
    }
    *distance = t;
    cursor = o + d * t;
    cursor[2] /= scale;
    cursor_trace = trace;
    cursor_sample = sample;
    int const k = std::clamp(static_cast<int>(trace), 0, ntraces - 1);
    int const s = static_cast<int>(sample + 0.5);
    float amplitude = 0;
    if (s >= 0 && s < nsamples) readRasterTile(k, s, 1, 1, raster, &amplitude);
    if (text) {
        char line[256];
        // Heights are negative times: the pick shows the time.
        std::snprintf(line, sizeof line, "x %.0f  y %.0f  z/twt %.0f;shotpoint %d  amp %.5g", cursor[0], cursor[1],
                      -cursor[2], shotpoints[static_cast<std::size_t>(k)], static_cast<double>(amplitude));
        *text = platform::from_utf8(line);
    }
    cursor[0] -= origin[0];
    cursor[1] -= origin[1];
    return 0;
}

long SeismicLineRenderer::mouseAction(int action)
{
    if (!tool) return 0;
    if (action == 1) tool->mouseClick(cursor_trace, cursor_sample);
    if (action == 2) tool->mouseMove(cursor_trace, cursor_sample);
    return 0;
}

long SeismicLineRenderer::startDigitizing()
{
    std::vector<double> ax(x.size()), ay(y.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        ax[i] = x[i] + origin[0];
        ay[i] = y[i] + origin[1];
    }
    tool = std::make_unique<LineInterpreter>(ax, ay, ztop, zbot, nsamples, this);
    tool->addHorizon("TEST", platform::caps_lock() ? SnapPeak : SnapTrough, 20);
    tool->setActiveHorizon("TEST");
    return 0;
}

long SeismicLineRenderer::stopDigitizing()
{
    tool.reset();
    return 0;
}

bool SeismicLineRenderer::save2Disk(std::vector<PlaneTiler::Tile> const& tiles, ColourTable const& colours,
                                    std::wstring const& base)
{
    vec<float, 2> const range{{static_cast<float>(effective_range[0]), static_cast<float>(effective_range[1])}};
    bool ok = true;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        PlaneTiler::Tile const& t = tiles[i];
        std::vector<float> data(static_cast<std::size_t>(t.tex_size[0]) * t.tex_size[1], 0.0f);
        std::vector<float> block(static_cast<std::size_t>(t.data_size[0]) * t.data_size[1]);
        if (readRasterTile(t.src_pos[0], t.src_pos[1], t.data_size[0], t.data_size[1], raster, block.data()))
            for (int row = 0; row < t.data_size[1] && t.dst_pos[1] + row < t.tex_size[1]; ++row)
                std::copy_n(block.begin() + static_cast<long>(row) * t.data_size[0],
                            std::min(t.data_size[0], t.tex_size[0] - t.dst_pos[0]),
                            data.begin() + static_cast<long>(t.dst_pos[1] + row) * t.tex_size[0] + t.dst_pos[0]);
        std::vector<vec<unsigned char, 4>> pixels;
        scale_and_color_amplitudes(range, colours, data, pixels);
        wchar_t suffix[32];
        std::swprintf(suffix, 32, L"%d.tga", static_cast<int>(i));
        ok = WriteTGAImage(base + suffix, static_cast<short>(t.tex_size[0]), static_cast<short>(t.tex_size[1]),
                           pixels) &&
             ok;
    }
    return ok;
}

long SeismicLineRenderer::multipatch(host::ITexturedMeshWriter& out, std::wstring const& image_base,
                                     ColourTable const& colours)
{
    std::vector<PlaneTiler::Tile> tiles;
    PlaneTiler::split_in_tiles(vec<int, 2>{{ntraces, nsamples}}, texture_border_size, tile_size, true, tiles);
    if (!save2Disk(tiles, colours, image_base)) return -1;
    TileDataSourceSeismic2D geometry;
    geometry.set_x(x);
    geometry.set_y(y);
    geometry.set_indicesdp(indicesdp);
    geometry.set_ztop(ztop);
    geometry.set_zbot(zbot);
    geometry.set_ntraces(ntraces);
    geometry.set_nsamples(nsamples);
    long status = 0;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        wchar_t suffix[32];
        std::swprintf(suffix, 32, L"%d.tga", static_cast<int>(i));
        std::wstring const image = image_base + suffix;
        Util::logf("CSeismicLineLayer::multipatch(): Texture image: %s\n", platform::to_utf8(image).c_str());
        Util::logf("i_from = %d, i_to = %d\n", tiles[i].src_pos[0], tiles[i].src_pos[0] + tiles[i].data_size[0] - 1);
        std::vector<int> indices;
        std::vector<vec<float, 3>> vertices;
        std::vector<vec<float, 2>> tex;
        if (!geometry.get_tile_geometry(tiles[i], indices, vertices, tex)) continue;
        if (!out.add(origin, indices, vertices, tex, image)) status = -1;
    }
    return status;
}

} // namespace Tolmar
