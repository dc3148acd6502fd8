#include "graphics/SeismicCubeRenderer.h"

#include <GL/glew.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "foundation/Ma.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "foundation/StreamerManager.h"
#include "foundation/log.h"
#include "foundation/scale_and_color.h"
#include "foundation/slices.h"
#include "geometry/InterpolationArray.h"
#include "graphics/draw_state.h"
#include "graphics/mat44.h"
#include "graphics/tile_renderer/TileDataSourceIndexedSeismic3D.h"
#include "graphics/tile_renderer/TileDataSourceSeismic3D.h"
#include "graphics/tile_renderer/TileRenderer.h"
#include "platform/text_encoding.h"
#include "segy/SeismicCubeManager.h"

namespace Tolmar {

namespace {

using V3 = vec<double, 3>;

bool gl_is_1_1()
{
    char const* version = reinterpret_cast<char const*>(glGetString(GL_VERSION));
    return version && std::strncmp(version, "1.1", 3) == 0;
}

// The renderer's cube coordinates run over whole cells; a slice's from the
// first line's centre to the last's.
double cell(double fraction, unsigned count) { return count ? (fraction * (count - 1) + 0.5) / count : fraction; }

} // namespace

SeismicCubeRenderer::SeismicCubeRenderer() : tile_renderer(TileRendererManager::getInstance().create_tile_renderer())
{
    last_pick.set(DBL_MAX, DBL_MAX, DBL_MAX);
}

SeismicCubeRenderer::~SeismicCubeRenderer()
{
    shutdown_datasource();
    if (col_tab_tex != 0) {
        GLuint const texture = col_tab_tex;
        glDeleteTextures(1, &texture);
    }
}

SeismicCubeRenderer::ColourTable SeismicCubeRenderer::create_default_col_tab_data()
{
    ColourTable table(256);
    for (int i = 0; i < 256; ++i) {
        auto const c = [](double v) { return static_cast<unsigned char>(v); };
        table[i] = i < 128 ? vec<unsigned char, 4>{{255, c(i / 128.0 * 255), c(i / 128.0 * 255), 255}}
                           : vec<unsigned char, 4>{{c((1 - (i - 128) / 128.0) * 255), c((1 - (i - 128) / 128.0) * 255),
                                                    c((1 - (i - 128) / 128.0) * 255), 255}};
    }
    return table;
}

bool SeismicCubeRenderer::init_datasource(bool useIndex, std::string const& segy, std::string const& index,
                                          std::string const& brick_file)
{
    if (initialised) return brick_reader || indexed_reader; // as it stands until shutdown_datasource
    initialised = true;
    indexed = useIndex;
    if (indexed) {
        indexed_reader = StreamerManager::get_instance().open_indexed_segy3d_reader(segy, index);
        if (!indexed_reader) return false;
        IndexedSEGYHeader const& h = indexed_reader->header();
        inline_range.set(h.inlStart, h.inlStop, h.inlStep);
        crossline_range.set(h.crlStart, h.crlStop, h.crlStep);
        time_range.set(std::trunc(h.zStart), std::trunc(h.zStop), std::trunc(h.zStep));
        double const t[6] = {h.xInl, h.xCrl, h.x0, h.yInl, h.yCrl, h.y0};
        std::copy(t, t + 6, transform);
        original_amplitude_range.set(h.minAmplitude, h.maxAmplitude);
    } else {
        brick_reader = SeismicCubeManager::getInstance().get_brick_reader(brick_file);
        if (!brick_reader) return false;
        SEGYCubeInfo const& i = brick_reader->info;
        inline_range = i.inlineRange;
        crossline_range = i.crosslineRange;
        time_range.set(std::trunc(i.zStart), std::trunc(i.zStop), std::trunc(i.zStep));
        double const t[6] = {i.xInl, i.xCrl, i.x0, i.yInl, i.yCrl, i.y0};
        std::copy(t, t + 6, transform);
        original_amplitude_range.set(brick_reader->get_min_value(), brick_reader->get_max_value());
    }
    effective_amplitude_range = original_amplitude_range;
    if (!indexed) {
        render_config.effective_amp_range = original_amplitude_range;
        render_config.show_bricks = false;
        render_config.linear_interpolation = true;
        if (!gl_is_1_1()) {
            Util::logc("int  gl version != 1.1");
            start_volume_renderer();
        }
    }
    auto& tiles = TileRendererManager::getInstance();
    if (indexed)
        tile_source = tiles.create_data_source_indexed_seismic_3d(tile_renderer, indexed_reader);
    else
        tile_source = tiles.create_data_source_seismic_3d(tile_renderer, brick_reader);
    tile_source->set_inlrng(inline_range);
    tile_source->set_crlrng(crossline_range);
    tile_source->set_timerng(time_range);
    color_table_data = create_default_col_tab_data();
    create_col_tab();
    tile_renderer->set_render_config(RenderConfigTile2D{effective_amplitude_range, original_amplitude_range});
    generate_cube_outline();
    return true;
}

void SeismicCubeRenderer::start_volume_renderer()
{
    cube_renderer.reset(); // leaves the old pool first
    cube_renderer = std::make_unique<Seismic3DRenderer>(brick_pool);
    cube_renderer->set_3d_grid_reader(brick_reader);
    cube_renderer->start(false);
}

void SeismicCubeRenderer::set_brick_pool(GPUCubeMemoryManager* pool)
{
    brick_pool = pool;
    if (cube_renderer) start_volume_renderer();
}

void SeismicCubeRenderer::shutdown_datasource()
{
    if (!initialised) return;
    initialised = false;
    cube_renderer.reset();
    tile_source.reset();
    if (tile_renderer) {
        tile_renderer->set_data_source(nullptr);
        tile_renderer->invalidate_data();
    }
    brick_reader.reset();
    indexed_reader.reset();
}

void SeismicCubeRenderer::setGraphicsUpdateWindow(platform::UpdateHandle handle)
{
    if (indexed_reader) indexed_reader->set_update_sink(handle);
    if (brick_reader) brick_reader->set_update_sink(handle);
}

void SeismicCubeRenderer::set_camera_transformation(double const* matrix, vec<double, 3> const& position)
{
    std::copy(matrix, matrix + 16, camera);
    camera_pos = position;
}

void SeismicCubeRenderer::set_color_table_data(ColourTable table)
{
    color_table_data = std::move(table);
    create_col_tab();
}

void SeismicCubeRenderer::create_col_tab() { upload_colour_texture(col_tab_tex, 0, color_table_data); }

vec<int, 3> SeismicCubeRenderer::time_range_int() const
{
    return vec<int, 3>{{static_cast<int>(time_range[0]), static_cast<int>(time_range[1]),
                        std::max(1, static_cast<int>(time_range[2]))}};
}

void SeismicCubeRenderer::generate_cube_outline()
{
    slice.init(inline_range, crossline_range, time_range_int(), V3{{transform[0], transform[1], transform[2]}},
               V3{{transform[3], transform[4], transform[5]}}, cube_spatial_ref, target_spatial_ref);
    if (!tile_source) return;
    vec<double, 4> x{}, y{}, z{};
    slice.get_frame_outline_corners(x, y, z);
    tile_source->set_xframe(x);
    tile_source->set_yframe(y);
    tile_source->set_tframe(z);
}

void SeismicCubeRenderer::set_slice_direction(int direction)
{
    slice.set_slice_dir(direction);
    generate_cube_outline(); // the normal and length of the new direction
}

void SeismicCubeRenderer::set_cube_spatial_ref(host::SpatialReferencePtr ref)
{
    if (ref == cube_spatial_ref || host::same_spatial_reference(ref, cube_spatial_ref)) return;
    cube_spatial_ref = std::move(ref);
    generate_cube_outline();
}

void SeismicCubeRenderer::set_target_spatial_ref(host::SpatialReferencePtr ref)
{
    if (ref == target_spatial_ref || host::same_spatial_reference(ref, target_spatial_ref)) return;
    target_spatial_ref = std::move(ref);
    generate_cube_outline();
}

bool SeismicCubeRenderer::tile_path() const { return !cube_renderer || force_tiles || gl_is_1_1(); }

bool SeismicCubeRenderer::uses_brick_path() const { return initialised && !tile_path(); }

bool SeismicCubeRenderer::tiles_complete() const { return tile_source && tile_source->is_complete(); }

void SeismicCubeRenderer::draw()
{
    if (!initialised) return;
    int const direction = slice.get_slice_dir();
    slice.updateFrame(get_pos(direction));
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glScaled(1, 1, -exaggeration); // time runs down, and is stretched
    push_slice_draw_state();
    draw_slice_outline();
    glColor3d(0.7, 0.7, 0.7);
    if (tile_path()) {
        vec<double, 4> x{}, y{}, z{};
        slice.get_frame_outline_corners(x, y, z);
        tile_source->set_xframe(x);
        tile_source->set_yframe(y);
        tile_source->set_tframe(z);
        tile_renderer->set_render_config(RenderConfigTile2D{effective_amplitude_range, original_amplitude_range});
        tile_renderer->set_color_table_data(color_table_data);
        tile_source->set_slice_key(
            TileDataSourceSeismic3DInterface::SliceKey{direction, get_pos_round(direction), arbitrary_points});
        tile_renderer->draw();
    } else {
        update_render_config();
        // The camera taken apart in double: map coordinates of millions
        // would lose the slice's place in float.
        double translate[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        translate[12] = render_config.origin[0] - camera_pos[0];
        translate[13] = render_config.origin[1] - camera_pos[1];
        translate[14] = -camera_pos[2];
        double scale[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -exaggeration, 0, 0, 0, 0, 1};
        double ct[16], cts[16];
        mat44_mult_mat44(camera, translate, ct);
        mat44_mult_mat44(ct, scale, cts);
        glLoadMatrixd(cts);
        glColor3f(0, 0.5f, 0);
        cube_renderer->setColTabTex(col_tab_tex);
        cube_renderer->set_render_config(render_config);
        cube_renderer->render();
    }
    glPopAttrib();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
}

void SeismicCubeRenderer::update_render_config()
{
    slice.updateFrame(get_pos(slice.get_slice_dir()));
    render_config.geometry.clear();
    RenderGeometry mesh;
    slice.get_frame_mesh(mesh.vertices, mesh.cube_coords, mesh.indices);
    vec<unsigned, 3> const total = brick_reader ? brick_reader->get_total_size() : vec<unsigned, 3>{{0, 0, 0}};
    for (auto& c : mesh.cube_coords) c = V3{{cell(c[0], total[0]), cell(c[1], total[1]), cell(c[2], total[2])}};
    render_config.origin = mesh.vertices.empty() ? vec<double, 2>{{0, 0}}
                                                 : vec<double, 2>{{mesh.vertices[0][0], mesh.vertices[0][1]}};
    for (auto& v : mesh.vertices) {
        v[0] -= render_config.origin[0];
        v[1] -= render_config.origin[1];
    }
    render_config.geometry.push_back(std::move(mesh));
    render_config.original_amp_range = original_amplitude_range;
    render_config.effective_amp_range = effective_amplitude_range;
}

void SeismicCubeRenderer::draw_slice_outline() const
{
    bool vertical = false;
    std::vector<vec<double, 2>> line;
    vec<double, 2> z{};
    std::vector<V3> ring;
    slice.get_outline(vertical, line, z, ring);
    if (display_slice_outline) {
        glColor3f(0, 1, 0);
        glLineWidth(2.5f);
    } else {
        glColor3f(0, 0, 0);
        glLineWidth(1);
    }
    if (vertical && !line.empty()) {
        for (double at : {z[0], z[1]}) {
            glBegin(GL_LINE_STRIP);
            for (auto const& p : line) glVertex3d(p[0], p[1], at);
            glEnd();
        }
        glBegin(GL_LINES);
        glVertex3d(line.back()[0], line.back()[1], z[0]);
        glVertex3d(line.back()[0], line.back()[1], z[1]);
        glEnd();
        // The thick black edge marks where the slice begins.
        glColor3f(0, 0, 0);
        glLineWidth(3);
        glBegin(GL_LINES);
        glVertex3d(line.front()[0], line.front()[1], z[0]);
        glVertex3d(line.front()[0], line.front()[1], z[1]);
        glEnd();
        glPointSize(7);
        glBegin(GL_POINTS);
        glVertex3d(line.front()[0], line.front()[1], z[0]);
        glVertex3d(line.front()[0], line.front()[1], z[1]);
        glEnd();
    } else if (!vertical) {
        glBegin(GL_LINE_LOOP);
        for (auto const& p : ring) glVertex3d(p[0], p[1], p[2]);
        glEnd();
    }
    glColor3d(0.7, 0.7, 0.7);
    glLineWidth(1);
}

bool SeismicCubeRenderer::is_done_loading_data() const
{
    if (indexed_reader) return indexed_reader->has_requests();
    return cube_renderer && cube_renderer->is_loading_data();
}

void SeismicCubeRenderer::get_bounds(double* out) const
{
    double xs[4], ys[4];
    int const corner[4][2] = {{inline_range[0], crossline_range[0]},
                              {inline_range[1], crossline_range[0]},
                              {inline_range[0], crossline_range[1]},
                              {inline_range[1], crossline_range[1]}};
    for (int k = 0; k < 4; ++k) {
        xs[k] = transform[0] * corner[k][0] + transform[1] * corner[k][1] + transform[2];
        ys[k] = transform[3] * corner[k][0] + transform[4] * corner[k][1] + transform[5];
    }
    out[0] = *std::min_element(xs, xs + 4);
    out[1] = *std::max_element(xs, xs + 4);
    out[2] = *std::min_element(ys, ys + 4);
    out[3] = *std::max_element(ys, ys + 4);
    out[4] = -time_range[0] * exaggeration;
    out[5] = -time_range[1] * exaggeration;
}

void SeismicCubeRenderer::get_histogram(std::vector<unsigned long long>& out) const
{
    if (indexed_reader)
        out = indexed_reader->get_histogram();
    else if (brick_reader)
        out = brick_reader->get_histogram();
    else
        out.clear();
}

double SeismicCubeRenderer::get_pos(int direction) const
{
    return direction >= 0 && direction <= 2 ? crossplane_sliders[direction] : 0.5;
}

vec<int, 3> SeismicCubeRenderer::get_dim(int direction) const
{
    switch (direction) {
    case 0: return inline_range;
    case 1: return crossline_range;
    default: return time_range_int();
    }
}

int SeismicCubeRenderer::get_pos_round(int direction) const
{
    vec<int, 3> const r = get_dim(direction);
    return Ma::fromDoubleToInt(get_pos(direction), r[0], r[1], r[2]);
}

bool SeismicCubeRenderer::getSliceAsTexture(double position, int direction, int scale, short& width, short& height,
                                            ColourTable& out)
{
    vec<int, 3> const r = get_dim(direction);
    int const line = Ma::fromDoubleToInt(position, r[0], r[1], r[2]);
    std::vector<float> data;
    int w = 0, h = 0;
    if (brick_reader) {
        vec<int, 2> size{};
        bool const ok = direction == 0   ? iline(brick_reader, line, data, size)
                        : direction == 1 ? crossline(brick_reader, line, data, size)
                                         : timeslice(brick_reader, line, data, size);
        if (!ok) {
            Util::logc("CBrickLayer::saveSliceAsBmp(): failed to read slice.\n");
            return false;
        }
        w = size[0];
        h = size[1];
    } else if (indexed_reader) {
        auto const count = [](vec<int, 3> const& g) { return g[2] > 0 ? (g[1] - g[0]) / g[2] + 1 : 1; };
        int const ni = count(inline_range), nc = count(crossline_range);
        if (direction == 2) {
            // A whole time slice from SEG-Y is too dear: every 4th trace each way, in 4 x 4 blocks.
            w = ni;
            h = nc;
            data.assign(static_cast<std::size_t>(w) * h, 0.0f);
            int const k = static_cast<int>((line - time_range[0]) / time_range[2]);
            std::vector<SampleKey> keys;
            for (int c = 0; c < nc; c += 4)
                for (int i = 0; i < ni; i += 4)
                    keys.push_back(SampleKey{inline_range[0] + i * inline_range[2],
                                             crossline_range[0] + c * crossline_range[2], k});
            indexed_reader->request_samples(keys);
            std::vector<std::pair<SampleKey, float>> samples;
            indexed_reader->get_samples_nonblocking(keys, samples);
            for (auto const& [key, value] : samples) {
                int const i0 = (key.inl - inline_range[0]) / inline_range[2];
                int const c0 = (key.crl - crossline_range[0]) / crossline_range[2];
                for (int c = c0; c < std::min(c0 + 4, nc); ++c)
                    for (int i = i0; i < std::min(i0 + 4, ni); ++i) data[static_cast<std::size_t>(c) * w + i] = value;
            }
        } else {
            int const samples = static_cast<int>((time_range[1] - time_range[0]) / time_range[2]) + 1;
            w = samples;
            h = direction == 0 ? nc : ni;
            data.assign(static_cast<std::size_t>(w) * h, 0.0f);
            std::vector<TraceKey> keys;
            for (int j = 0; j < h; ++j)
                keys.push_back(direction == 0 ? TraceKey{line, crossline_range[0] + j * crossline_range[2]}
                                              : TraceKey{inline_range[0] + j * inline_range[2], line});
            indexed_reader->request_traces(keys);
            std::vector<Trace> traces;
            indexed_reader->get_traces_nonblocking(keys, traces);
            for (Trace const& t : traces) {
                int const j = direction == 0 ? (t.crl - crossline_range[0]) / crossline_range[2]
                                             : (t.inl - inline_range[0]) / inline_range[2];
                std::copy_n(t.samples.begin(), std::min<std::size_t>(t.samples.size(), static_cast<std::size_t>(w)),
                            data.begin() + static_cast<std::ptrdiff_t>(j) * w);
            }
        }
    } else {
        return false;
    }
    if (scale > 1) {
        InterpolationArray from, to(w * scale, h * scale);
        from.fromVector(data, w, h);
        interpolate(from, to);
        data = to.toVector();
        w *= scale;
        h *= scale;
    }
    width = static_cast<short>(w);
    height = static_cast<short>(h);
    scale_and_color_amplitudes(effective_amplitude_range, color_table_data, data, out);
    return true;
}

bool SeismicCubeRenderer::get_amplitude(int inl, int crl, float time, float& value)
{
    if (brick_reader) {
        std::vector<float> values;
        if (!trace(brick_reader, inl, crl, time, time, values) || values.empty()) return false;
        value = values[0];
        return true;
    }
    if (!indexed_reader) return false;
    SampleKey const key{inl, crl, static_cast<int>((time - time_range[0]) / time_range[2] + 0.5)};
    indexed_reader->request_samples({key});
    std::vector<std::pair<SampleKey, float>> got;
    indexed_reader->get_samples_blocking({key}, got);
    if (!got.empty()) value = got[0].second;
    return true;
}

void SeismicCubeRenderer::get_ray_slice_distance(V3 const& origin, V3 const& direction, double* distance,
                                                 std::wstring* text)
{
    *distance = -1;
    int const dir = slice.get_slice_dir();
    if (dir == 3) return;
    last_pick.set(DBL_MAX, DBL_MAX, DBL_MAX);
    V3 normal{};
    slice.get_normal(normal);
    double t = 0;
    int inl = 0, crl = 0;
    V3 hit{};
    if (!slice.ray_intersect(origin, direction, normal, exaggeration, t, inl, crl, hit)) return;
    *distance = t;
    last_pick = hit;
    if (!text) return;
    float const time = static_cast<float>(-hit[2] / exaggeration);
    float amplitude = 0;
    get_amplitude(inl, crl, time, amplitude);
    std::wstring name = cube_name.size() > 12 ? cube_name.substr(0, 9) + L"..." : cube_name;
    char line[256];
    std::snprintf(line, sizeof line, "x %.0f  y %.0f  z/twt %.0f;%s: inl %d  crl %d amp %.5g", hit[0], hit[1],
                  static_cast<double>(time), platform::to_utf8(name).c_str(), inl, crl, static_cast<double>(amplitude));
    *text = platform::from_utf8(line);
}

} // namespace Tolmar
