// Material textured fill, vertex stage.

// Depth scale of the clip-space z, fixed here at 1.0 (no depth pull); the
// same factor is a uniform in the tile renderer.
const float DepthBufferScale = 1.0;

varying vec2 TexCoord;

void main()
{
    TexCoord = gl_MultiTexCoord0.st;
    vec4 p = gl_ModelViewProjectionMatrix * gl_Vertex;
    p.z *= DepthBufferScale;
    gl_Position = p;
}
