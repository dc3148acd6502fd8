#include "graphics/current_context.h"

#include <EGL/egl.h>
#include <GL/glx.h>

namespace Tolmar {

void* current_gl_context()
{
    if (EGLContext const egl = eglGetCurrentContext(); egl != EGL_NO_CONTEXT) return egl;
    return glXGetCurrentContext();
}

} // namespace Tolmar
