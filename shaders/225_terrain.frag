// Terrain tile pyramid, fragment stage. Compiled behind a header that
// supplies the version line (GLSL 4.30, compatibility profile) and two macros:
//   #define FLAT 0 or 1        1: no height raster, the terrain is a plane at z 0
//   #define COLORMODE 0 to 3   colour mode values:
//     0  RGBA from the drape (several bands), bilinear between four texels
//     1  single-band drape, value interpolated, then the colour table
//     2  no drape: colour table on the height
//     3  single-band drape, colour table at the four corners, then the
//        colours are interpolated
//
// Heights and drape values are read per fragment from the same virtual
// textures as in the vertex stage, so the colour and the shading follow the
// data's resolution and not the mesh's.
#extension GL_EXT_gpu_shader4 : enable

struct TexturePyramid {
    vec2 LookupDims;       // level-0 tile cells: columns, rows
    vec2 smallTileExtent;  // world size of a level-0 tile
    vec2 BB_min;           // the cell grid's box, relative to the local origin
    vec2 BB_max;
    vec2 ZRange;           // band 0 minimum and maximum of the raster
};

uniform TexturePyramid heightTexture;
uniform sampler2D heightTexture_TextureLookup;
uniform sampler3D heightTexture_TextureArray;
uniform TexturePyramid drapeTexture;
uniform sampler2D drapeTexture_TextureLookup;
uniform sampler3D drapeTexture_TextureArray;
uniform vec3 TextureArrayDims;                  // tile size, tile size, layer count

uniform vec3 Scale;
uniform vec3 Translate;
uniform float Vertical_exagerration;
uniform vec2 TileBLC;
uniform vec2 TileTRC;
uniform float Undefined;     // values above this are undefined
uniform sampler1D ColTabTex;
uniform vec2 MapRange;       // values mapped to the ends of the colour table

in TerrainData {
    vec2 world_coord;
    vec3 eye_position;
    float defined;
} fs_in;

float transformZ(float h)
{
    return (h * Scale.z + Translate.z) * Vertical_exagerration;
}

// A texel is a 32-bit value spread over RGBA, alpha most significant; all
// ones is undefined.
float decodeTexel(vec4 c, vec2 zrange)
{
    if (all(equal(c, vec4(1.0))))
        return 2.0 * Undefined;
    float value = c.r / (255.0 * 255.0 * 255.0) + c.g / (255.0 * 255.0) + c.b / 255.0 + c.a;
    return mix(zrange.x, zrange.y, value);
}

// Finds the finest resident tile at (x, y): texture coordinate of the texel
// inside the tile and its layer number, and the world size of a texel there.
// False outside the cell grid or where no tile has arrived (layer 65535).
bool pyramidTexel(TexturePyramid pyr, sampler2D lookup, vec2 xy,
                  out vec2 t, out float layer_coord, out vec2 texel_size)
{
    t = vec2(0.0);
    layer_coord = 0.0;
    texel_size = pyr.smallTileExtent / TextureArrayDims.xy;
    if (any(lessThan(xy, pyr.BB_min)) || any(greaterThan(xy, pyr.BB_max)))
        return false;

    vec2 n = vec2((xy.x - pyr.BB_min.x) / pyr.smallTileExtent.x,
                  (pyr.BB_max.y - xy.y) / pyr.smallTileExtent.y);
    // The grid's far edges belong to its last cells; fract() would carry
    // them over to the first texel of their tile.
    n = min(n, pyr.LookupDims - vec2(0.5 / TextureArrayDims.xy));
    // Exact fetches: no filtering or wrapping to work out per read.
    ivec2 cell = clamp(ivec2(floor(n)), ivec2(0), ivec2(pyr.LookupDims) - 1);
    vec3 entry = texelFetch(lookup, cell, 0).rgb;
    int layer = int(entry.x * 255.0 + 256.0 * 255.0 * entry.y + 0.5);
    int level = int(entry.z * 255.0 + 0.5);
    if (layer >= int(TextureArrayDims.z))
        return false;

    float tiles = exp2(float(level));
    layer_coord = float(layer);
    // A texel's value stands at its centre: reads start half a texel back,
    // so that the four around the point are the ones to interpolate.
    t = fract(n / tiles) - 0.5 / TextureArrayDims.xy;
    texel_size = tiles * pyr.smallTileExtent / TextureArrayDims.xy;
    return true;
}

// The four texels from t: top-left, top-right, bottom-left, bottom-right,
// clamped at the tile's edge so that reads never cross into another tile.
void fourTexels(sampler3D array, vec2 t, float layer_coord,
                out vec4 tl, out vec4 tr, out vec4 bl, out vec4 br)
{
    ivec2 last = ivec2(TextureArrayDims.xy) - 1;
    ivec2 base = ivec2(floor(t * TextureArrayDims.xy));
    ivec2 i = clamp(base, ivec2(0), last);
    ivec2 j = clamp(base + 1, ivec2(0), last);
    int z = int(layer_coord);
    tl = texelFetch(array, ivec3(i.x, i.y, z), 0);
    tr = texelFetch(array, ivec3(j.x, i.y, z), 0);
    bl = texelFetch(array, ivec3(i.x, j.y, z), 0);
    br = texelFetch(array, ivec3(j.x, j.y, z), 0);
}

// Position inside the texel cell, x to the right and y downward.
vec2 cellWeights(TexturePyramid pyr, vec2 xy, vec2 texel_size)
{
    return fract(vec2(xy.x - pyr.BB_min.x, pyr.BB_max.y - xy.y) / texel_size - 0.5);
}

// Interpolation between four corners of which some may be undefined: with
// two or fewer defined the result is `undefined_value`; with three it is
// made in their triangle and is `undefined_value` outside it.
vec4 interpolateCorners(vec4 tlc, vec4 trc, vec4 blc, vec4 brc,
                        bool dtl, bool dtr, bool dbl, bool dbr, vec2 w, vec4 undefined_value)
{
    int count = int(dtl) + int(dtr) + int(dbl) + int(dbr);
    if (count <= 2)
        return undefined_value;
    if (count == 4)
        return mix(mix(tlc, trc, w.x), mix(blc, brc, w.x), w.y);
    if (!dtl)
        return (1.0 - w.y < w.x) ? brc + (1.0 - w.x) * (blc - brc) + (1.0 - w.y) * (trc - brc)
                                 : undefined_value;
    if (!dbr)
        return (1.0 - w.y > w.x) ? tlc + w.x * (trc - tlc) + w.y * (blc - tlc)
                                 : undefined_value;
    if (!dbl)
        return (w.x > w.y) ? tlc + w.x * (trc - tlc) + w.y * (brc - trc)
                           : undefined_value;
    return (w.x < w.y) ? tlc + w.y * (blc - tlc) + w.x * (brc - blc)   // trc missing
                       : undefined_value;
}

// A value of a single-band raster at (x, y); above Undefined when undefined.
float bilinearTextureLookup(TexturePyramid pyr, sampler2D lookup, sampler3D array, vec2 xy,
                            out vec2 texel_size)
{
    vec2 t;
    float layer_coord;
    float undefined_value = abs(2.0 * Undefined);
    if (!pyramidTexel(pyr, lookup, xy, t, layer_coord, texel_size))
        return undefined_value;
    vec4 tl, tr, bl, br;
    fourTexels(array, t, layer_coord, tl, tr, bl, br);
    float tlc = decodeTexel(tl, pyr.ZRange);
    float trc = decodeTexel(tr, pyr.ZRange);
    float blc = decodeTexel(bl, pyr.ZRange);
    float brc = decodeTexel(br, pyr.ZRange);
    vec2 w = cellWeights(pyr, xy, texel_size);
    return interpolateCorners(vec4(tlc), vec4(trc), vec4(blc), vec4(brc),
                              tlc <= Undefined, trc <= Undefined, blc <= Undefined, brc <= Undefined,
                              w, vec4(undefined_value)).x;
}

vec4 colorTable(float value)
{
    return texture(ColTabTex, (value - MapRange.r) / (MapRange.g - MapRange.r));
}

// Colour mode 0: an RGBA drape, bilinear between four texels. Yellow where
// the drape has nothing.
vec4 bilinearTextureLookupColor(TexturePyramid pyr, sampler2D lookup, sampler3D array, vec2 xy)
{
    vec2 t;
    float layer_coord;
    vec2 texel_size;
    if (!pyramidTexel(pyr, lookup, xy, t, layer_coord, texel_size))
        return vec4(1.0, 1.0, 0.0, 1.0);
    vec4 tl, tr, bl, br;
    fourTexels(array, t, layer_coord, tl, tr, bl, br);
    vec2 w = cellWeights(pyr, xy, texel_size);
    return mix(mix(tl, tr, w.x), mix(bl, br, w.x), w.y);
}

// Colour mode 3: the colour table at each defined corner, then the colours
// are interpolated with the same corner logic as heights; undefined gives
// alpha 0.
vec4 bilinearTextureLookupColortable(TexturePyramid pyr, sampler2D lookup, sampler3D array, vec2 xy)
{
    vec2 t;
    float layer_coord;
    vec2 texel_size;
    if (!pyramidTexel(pyr, lookup, xy, t, layer_coord, texel_size))
        return vec4(0.0);
    vec4 tl, tr, bl, br;
    fourTexels(array, t, layer_coord, tl, tr, bl, br);
    float tlc = decodeTexel(tl, pyr.ZRange);
    float trc = decodeTexel(tr, pyr.ZRange);
    float blc = decodeTexel(bl, pyr.ZRange);
    float brc = decodeTexel(br, pyr.ZRange);
    vec2 w = cellWeights(pyr, xy, texel_size);
    return interpolateCorners(colorTable(tlc), colorTable(trc), colorTable(blc), colorTable(brc),
                              tlc <= Undefined, trc <= Undefined, blc <= Undefined, brc <= Undefined,
                              w, vec4(0.0));
}

// Normal from the heights one texel (delta) around the point. Pyramid rows
// count downward in world y, so "up" is the next row (y - delta.y) and
// "down" the previous one (y + delta.y); ns then runs from down to up and ew
// from left to right. An undefined neighbour is replaced by the point's own
// height and not counted.
vec3 getNormal(vec2 xy, float h, vec2 delta)
{
    if (h > Undefined)
        return vec3(0.0, 0.0, 1.0);

    vec2 ts;
    float h_up = bilinearTextureLookup(heightTexture, heightTexture_TextureLookup,
                                       heightTexture_TextureArray, xy - vec2(0.0, delta.y), ts);
    float h_down = bilinearTextureLookup(heightTexture, heightTexture_TextureLookup,
                                         heightTexture_TextureArray, xy + vec2(0.0, delta.y), ts);
    float h_right = bilinearTextureLookup(heightTexture, heightTexture_TextureLookup,
                                          heightTexture_TextureArray, xy + vec2(delta.x, 0.0), ts);
    float h_left = bilinearTextureLookup(heightTexture, heightTexture_TextureLookup,
                                         heightTexture_TextureArray, xy - vec2(delta.x, 0.0), ts);

    float dy = 0.0;
    float dx = 0.0;
    if (h_up > Undefined) h_up = h; else dy += 1.0;
    if (h_down > Undefined) h_down = h; else dy += 1.0;
    if (h_right > Undefined) h_right = h; else dx += 1.0;
    if (h_left > Undefined) h_left = h; else dx += 1.0;

    vec3 ns = dy > 0.0 ? vec3(0.0, -dy * delta.y, transformZ(h_up) - transformZ(h_down))
                       : vec3(0.0, -1.0, 0.0);
    vec3 ew = dx > 0.0 ? vec3(dx * delta.x, 0.0, transformZ(h_right) - transformZ(h_left))
                       : vec3(1.0, 0.0, 0.0);
    return normalize(cross(normalize(ew), normalize(ns)));
}

void main()
{
    vec2 xy = fs_in.world_coord;

#if FLAT
    float h = 0.0;
#else
    vec2 delta;
    float h = bilinearTextureLookup(heightTexture, heightTexture_TextureLookup,
                                    heightTexture_TextureArray, xy, delta);
    if (h > Undefined)
        discard;
#endif

    vec4 color;
#if COLORMODE == 0
    color = bilinearTextureLookupColor(drapeTexture, drapeTexture_TextureLookup,
                                       drapeTexture_TextureArray, xy);
#elif COLORMODE == 1
    vec2 drape_texel;
    float value = bilinearTextureLookup(drapeTexture, drapeTexture_TextureLookup,
                                        drapeTexture_TextureArray, xy, drape_texel);
    if (value > Undefined)
        discard;
    color = colorTable(value);
#elif COLORMODE == 2
    color = colorTable(h);
#else
    color = bilinearTextureLookupColortable(drapeTexture, drapeTexture_TextureLookup,
                                            drapeTexture_TextureArray, xy);
    if (color.a == 0.0)
        discard;
#endif

    // The alpha is kept apart; lighting works on the opaque colour.
    float alpha = color.a;
    color.a = 1.0;

#if FLAT
    vec3 normal = vec3(0.0, 0.0, 1.0);
#else
    vec3 normal = getNormal(xy, h, delta);
#endif
    normal = normalize(gl_NormalMatrix * normal);

    // One point light at the eye, attenuation 1, ambient 0.3, diffuse 0.7,
    // no highlight; lit from both sides.
    vec3 VP = normalize(vec3(0.0, 0.0, 1.0) - fs_in.eye_position);
    float nDotVP = max(dot(-normal, VP), dot(normal, VP));
    vec3 lit = 0.3 * color.rgb + 0.7 * nDotVP * color.rgb;
    gl_FragColor = vec4(lit, alpha);
}
