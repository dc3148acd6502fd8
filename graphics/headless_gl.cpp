#include "graphics/headless_gl.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>
#include <cstring>

#include "graphics/gl_start.h"

namespace Tolmar::platform {

namespace {

std::string egl_error()
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%04x", static_cast<unsigned>(eglGetError()));
    return text;
}

bool size_ok(int width, int height, std::string& error)
{
    if (width > 0 && height > 0) return true;
    error = "GL: framebuffer size " + std::to_string(width) + "x" + std::to_string(height) + " is not positive";
    return false;
}

} // namespace

std::unique_ptr<HeadlessGL> HeadlessGL::create(int width, int height, std::string& error)
{
    if (!size_ok(width, height, error)) return nullptr;
    std::unique_ptr<HeadlessGL> gl(new HeadlessGL);
    // Only the client extensions are known before a display exists; the
    // display-level query would fail with EGL_BAD_DISPLAY.
    char const* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    auto const getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (!clientExtensions || !std::strstr(clientExtensions, "EGL_MESA_platform_surfaceless") || !getPlatformDisplay) {
        error = "EGL: Mesa's surfaceless platform is not available (is libegl-mesa0 installed?)";
        return nullptr;
    }
    EGLDisplay const display = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display == EGL_NO_DISPLAY) {
        error = "EGL: no surfaceless display (" + egl_error() + ")";
        return nullptr;
    }
    // The display is one per process, whoever asks for it, and stays
    // initialised until the process ends: eglTerminate would end it for every
    // context on it, and each new start loads the driver again (and leaks a
    // little of it).
    if (!eglInitialize(display, nullptr, nullptr)) {
        error = "EGL: cannot initialise the surfaceless display (" + egl_error() + ")";
        return nullptr;
    }
    gl->display_ = display;

    // Surface type 0: the context draws into framebuffer objects only.
    EGLint const configAttribs[] = {EGL_SURFACE_TYPE, 0, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint configs = 0;
    if (!eglBindAPI(EGL_OPENGL_API) || !eglChooseConfig(display, configAttribs, &config, 1, &configs) ||
        configs < 1) {
        error = "EGL: no configuration for desktop OpenGL (" + egl_error() + ")";
        return nullptr;
    }
    EGLint const contextAttribs[] = {EGL_CONTEXT_MAJOR_VERSION,
                                     4,
                                     EGL_CONTEXT_MINOR_VERSION,
                                     5,
                                     EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                     EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
                                     EGL_NONE};
    gl->context_ = eglCreateContext(display, config, EGL_NO_CONTEXT, contextAttribs);
    // A driver held to an older version (MESA_GL_VERSION_OVERRIDE=1.1, as a
    // GL 1.1 software renderer) gives whatever context it has.
    if (gl->context_ == EGL_NO_CONTEXT) gl->context_ = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (gl->context_ == EGL_NO_CONTEXT) {
        gl->context_ = nullptr;
        error = "EGL: cannot create an OpenGL 4.5 compatibility context (" + egl_error() + ")";
        return nullptr;
    }
    if (!eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, gl->context_)) {
        error = "EGL: cannot make the context current without a surface (" + egl_error() + ")";
        return nullptr;
    }
    if (!glew_init()) {
        error = "GLEW could not load the OpenGL entry points";
        return nullptr;
    }
    if (!gl->resize(width, height, error)) return nullptr;
    return gl;
}

HeadlessGL::~HeadlessGL()
{
    // Destroying the context frees its framebuffer and renderbuffers with it.
    if (context_) {
        if (eglGetCurrentContext() == context_)
            eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(display_, context_);
    }
}

bool HeadlessGL::resize(int width, int height, std::string& error)
{
    if (!size_ok(width, height, error)) return false;
    make_current();
    if (framebuffer_ == 0) {
        glGenFramebuffers(1, &framebuffer_);
        glGenRenderbuffers(1, &color_);
        glGenRenderbuffers(1, &depth_);
    }
    // Errors left by earlier drawing would be taken for the storage's.
    while (glGetError() != GL_NO_ERROR) {
    }
    glBindRenderbuffer(GL_RENDERBUFFER, color_);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, depth_);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, color_);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth_);
    GLenum const glError = glGetError();
    GLenum const status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (glError != GL_NO_ERROR || status != GL_FRAMEBUFFER_COMPLETE) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%04x", glError != GL_NO_ERROR ? glError : status);
        error = "GL: cannot make a " + std::to_string(width) + "x" + std::to_string(height) + " framebuffer (" +
                (glError != GL_NO_ERROR ? gl_error_text(glError) : std::string("incomplete")) + ", " + code + ")";
        return false;
    }
    width_ = width;
    height_ = height;
    glViewport(0, 0, width_, height_);
    return true;
}

void HeadlessGL::make_current() const
{
    if (eglGetCurrentContext() != context_) eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_);
}

void HeadlessGL::bind()
{
    make_current();
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glViewport(0, 0, width_, height_);
}

std::vector<unsigned char> HeadlessGL::read_pixels()
{
    make_current();
    auto const rowBytes = static_cast<std::size_t>(width_) * 4;
    std::vector<unsigned char> bottomUp(rowBytes * static_cast<std::size_t>(height_));
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer_);
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    // A renderer may have left a pack buffer bound, which would turn the
    // pointer into an offset into it. GL 1.1 has no buffers at all.
    if (glBindBuffer) glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE, bottomUp.data());
    // GL's row 0 is the bottom one; images and tests count from the top.
    std::vector<unsigned char> pixels(bottomUp.size());
    for (int y = 0; y < height_; ++y)
        std::memcpy(&pixels[static_cast<std::size_t>(y) * rowBytes],
                    &bottomUp[static_cast<std::size_t>(height_ - 1 - y) * rowBytes], rowBytes);
    return pixels;
}

std::string HeadlessGL::renderer_string() const
{
    make_current();
    auto text = [](GLenum name) {
        auto const* s = reinterpret_cast<char const*>(glGetString(name));
        return std::string(s ? s : "?");
    };
    return text(GL_RENDERER) + ", " + text(GL_VERSION);
}

} // namespace Tolmar::platform
