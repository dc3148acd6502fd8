// Cube volume renderer, vertex stage (alternative mode; same role as the normal one).
// The slice geometry carries its cube coordinate in texture unit 0; the
// fragment stage turns it into a brick-pool address, so all this stage does
// is hand the per-vertex values on and transform with the fixed-function
// matrices (ftransform keeps depth identical to fixed-function passes).

uniform float jalla;   // declared and never read; the renderer does not set it

varying vec3 N;    // normal as given (gl_Normal)
varying vec3 V;    // eye-space position
varying vec3 OV;   // object-space position
varying vec3 TC;   // cube coordinate, already scaled by the valid data range

void main()
{
    N  = gl_Normal;
    V  = vec3(gl_ModelViewMatrix * gl_Vertex);
    OV = gl_Vertex.xyz;
    TC = gl_MultiTexCoord0.xyz;
    gl_FrontColor = gl_Color;
    gl_Position = ftransform();
}
