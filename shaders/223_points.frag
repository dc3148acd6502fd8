#version 120
// Material point sprites, fragment stage: the symbol's texture over the
// sprite (gl_PointCoord needs 1.20). The material splices its macro lines
// in place of the marked line; a texel with alpha 0 is not drawn.

uniform sampler2D Texture0;

void main()
{
    vec4 color = texture2D(Texture0, gl_PointCoord);

//insert symbol macros here

    if (color.a == 0.0)
        discard;
    gl_FragColor = color;
}
