// Material lines, fragment stage. The geometry stage gives each fragment its
// place across the line (across_value, -1 to 1) and along it (along_value,
// in pixels); the material splices one macro call per symbol layer in place
// of the marked line in main, bottom layer first.
#extension GL_EXT_gpu_shader4 : enable

uniform sampler2D Texture0;
uniform sampler2D Texture1;
uniform sampler2D Texture2;
uniform sampler2D Texture3;
uniform sampler2D Texture4;
uniform sampler2D Texture5;
uniform sampler2D Texture6;
uniform sampler2D Texture7;

uniform float line_thickness;   // pixels: the width of the widest layer
uniform vec2 render_size;

varying float along_value;
varying float across_value;

// A repeating piece of the line, piece_length pixels long, coloured from a
// cols x rows texture: tex_y runs along the piece, tex_x across the line,
// centred on it. A texel with alpha 0 leaves the colour below.
vec4 stipple_texture(vec4 color_below, float cols, float piece_length, float rows, sampler2D stipple)
{
    float across_pixels = line_thickness / 2.0 * across_value;
    float tex_x = across_pixels / cols + 0.5;
    if (tex_x < 0.0 || tex_x > 1.0)
        return color_below;
    float tex_y = fract(along_value / piece_length);
    vec4 texel = texture2D(stipple, vec2(tex_x, tex_y));
    if (texel.a > 0.0)
        return texel;
    return color_below;
}

#define SOLID_LINE(c, width) if (radius <= (width) / 2.0) color = c;
#define STIPPLE_TEXTURE(cols, piece_length, rows, tex) color = stipple_texture(color, cols, piece_length, rows, tex);

void main()
{
    vec4 color = vec4(0.0);
    // Distance from the centre line in pixels.
    float radius = abs(line_thickness / 2.0 * across_value);

//insert symbol macros here

    if (color.a == 0.0)
        discard;
    gl_FragColor = color;
}
