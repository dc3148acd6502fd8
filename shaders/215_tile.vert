// Tile renderer, vertex stage: one textured quad per amplitude tile.

uniform float AmpScale;          // amplitude gain; colour mapping is done in the fragment stage
uniform float AmpBias;
uniform float DepthBufferScale;  // pulls planes towards the eye in depth when below 1

varying vec2 TexCoord;

void main()
{
    TexCoord = gl_MultiTexCoord0.st;
    gl_FrontColor = gl_Color;
    vec4 p = ftransform();
    p.z *= DepthBufferScale;
    gl_Position = p;
}
