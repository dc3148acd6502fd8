#include "graphics/texture_3d.h"

#include <GL/glew.h>

namespace Tolmar {

unsigned new_texture_3d(unsigned unit, unsigned old, int filter)
{
    glActiveTexture(unit);
    if (old != ~0u) glDeleteTextures(1, &old);
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_3D, texture);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, filter);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    return texture;
}

void bind_texture_3d(unsigned unit, unsigned texture)
{
    glActiveTexture(unit);
    glDisable(GL_TEXTURE_1D);
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_TEXTURE_3D);
    glBindTexture(GL_TEXTURE_3D, texture);
}

} // namespace Tolmar
