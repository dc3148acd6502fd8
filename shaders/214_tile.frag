// Tile renderer, fragment stage: raw amplitudes in a float texture (nearest
// filtering; this stage interpolates itself) are turned into colour through a
// 1D colour table.
//
// InterpolationMetod: 0 nearest, 1 bilinear, 2 bicubic B-spline (the one the
// renderer sets), 3 supersampled colour only. Undefined amplitudes are those
// above MaxDefinedAmplitude; the interpolators report 2 * MaxDefinedAmplitude
// when too few neighbours are defined.

uniform sampler1D ColTabTex;
uniform sampler2D SeismicTex;
uniform vec2 AmpRange;            // amplitudes mapped to the ends of the colour table
uniform float Opacity;
uniform float MaxDefinedAmplitude;
uniform vec2 SeismicTCSpacing;    // 1 / texture size; kept for the interface
uniform vec2 SeismicTexSize;      // texture width and height in texels
uniform int InterpolationMetod;

varying vec2 TexCoord;

// Fold in undefined amplitudes in the supersampled colour as well; without it
// they would be left out of the average.
#define NO_UNDEFINED

float ampScale(float a)
{
    return (a - AmpRange.x) / (AmpRange.y - AmpRange.x);
}

// Texel i of n is read at i / (n - 1): with nearest filtering that point lies
// inside texel i for every i from 0 to n - 1.
float texel(vec2 index)
{
    return texture2D(SeismicTex, index / (SeismicTexSize - 1.0)).r;
}

float bilinearTextureLookup(vec2 tex_coord)
{
    vec2 c = tex_coord * SeismicTexSize - 0.5;
    vec2 index = floor(c);
    vec2 f = fract(c);

    float t00 = texel(index);
    float t10 = texel(index + vec2(1.0, 0.0));
    float t01 = texel(index + vec2(0.0, 1.0));
    float t11 = texel(index + vec2(1.0, 1.0));

    bool d00 = t00 <= MaxDefinedAmplitude;
    bool d10 = t10 <= MaxDefinedAmplitude;
    bool d01 = t01 <= MaxDefinedAmplitude;
    bool d11 = t11 <= MaxDefinedAmplitude;
    int defined = int(d00) + int(d10) + int(d01) + int(d11);

    if (defined <= 2)
        return 2.0 * MaxDefinedAmplitude;
    if (defined == 4)
        return mix(mix(t00, t10, f.x), mix(t01, t11, f.x), f.y);

    // Three defined texels: interpolate on the plane through them.
    if (!d00)
        return t11 + (1.0 - f.x) * (t01 - t11) + (1.0 - f.y) * (t10 - t11);
    if (!d11)
        return t00 + f.x * (t10 - t00) + f.y * (t01 - t00);
    if (!d10)
        return t00 + f.y * (t01 - t00) + f.x * (t11 - t01);
    return t00 + f.x * (t10 - t00) + f.y * (t11 - t10);   // t01 missing
}

// Cubic B-spline from four bilinear lookups, the two-dimensional form of the
// tricubic filter of the volume renderer.
float bicubic_interpolation(vec2 tex_coord)
{
    vec2 c = tex_coord * SeismicTexSize - 0.5;
    vec2 index = floor(c);
    vec2 f = fract(c);
    vec2 one_f = 1.0 - f;

    vec2 w0 = one_f * one_f * one_f / 6.0;
    vec2 w1 = 2.0 / 3.0 - 0.5 * f * f * (2.0 - f);
    vec2 w2 = 2.0 / 3.0 - 0.5 * one_f * one_f * (1.0 + f);
    vec2 w3 = f * f * f / 6.0;

    vec2 g0 = w0 + w1;
    vec2 g1 = w2 + w3;
    vec2 h0 = (w1 / g0 - 0.5 + index) / SeismicTexSize;
    vec2 h1 = (w3 / g1 + 1.5 + index) / SeismicTexSize;

    float t00 = bilinearTextureLookup(vec2(h0.x, h0.y));
    float t10 = bilinearTextureLookup(vec2(h1.x, h0.y));
    float t01 = bilinearTextureLookup(vec2(h0.x, h1.y));
    float t11 = bilinearTextureLookup(vec2(h1.x, h1.y));

    if (t00 > MaxDefinedAmplitude || t10 > MaxDefinedAmplitude ||
        t01 > MaxDefinedAmplitude || t11 > MaxDefinedAmplitude)
        return 2.0 * MaxDefinedAmplitude;

    // g0 is the weight of the h0 sample on each axis.
    float row0 = mix(t10, t00, g0.x);
    float row1 = mix(t11, t01, g0.x);
    return mix(row1, row0, g0.y);
}

vec4 sampleColor(vec2 tc, inout float count)
{
    float a = texture2D(SeismicTex, tc).r;
#ifndef NO_UNDEFINED
    if (a > MaxDefinedAmplitude)
        return vec4(0.0);
#endif
    count += 1.0;
    return texture1D(ColTabTex, ampScale(a));
}

// Supersampling against aliasing when a pixel covers many texels: the centre
// and eight offsets scattered within about half a pixel, scaled by the screen
// derivatives of the texture coordinate (dx = d/dx, dy = d/dy on screen).
vec4 averageAmpColor(vec2 tc, vec2 dx, vec2 dy)
{
    float count = 0.0;
    vec4 sum = sampleColor(tc, count);
    sum += sampleColor(tc + vec2(-0.05 * dx.x + 0.43 * dy.x,  0.14 * dx.y + 0.44 * dy.y), count);
    sum += sampleColor(tc + vec2( 0.47 * dx.x + 0.36 * dy.x,  0.28 * dx.y + 0.49 * dy.y), count);
    sum += sampleColor(tc + vec2( 0.38 * dx.x + 0.08 * dy.x,  0.46 * dx.y + 0.06 * dy.y), count);
    sum += sampleColor(tc + vec2( 0.48 * dx.x - 0.21 * dy.x,  0.32 * dx.y - 0.32 * dy.y), count);
    sum += sampleColor(tc + vec2( 0.22 * dx.x - 0.42 * dy.x, -0.05 * dx.y - 0.45 * dy.y), count);
    sum += sampleColor(tc + vec2(-0.25 * dx.x - 0.46 * dy.x, -0.47 * dx.y - 0.33 * dy.y), count);
    sum += sampleColor(tc + vec2(-0.45 * dx.x - 0.16 * dy.x, -0.32 * dx.y - 0.21 * dy.y), count);
    sum += sampleColor(tc + vec2(-0.45 * dx.x + 0.35 * dy.x, -0.45 * dx.y + 0.43 * dy.y), count);
    if (count == 0.0)
        return vec4(0.0);
    return sum / count;
}

void main()
{
    // Derivatives first, before any branch or discard.
    vec2 dx = dFdx(TexCoord);
    vec2 dy = dFdy(TexCoord);
    float xpix = fwidth(TexCoord).y * SeismicTexSize.y / 2.0;

    if (InterpolationMetod == 3) {
        vec4 c = averageAmpColor(TexCoord, dx, dy);
        if (c.a < 0.0001)
            discard;
        gl_FragColor = vec4(c.rgb, c.a * Opacity);
        return;
    }

    float amplitude;
    if (InterpolationMetod == 0)
        amplitude = texture2D(SeismicTex, TexCoord).r;
    else if (InterpolationMetod == 1)
        amplitude = bilinearTextureLookup(TexCoord);
    else
        amplitude = bicubic_interpolation(TexCoord);

    if (amplitude > MaxDefinedAmplitude)
        discard;

    vec4 amp_color = texture1D(ColTabTex, ampScale(amplitude));
    vec4 blend_color = averageAmpColor(TexCoord, dx, dy);
    // Seen from afar a pixel covers several texels; fade to the supersampled
    // colour once it covers more than about 1.2 to 1.6 texels.
    float blend = smoothstep(0.6, 0.8, xpix);
    vec4 color = blend * blend_color + (1.0 - blend) * amp_color;
    gl_FragColor = vec4(color.rgb, color.a * Opacity);
}
