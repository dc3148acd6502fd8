// Terrain tile pyramid, geometry stage: drops every triangle that has a
// corner without a defined height, so terrain edges follow the data's
// triangles and not whole mesh cells. Compiled behind the same header as the
// other two stages (GLSL 4.30 compatibility profile, FLAT, COLORMODE).
#extension GL_EXT_gpu_shader4 : enable
// Geometry shaders are core from GLSL 1.50 on; the extension is only needed
// below that.
#if __VERSION__ < 150
#extension GL_EXT_geometry_shader4 : enable
#endif

layout(triangles) in;
layout(triangle_strip, max_vertices = 3) out;

uniform float Undefined;   // same value as in the vertex stage

in TerrainData {
    vec2 world_coord;
    vec3 eye_position;
    float defined;
} gs_in[];

out TerrainData {
    vec2 world_coord;
    vec3 eye_position;
    float defined;
} gs_out;

void main()
{
    if (gs_in[0].defined < 0.5 || gs_in[1].defined < 0.5 || gs_in[2].defined < 0.5)
        return;

    for (int i = 0; i < 3; ++i) {
        gl_Position = gl_in[i].gl_Position;
        gs_out.world_coord = gs_in[i].world_coord;
        gs_out.eye_position = gs_in[i].eye_position;
        gs_out.defined = gs_in[i].defined;
        EmitVertex();
    }
    EndPrimitive();
}
