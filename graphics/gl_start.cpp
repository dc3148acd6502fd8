#include "graphics/gl_start.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "foundation/log.h"
#include "graphics/shader_texts.h"

namespace Tolmar {

namespace {

// Set once the entry points are loaded and never cleared: every context of
// the process is taken to offer the same ones. GL work runs on the thread
// that owns the context, so there is no lock.
bool glewDone = false;

char const* const kGlewErrors[] = {"No error", "Missing GL version", "GL 1.1 and up are not supported",
                                   "GLX 1.2 and up are not supported", "Unknown error"};

} // namespace

std::string gl_error_text(unsigned code)
{
    // GLU knows the classic codes and its own; it answers null for newer ones.
    if (auto const* text = gluErrorString(code)) return reinterpret_cast<char const*>(text);
    char hex[32];
    std::snprintf(hex, sizeof hex, "GL error 0x%04x", code);
    return hex;
}

bool glew_init()
{
    if (glewDone) return true;
    Util::logf("\nglew_init()\n");
    // glewInit loads the context's entry points and then runs the window
    // system's step, which on this build of GLEW is GLX's. Under an EGL
    // context (headless rendering) there is no GLX display, so that step
    // answers GLEW_ERROR_NO_GLX_DISPLAY after the GL entry points are already
    // in place: that answer is success here. A failed context step answers 1
    // or 2 and never gets that far.
    GLenum code = glewInit();
    if (code == GLEW_ERROR_NO_GLX_DISPLAY) code = GLEW_OK;
    if (code != GLEW_OK) {
        Util::logf("glewInit failed: %s\n", kGlewErrors[std::min<GLenum>(code, 4)]);
        return false;
    }
    glewDone = true;
    return true;
}

bool gl_version_string_at_least(char const* version, unsigned major, unsigned minor)
{
    if (!version) return false;
    auto number = [&version] {
        unsigned n = 0;
        for (; *version >= '0' && *version <= '9'; ++version) n = n * 10 + static_cast<unsigned>(*version - '0');
        return n;
    };
    unsigned const haveMajor = number();
    unsigned haveMinor = 0;
    if (*version == '.') {
        ++version;
        haveMinor = number();
    }
    return haveMajor > major || (haveMajor == major && haveMinor >= minor);
}

bool gl_version_at_least(unsigned major, unsigned minor)
{
    return gl_version_string_at_least(reinterpret_cast<char const*>(glGetString(GL_VERSION)), major, minor);
}

void check_gl_error(char const* file, unsigned line)
{
    for (GLenum code = glGetError(); code != GL_NO_ERROR; code = glGetError())
        Util::logf("glError: '%s' caught at %s:%u\n", gl_error_text(code).c_str(), file, line);
}

bool load_shader_text(unsigned id, std::string& out)
{
    out.clear();
    char const* data = nullptr;
    std::size_t size = 0;
    if (!find_shader_text(id, data, size)) return false;
    out.assign(data, size);
    return true;
}

} // namespace Tolmar
