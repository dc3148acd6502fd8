#include "graphics/colour_texture.h"

#include <GL/glew.h>

namespace Tolmar {

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
