// Material textured fill, fragment stage. With SUPERSAMPLING the texture is
// read nine times per pixel, at the centre and at eight offsets scattered
// within about half a pixel, taken from the screen derivatives of TexCoord
// (Ux = dU/dx, Uy = dU/dy on screen, V likewise); the average keeps fine
// textures from shimmering when seen at a distance.
#define SUPERSAMPLING

uniform sampler2D Texture;

varying vec2 TexCoord;

void main()
{
#ifdef SUPERSAMPLING
    vec2 dx = dFdx(TexCoord);   // (Ux, Vx)
    vec2 dy = dFdy(TexCoord);   // (Uy, Vy)
    vec4 sum = texture2D(Texture, TexCoord);
    sum += texture2D(Texture, TexCoord + vec2(-0.05 * dx.x + 0.43 * dy.x,  0.14 * dx.y + 0.44 * dy.y)); // N
    sum += texture2D(Texture, TexCoord + vec2( 0.47 * dx.x + 0.36 * dy.x,  0.28 * dx.y + 0.49 * dy.y)); // NE
    sum += texture2D(Texture, TexCoord + vec2( 0.38 * dx.x + 0.08 * dy.x,  0.46 * dx.y + 0.06 * dy.y)); // E
    sum += texture2D(Texture, TexCoord + vec2( 0.48 * dx.x - 0.21 * dy.x,  0.32 * dx.y - 0.32 * dy.y)); // SE
    sum += texture2D(Texture, TexCoord + vec2( 0.22 * dx.x - 0.42 * dy.x, -0.05 * dx.y - 0.45 * dy.y)); // S
    sum += texture2D(Texture, TexCoord + vec2(-0.25 * dx.x - 0.46 * dy.x, -0.47 * dx.y - 0.33 * dy.y)); // SW
    sum += texture2D(Texture, TexCoord + vec2(-0.45 * dx.x - 0.16 * dy.x, -0.32 * dx.y - 0.21 * dy.y)); // W
    sum += texture2D(Texture, TexCoord + vec2(-0.45 * dx.x + 0.35 * dy.x, -0.45 * dx.y + 0.43 * dy.y)); // NW
    gl_FragColor = sum / 9.0;
#else
    gl_FragColor = texture2D(Texture, TexCoord);
#endif
}
