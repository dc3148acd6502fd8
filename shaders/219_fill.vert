// Material fill, vertex stage: position only; the patterns are computed in
// screen space by the fragment stage.

void main()
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
