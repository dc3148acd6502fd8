// Material lines, vertex stage: besides the clip position, hands on the
// vertex's position in window pixels, from which the geometry stage builds
// the line's outline in screen space.

uniform vec2 render_size;   // viewport size in pixels

varying vec2 center_pixel;

void main()
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
    // A vertex behind the eye (w <= 0) has no pixel; the geometry stage
    // clips such segments itself and does not use this value for them.
    float w = gl_Position.w > 0.0 ? gl_Position.w : 1.0;
    center_pixel = (gl_Position.xy / w * 0.5 + 0.5) * render_size;
}
