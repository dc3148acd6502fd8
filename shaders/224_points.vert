// Material point sprites, vertex stage: position only; the sprite size is
// set with glPointSize by the material.

void main()
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
