// Single-raster renderer, vertex stage: the mesh comes in with raw heights;
// they are scaled, offset and exaggerated here so that one mesh serves every
// setting of the vertical exaggeration.

uniform float vertical_exagerration;
uniform float zscale;
uniform float zoffset;

varying vec3 V;    // raw vertex, relative to the local origin; the fragment stage finds its texel from it

void main()
{
    V = gl_Vertex.xyz;
    vec4 p = vec4(gl_Vertex.xyz, 1.0);
    p.z = vertical_exagerration * (zoffset + p.z * zscale);
    gl_Position = gl_ModelViewProjectionMatrix * p;
}
