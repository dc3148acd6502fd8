#version 150 compatibility
// Material lines, geometry stage. A line strip drawn with adjacency gives each
// segment its neighbours (prev, start, end, next). The segment becomes a quad
// in screen space, line_thickness pixels wide, whose ends are cut along the
// bisector of the joint, so that neighbouring segments meet edge to edge
// without overdraw, which keeps translucent lines even.
//
// A geometry stage needs GLSL 1.50 (layout qualifiers, gl_in) on drivers
// without GL_EXT_geometry_shader4, hence the version line; the compatibility
// profile keeps it linkable with the 1.10 vertex and fragment stages.

layout(lines_adjacency) in;
layout(triangle_strip, max_vertices = 5) out;

uniform float line_thickness;   // pixels
uniform vec2 render_size;       // viewport size in pixels

in vec2 center_pixel[];

out float along_value;   // screen x or y, along the segment's main axis: the stipple runs along it
out float across_value;  // -1 on one edge of the line, 1 on the other

vec2 to_pixel(vec4 clip)
{
    return (clip.xy / clip.w * 0.5 + 0.5) * render_size;
}

vec4 to_clip(vec2 pixel, vec4 like)
{
    return vec4((pixel / render_size * 2.0 - 1.0) * like.w, like.z, like.w);
}

// Offset of the joint's outline vertices from the joint centre: along the
// normal of the bisector of the two segment directions. The miter length is
// line_radius / dot (dot = cosine of half the turn) where that is well
// defined, and it is limited to line_radius, which cuts the outer corner.
vec2 joint_offset(vec2 dir_in, vec2 dir_out, vec2 normal, float line_radius)
{
    vec2 tangent = dir_in + dir_out;
    if (dot(tangent, tangent) < 1e-8)
        tangent = dir_out;          // a full turn back: square end
    tangent = normalize(tangent);
    vec2 miter = vec2(-tangent.y, tangent.x);
    float d = dot(miter, normal);
    if (d < 0.0) {
        miter = -miter;
        d = -d;
    }
    float len = line_radius;
    if (abs(d) > 0.05)
        len = min(line_radius / d, line_radius);
    return miter * len;
}

void main()
{
    vec4 c1 = gl_in[1].gl_Position;
    vec4 c2 = gl_in[2].gl_Position;

    // Cull what cannot be seen: both ends behind the near or beyond the far
    // plane, or both outside the viewport on the same side.
    if ((c1.z < -c1.w && c2.z < -c2.w) || (c1.z > c1.w && c2.z > c2.w) ||
        (c1.x < -c1.w && c2.x < -c2.w) || (c1.x > c1.w && c2.x > c2.w) ||
        (c1.y < -c1.w && c2.y < -c2.w) || (c1.y > c1.w && c2.y > c2.w))
        return;

    // A segment crossing the near plane is cut there, so that both ends
    // have a pixel position; the cut end gets a square joint.
    bool cut1 = false;
    bool cut2 = false;
    if (c1.z < -c1.w) {
        float t = (c1.z + c1.w) / ((c1.z + c1.w) - (c2.z + c2.w));
        c1 = mix(c1, c2, t);
        cut1 = true;
    }
    else if (c2.z < -c2.w) {
        float t = (c2.z + c2.w) / ((c2.z + c2.w) - (c1.z + c1.w));
        c2 = mix(c2, c1, t);
        cut2 = true;
    }

    vec2 s1 = cut1 ? to_pixel(c1) : center_pixel[1];
    vec2 s2 = cut2 ? to_pixel(c2) : center_pixel[2];
    vec2 seg = s2 - s1;
    if (dot(seg, seg) < 1e-8)
        return;   // degenerate on screen
    vec2 dir = normalize(seg);
    vec2 normal = vec2(-dir.y, dir.x);

    // Directions of the neighbouring segments. A repeated neighbour vertex
    // (the ends of a strip), one behind the eye, or a cut end falls back to
    // this segment's own direction.
    vec2 dir_prev = dir;
    vec4 c0 = gl_in[0].gl_Position;
    vec2 d0 = s1 - center_pixel[0];
    if (!cut1 && c0.w > 0.0 && c0.z >= -c0.w && dot(d0, d0) > 1e-8)
        dir_prev = normalize(d0);
    vec2 dir_next = dir;
    vec4 c3 = gl_in[3].gl_Position;
    vec2 d3 = center_pixel[3] - s2;
    if (!cut2 && c3.w > 0.0 && c3.z >= -c3.w && dot(d3, d3) > 1e-8)
        dir_next = normalize(d3);

    float line_radius = line_thickness / 2.0;
    vec2 o1 = joint_offset(dir_prev, dir, normal, line_radius);
    vec2 o2 = joint_offset(dir, dir_next, normal, line_radius);

    bool along_x = abs(dir.x) >= abs(dir.y);
    vec2 p;

    p = s1 + o1;
    gl_Position = to_clip(p, c1);
    along_value = along_x ? p.x : p.y;
    across_value = 1.0;
    EmitVertex();

    p = s1 - o1;
    gl_Position = to_clip(p, c1);
    along_value = along_x ? p.x : p.y;
    across_value = -1.0;
    EmitVertex();

    p = s2 + o2;
    gl_Position = to_clip(p, c2);
    along_value = along_x ? p.x : p.y;
    across_value = 1.0;
    EmitVertex();

    p = s2 - o2;
    gl_Position = to_clip(p, c2);
    along_value = along_x ? p.x : p.y;
    across_value = -1.0;
    EmitVertex();

    EndPrimitive();
}
