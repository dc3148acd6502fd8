#pragma once
// An OpenGL context without a window, for tests and the command-line tool:
// EGL on Mesa's surfaceless platform, a 4.5 compatibility context and an
// offscreen framebuffer that drawing goes to and pixels are read from.

#include "platform/api.h"

#include <memory>
#include <string>
#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

class HeadlessGL {
public:
    // A context made current on the calling thread with the framebuffer bound
    // and the viewport covering it, GLEW loaded. Null, with a one-line reason
    // in `error`, when any step fails. Creating or destroying one changes the
    // thread's current context: bind() the one to draw with afterwards.
    static std::unique_ptr<HeadlessGL> create(int width, int height, std::string& error);
    ~HeadlessGL();
    HeadlessGL(HeadlessGL const&) = delete;
    HeadlessGL& operator=(HeadlessGL const&) = delete;

    // New buffer sizes; the content is undefined afterwards. False, with the
    // reason in `error`, for a size the driver refuses.
    bool resize(int width, int height, std::string& error);
    // Makes the context current on the calling thread and binds the
    // framebuffer with a viewport over all of it.
    void bind();
    // RGBA bytes, width * height * 4, row 0 the top row. Leaves the
    // framebuffer bound for reading, pack alignment 1 and no pixel pack buffer.
    std::vector<unsigned char> read_pixels();
    // GL_RENDERER and GL_VERSION, e.g. "llvmpipe (LLVM 15.0.6, 256 bits), 4.5 (Compatibility Profile) Mesa 22.3.6".
    std::string renderer_string() const;

    int width() const { return width_; }
    int height() const { return height_; }

private:
    HeadlessGL() = default;
    void make_current() const;

    void* display_ = nullptr; // EGLDisplay
    void* context_ = nullptr; // EGLContext
    unsigned int framebuffer_ = 0;
    unsigned int color_ = 0;
    unsigned int depth_ = 0;
    int width_ = 0;
    int height_ = 0;
};

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
