// Terrain tile pyramid, vertex stage. Compiled behind a header that supplies
// the version line (GLSL 4.30, compatibility profile) and two macros:
//   #define FLAT 0 or 1        1: no height raster, the terrain is a plane
//   #define COLORMODE 0 to 3   how the fragment stage colours
//
// One shared 129 x 129 mesh with (u, v) in 0..1 is drawn for every mesh tile;
// it is placed in the tile's rectangle here, and each vertex finds its height
// in a virtual texture: a lookup texture gives, per level-0 tile cell of the
// height raster, the layer of a 3D texture and the pyramid level of the
// finest tile resident there.
#extension GL_EXT_gpu_shader4 : enable

// The mesh comes from the fixed-function vertex array, which aliases
// generic attribute 0 in the compatibility profile.
layout(location = 0) in vec3 vertex;

struct TexturePyramid {
    vec2 LookupDims;       // level-0 tile cells: columns, rows
    vec2 smallTileExtent;  // world size of a level-0 tile
    vec2 BB_min;           // the cell grid's box, relative to the local origin
    vec2 BB_max;
    vec2 ZRange;           // band 0 minimum and maximum of the raster
};

uniform TexturePyramid heightTexture;
uniform sampler2D heightTexture_TextureLookup;  // per cell: layer low byte, layer high byte, level
uniform sampler3D heightTexture_TextureArray;   // resident tiles, one per layer
uniform vec3 TextureArrayDims;                  // tile size, tile size, layer count

uniform vec3 Scale;
uniform vec3 Translate;
uniform float Vertical_exagerration;
uniform vec2 TileBLC;     // mesh tile corners, relative to the local origin
uniform vec2 TileTRC;
uniform float Undefined;  // heights above this are undefined

out TerrainData {
    vec2 world_coord;
    vec3 eye_position;
    float defined;
} vs_out;

// A texel is a 32-bit value spread over RGBA, alpha most significant; all
// ones is undefined.
float decodeTexel(vec4 c, vec2 zrange)
{
    if (all(equal(c, vec4(1.0))))
        return 2.0 * Undefined;
    float value = c.r / (255.0 * 255.0 * 255.0) + c.g / (255.0 * 255.0) + c.b / 255.0 + c.a;
    return mix(zrange.x, zrange.y, value);
}

// The four texels around (x, y) in the finest resident tile: top-left,
// top-right, bottom-left, bottom-right, and the world size of a texel there.
// Reads stay within the tile (clamped at its edge).
void fourheightsFromTexturePyramid(TexturePyramid pyr, sampler2D lookup, sampler3D array, vec2 xy,
                                   out float tlc, out float trc, out float blc, out float brc,
                                   out vec2 texel_size)
{
    tlc = trc = blc = brc = 2.0 * Undefined;
    texel_size = pyr.smallTileExtent / TextureArrayDims.xy;
    if (any(lessThan(xy, pyr.BB_min)) || any(greaterThan(xy, pyr.BB_max)))
        return;

    // Cell numbers; rows count from the top.
    vec2 n = vec2((xy.x - pyr.BB_min.x) / pyr.smallTileExtent.x,
                  (pyr.BB_max.y - xy.y) / pyr.smallTileExtent.y);
    // The grid's far edges belong to its last cells; fract() would carry
    // them over to the first texel of their tile.
    n = min(n, pyr.LookupDims - vec2(0.5 / TextureArrayDims.xy));
    // Exact fetches: no filtering or wrapping to work out per read.
    ivec2 cell = clamp(ivec2(floor(n)), ivec2(0), ivec2(pyr.LookupDims) - 1);
    vec3 entry = texelFetch(lookup, cell, 0).rgb;
    // + 0.5: round the normalised bytes back to integers.
    int layer = int(entry.x * 255.0 + 256.0 * 255.0 * entry.y + 0.5);
    int level = int(entry.z * 255.0 + 0.5);
    // Cells that no tile has reached yet hold layer 65535.
    if (layer >= int(TextureArrayDims.z))
        return;

    float tiles = exp2(float(level));
    // A texel's value stands at its centre: reads start half a texel back,
    // so that the four around the point are the ones to interpolate. They
    // stay within the tile.
    vec2 t = fract(n / tiles) - 0.5 / TextureArrayDims.xy;
    ivec2 last = ivec2(TextureArrayDims.xy) - 1;
    ivec2 base = ivec2(floor(t * TextureArrayDims.xy));
    ivec2 i = clamp(base, ivec2(0), last);
    ivec2 j = clamp(base + 1, ivec2(0), last);

    tlc = decodeTexel(texelFetch(array, ivec3(i.x, i.y, layer), 0), pyr.ZRange);
    trc = decodeTexel(texelFetch(array, ivec3(j.x, i.y, layer), 0), pyr.ZRange);
    blc = decodeTexel(texelFetch(array, ivec3(i.x, j.y, layer), 0), pyr.ZRange);
    brc = decodeTexel(texelFetch(array, ivec3(j.x, j.y, layer), 0), pyr.ZRange);
    texel_size = tiles * pyr.smallTileExtent / TextureArrayDims.xy;
}

// Bilinear height between the four texels; with one corner undefined only
// the triangle of the other three is defined.
float bilinearTextureLookup(TexturePyramid pyr, sampler2D lookup, sampler3D array, vec2 xy,
                            out vec2 texel_size)
{
    float tlc, trc, blc, brc;
    fourheightsFromTexturePyramid(pyr, lookup, array, xy, tlc, trc, blc, brc, texel_size);
    bool dtl = tlc <= Undefined;
    bool dtr = trc <= Undefined;
    bool dbl = blc <= Undefined;
    bool dbr = brc <= Undefined;
    int count = int(dtl) + int(dtr) + int(dbl) + int(dbr);
    float undefined_height = abs(2.0 * Undefined);
    if (count <= 2)
        return undefined_height;

    vec2 w = fract(vec2(xy.x - pyr.BB_min.x, pyr.BB_max.y - xy.y) / texel_size - 0.5);
    if (count == 4)
        return mix(mix(tlc, trc, w.x), mix(blc, brc, w.x), w.y);
    if (!dtl)
        return (1.0 - w.y < w.x) ? brc + (1.0 - w.x) * (blc - brc) + (1.0 - w.y) * (trc - brc)
                                 : undefined_height;
    if (!dbr)
        return (1.0 - w.y > w.x) ? tlc + w.x * (trc - tlc) + w.y * (blc - tlc)
                                 : undefined_height;
    if (!dbl)
        return (w.x > w.y) ? tlc + w.x * (trc - tlc) + w.y * (brc - trc)
                           : undefined_height;
    return (w.x < w.y) ? tlc + w.y * (blc - tlc) + w.x * (brc - blc)   // trc missing
                       : undefined_height;
}

void main()
{
    float x = mix(TileBLC.x, TileTRC.x, vertex.x);
    float y = mix(TileBLC.y, TileTRC.y, vertex.y);

#if FLAT
    float Z = 0.0;
#else
    vec2 texel_size;
    float Z = bilinearTextureLookup(heightTexture, heightTexture_TextureLookup,
                                    heightTexture_TextureArray, vec2(x, y), texel_size);
#endif

    vec4 p = vec4(vec3(x, y, Z) * Scale + Translate, 1.0);
    p.z *= Vertical_exagerration;

    vs_out.world_coord = vec2(x, y);
    vs_out.eye_position = vec3(gl_ModelViewMatrix * p);
    // The geometry stage drops triangles with an undefined corner.
    vs_out.defined = Z < Undefined ? 1.0 : 0.0;
    gl_Position = gl_ModelViewProjectionMatrix * p;
}
