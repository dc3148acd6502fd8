// Cube volume renderer, fragment stage (normal mode): tricubic B-spline
// sampling of the brick pool through the layout map.
//
// The pool is one large 3D texture of bricks, each brick_size texels per side
// including a border of border_size texels on every side, so that the
// trilinear fetches below never read a neighbouring brick. The layout map has
// one RGBA8 texel per finest-level brick position: rgb is the pool slot, alpha
// the level of the data held there. A coarser brick stands in for missing
// finer ones, and slot (0,0,0) is the undefined brick, filled with the
// largest half float so that it always reads as above undef_value.

uniform float value_scale;       // upload mapped float cubes as (v - translate) * scale
uniform float value_translate;
uniform float border_size;       // texels of border on each side of a brick
uniform float brick_size;        // texels per brick side in the pool, border included
uniform vec3 data_tex_size;      // pool size in texels
uniform vec3 layout_tex_size[32];// brick counts per level; only level 0 is addressed here
uniform vec3 valid_data_range;   // part of the level-0 brick grid that holds samples
uniform sampler3D texture;       // the brick pool
uniform sampler3D layout_map;    // slot and level per level-0 brick position
uniform vec2 amp_range;          // amplitudes mapped onto the colour table
uniform float undef_value;       // samples at or above this are undefined
uniform float opacity;
uniform vec2 data_range;         // whole range of the data; not needed for the colour
uniform sampler1D col_tab;

varying vec3 N;
varying vec3 V;
varying vec3 OV;
varying vec3 TC;

// Tricubic B-spline filter built from eight trilinear fetches: the four taps
// per axis are folded into two linear fetches at shifted positions h0, h1
// with weights g0, g1 (g0 + g1 = 1). c is in pool texels, already shifted by
// half a texel so that floor(c) is the texel left of the sample.
float tricubic(vec3 c)
{
    vec3 index = floor(c);
    vec3 f = fract(c);
    vec3 one_f = 1.0 - f;

    vec3 w0 = one_f * one_f * one_f / 6.0;
    vec3 w1 = 2.0 / 3.0 - 0.5 * f * f * (2.0 - f);
    vec3 w2 = 2.0 / 3.0 - 0.5 * one_f * one_f * (1.0 + f);
    vec3 w3 = f * f * f / 6.0;

    vec3 g0 = w0 + w1;
    vec3 g1 = w2 + w3;
    vec3 h0 = (w1 / g0 - 0.5 + index) / data_tex_size;
    vec3 h1 = (w3 / g1 + 1.5 + index) / data_tex_size;

    float t000 = texture3D(texture, vec3(h0.x, h0.y, h0.z)).r;
    float t001 = texture3D(texture, vec3(h0.x, h0.y, h1.z)).r;
    float t010 = texture3D(texture, vec3(h0.x, h1.y, h0.z)).r;
    float t011 = texture3D(texture, vec3(h0.x, h1.y, h1.z)).r;
    float t100 = texture3D(texture, vec3(h1.x, h0.y, h0.z)).r;
    float t101 = texture3D(texture, vec3(h1.x, h0.y, h1.z)).r;
    float t110 = texture3D(texture, vec3(h1.x, h1.y, h0.z)).r;
    float t111 = texture3D(texture, vec3(h1.x, h1.y, h1.z)).r;

    // Weigh along z, then y, then x; g0 is the weight of the h0 sample.
    float t00 = mix(t001, t000, g0.z);
    float t01 = mix(t011, t010, g0.z);
    float t10 = mix(t101, t100, g0.z);
    float t11 = mix(t111, t110, g0.z);
    float t0 = mix(t01, t00, g0.y);
    float t1 = mix(t11, t10, g0.y);
    return mix(t1, t0, g0.x);
}

void main()
{
    vec3 p = TC;
    // The brick grid is larger than the data: fragments in the padding go.
    if (any(lessThan(p, vec3(0.0))) || any(greaterThan(p, valid_data_range)))
        discard;

    // Layout map lookup at the centre of the level-0 brick cell.
    vec3 size = layout_tex_size[0];
    vec3 k = size * p;
    vec4 entry = texture3D(layout_map, (floor(k) + 0.5) / size);
    float level = floor(256.0 * entry.a);
    vec3 slot = floor(256.0 * entry.rgb);

    // Position inside the brick of that level: a coarse brick covers 2^level
    // level-0 cells, and each of them maps into its own part of it.
    vec3 t = fract(k / exp2(level));

    vec3 c = slot * brick_size + t * (brick_size - 2.0 * border_size) + border_size - 0.5;
    float v = tricubic(c);

    // Undo the mapping applied at upload.
    v = v / value_scale + value_translate;

    if (v >= undef_value)
        discard;

    v = clamp((v - amp_range[0]) / (amp_range[1] - amp_range[0]), 0.01, 0.99);
    gl_FragColor = vec4(texture1D(col_tab, v).rgb, opacity);
}
