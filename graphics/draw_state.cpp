#include "graphics/draw_state.h"

#include <GL/glew.h>

namespace Tolmar {

void push_slice_draw_state()
{
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    glDisable(GL_BLEND);
    glDisable(GL_LIGHTING);
    glDisable(GL_CULL_FACE);
    glEnable(GL_DEPTH_TEST);
    for (GLenum g : {GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T, GL_TEXTURE_GEN_R, GL_TEXTURE_GEN_Q}) glDisable(g);
}

void upload_colour_texture(unsigned& texture, unsigned none, std::vector<vec<unsigned char, 4>> const& table)
{
    if (table.empty()) return;
    if (texture == none) {
        GLuint name = 0;
        glGenTextures(1, &name);
        texture = name;
    }
    glBindTexture(GL_TEXTURE_1D, texture);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA, static_cast<GLsizei>(table.size()), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 table.data());
    glBindTexture(GL_TEXTURE_1D, 0);
}

} // namespace Tolmar
