#pragma once
// What every drawing class needs before its first GL call: the extension
// loader, the version check, the error check that follows each GL step, and
// the stored shader texts. All of it assumes that the caller has made a GL
// context current on its thread.

#include "platform/api.h"

#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

// Loads the GL entry points through GLEW once per process; true when they
// are available. A failure is logged and the next call tries again.
bool glew_init();

// Whether the current context's GL_VERSION is at least major.minor; false
// without a context.
bool gl_version_at_least(unsigned major, unsigned minor);
// The same test on a version string ("4.5 (Compatibility Profile) Mesa ..."):
// leading digits are the major number, digits after a '.' the minor (0 when
// absent); anything further is ignored. A null string is false.
bool gl_version_string_at_least(char const* version, unsigned major, unsigned minor);

// Logs every code in the GL error queue with the place given, until the
// queue is empty. Only reports: drawing goes on.
void check_gl_error(char const* file, unsigned line);

// The text gluErrorString gives for a GL error code, or the code in hex for
// one it does not know.
std::string gl_error_text(unsigned code);

// Checks at the calling line. Callers pass their module path in the form the
// messages use, e.g. "graphics\\seismic_3d_renderer.cpp".
#define CHECK_GL_ERROR(path) ::Tolmar::check_gl_error((path), static_cast<unsigned>(__LINE__))

// The stored shader text with this id, by its exact length. False, with
// `out` empty, when there is none.
bool load_shader_text(unsigned id, std::string& out);

} // namespace Tolmar

TOLMAR_PUBLIC_END
