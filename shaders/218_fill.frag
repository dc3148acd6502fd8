// Material fill, fragment stage. The material splices one macro call per
// symbol layer in place of the marked line in main; each call may overwrite
// `color`, and the calls run from the bottom layer to the top one. Patterns
// work in screen pixels, so hatching and dots keep their size under zoom.
// Integer modulus and bit tests need this extension in a shader without a
// version line.
#extension GL_EXT_gpu_shader4 : enable

// One sampler per texture symbol; eight is the limit of a material.
uniform sampler2D Texture0;
uniform sampler2D Texture1;
uniform sampler2D Texture2;
uniform sampler2D Texture3;
uniform sampler2D Texture4;
uniform sampler2D Texture5;
uniform sampler2D Texture6;
uniform sampler2D Texture7;

// Modulus that stays non-negative whatever the sign of a.
int positive_mod(int a, int m)
{
    int r = a % m;
    return r < 0 ? r + m : r;
}

// Pixel coordinate rotated by -angle degrees about the origin.
vec2 rotate_pixel(vec2 p, float angle)
{
    float a = -angle * 3.14 / 180.0;
    float c = cos(a);
    float s = sin(a);
    return vec2(c * p.x - s * p.y, s * p.x + c * p.y);
}

// Parallel stripes of `width` pixels every `offset` pixels, starting at
// start_pixel, turned by `angle`; along a stripe the 32-bit stipple pattern
// decides pixel by pixel (every bit scaled by stipple_scale pixels).
vec4 color_stripes(vec4 color_below, vec2 pix_coord, vec4 stripe_color, float offset,
                   float start_pixel, float width, float angle, int pattern, float stipple_scale)
{
    width *= 1.3;
    offset *= 1.3;
    // The large shift keeps the coordinates away from zero, where the integer
    // modulus would otherwise give a double stripe.
    vec2 p = rotate_pixel(pix_coord - start_pixel + 100000.0, angle);
    int pix_x = int(p.x);
    int pix_y = int(p.y);
    int period = int(max(offset, 1.0));
    if (int(float(positive_mod(pix_y, period)) / (width * 0.5)) == 0) {
        int bit = positive_mod(int(float(pix_x) / stipple_scale), 32);
        if (((pattern >> bit) & 1) != 0)
            return stripe_color;
    }
    return color_below;
}

// A cols x rows pixel texture repeated every offset_x by offset_y pixels,
// turned by `angle`. A texel with alpha 0 leaves the colour below.
vec4 color_dots(vec4 color_below, vec2 pix_coord, float cols, float rows,
                float offset_x, float offset_y, float angle, sampler2D dot_texture)
{
    vec2 p = rotate_pixel(pix_coord + 100000.0, angle);
    ivec2 pix = ivec2(p);
    ivec2 period = ivec2(max(vec2(offset_x, offset_y), vec2(1.0)));
    vec2 in_cell = vec2(float(positive_mod(pix.x, period.x)), float(positive_mod(pix.y, period.y)))
                   / vec2(cols, rows);
    if (in_cell.x < 1.0 && in_cell.y < 1.0) {
        vec4 texel = texture2D(dot_texture, vec2(in_cell.x, 1.0 - in_cell.y));
        if (texel.a > 0.0)
            return texel;
    }
    return color_below;
}

#define SOLID(c) color = c;
#define STRIPES(c, offset, start_pixel, width, angle, pattern, stipple_scale) color = color_stripes(color, pix_coord, c, offset, start_pixel, width, angle, pattern, stipple_scale);
#define DOTS(cols, rows, offset_x, offset_y, angle, tex) color = color_dots(color, pix_coord, cols, rows, offset_x, offset_y, angle, tex);

void main()
{
    vec4 color = vec4(0.0);          // transparent until a layer paints
    vec2 pix_coord = gl_FragCoord.xy;

//insert symbol macros here

    // Gaps in the patterns show what is behind.
    if (color.a == 0.0)
        discard;
    gl_FragColor = color;
}
