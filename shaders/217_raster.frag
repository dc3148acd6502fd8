// Single-raster renderer, fragment stage. InterpolationMetod selects what the
// texture holds: 0 an RGBA image, 1 a grid of values coloured through the
// colour ramp and shaded from the grid's own slopes.
//
// The neighbour reads and the texture size need texture2DOffset and
// textureSize2D, which a shader without a version line gets from this
// extension.
#extension GL_EXT_gpu_shader4 : enable

uniform int InterpolationMetod;
uniform float vertical_exagerration;
uniform float zscale;
uniform float zoffset;
uniform float nodata;             // replacement for undefined values; anything above tex_bmax.z is undefined
uniform vec4 nodata_color;
uniform float brightness_value;   // -1 to 1: towards black below 0, towards white above
uniform float contrast_value;
uniform float transparency_value; // not applied yet: the output is opaque
uniform vec3 tex_bmin;            // texture box relative to the local origin; z: value range
uniform vec3 tex_bmax;
uniform sampler2D tex;
uniform sampler1D colorramp;

varying vec3 V;

float transformZ(float z)
{
    return vertical_exagerration * (zoffset + z * zscale);
}

vec4 apply_brightness_contrast_transparency(vec4 c)
{
    vec3 rgb = c.rgb;
    if (brightness_value < 0.0)
        rgb = mix(rgb, vec3(0.0), -brightness_value);
    else
        rgb = mix(rgb, vec3(1.0), brightness_value);
    rgb = (rgb - 0.5) * (1.0 + 2.0 * contrast_value) + 0.5;
    return vec4(rgb, 1.0);
}

void main()
{
    vec3 extent = tex_bmax - tex_bmin;
    vec2 tc = (V.xy - tex_bmin.xy) / extent.xy;
    tc.y = 1.0 - tc.y;   // row 0 of the texture is the top of the raster

    if (InterpolationMetod == 0) {
        gl_FragColor = apply_brightness_contrast_transparency(texture2D(tex, tc));
    }
    else if (InterpolationMetod == 1) {
        float z = texture2D(tex, tc).r;
        if (z > tex_bmax.z) {
            if (nodata_color.a == 0.0)
                discard;
            gl_FragColor = nodata_color;
            return;
        }

        // Normal from finite differences against the next texel in s and t.
        // dx, dy are the world steps of one texel along s and t; t runs
        // downward in world y, hence the negative dy.
        vec2 size = vec2(textureSize2D(tex, 0));
        float dx = extent.x / size.x;
        float dy = -extent.y / size.y;
        float zS = transformZ(z);
        float zU = transformZ(texture2DOffset(tex, tc, ivec2(1, 0)).r);
        float zV = transformZ(texture2DOffset(tex, tc, ivec2(0, 1)).r);
        vec3 normal = normalize(vec3((zS - zU) / dx, (zS - zV) / dy, 1.0));

        vec3 light_dir = normalize(vec3(1.0, 2.0, 3.0));
        float shade = (1.0 - 0.4) + 0.4 * abs(dot(normal, light_dir));

        float ramp = clamp((z - tex_bmin.z) / (tex_bmax.z - tex_bmin.z), 0.0, 1.0);
        vec4 color = texture1D(colorramp, ramp);
        color.rgb *= shade;
        gl_FragColor = apply_brightness_contrast_transparency(color);
    }
    else {
        // Unknown mode: a colour that cannot be mistaken for data.
        gl_FragColor = vec4(255.0, 105.0, 180.0, 255.0) / 255.0;
    }
}
