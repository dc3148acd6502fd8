#include "graphics/GLSLProgram.h"

#include <GL/glew.h>

#include <string_view>
#include <type_traits>
#include <vector>

#include "foundation/log.h"
#include "graphics/gl_start.h"
#include "platform/debug_stream.h"

namespace Tolmar {

static_assert(std::is_same_v<GLuint, unsigned int>, "GLSLProgram keeps GL names as unsigned int");

namespace {

// A log length of 1 is a lone terminator: no text.
constexpr GLint kMinInfoLog = 2;

void write_info_log(std::string_view log)
{
    std::string text = "info log:\n";
    text.append(log);
    text.push_back('\n');
    platform::debug_write(text);
}

struct Stage {
    GLenum type;
    char const* failed;
    char const* compiled;
};

constexpr Stage kVertex{GL_VERTEX_SHADER, "Error compiling vertex shader\n", "Vertex shader compilation successful\n"};
constexpr Stage kFragment{GL_FRAGMENT_SHADER, "Error compiling fragment shader\n",
                          "Fragment shader compilation successful\n"};
constexpr Stage kGeometry{GL_GEOMETRY_SHADER, "Error compiling geometry shader\n",
                          "Geometry shader compilation successful\n"};

// Creates, stores and compiles one stage with the macros in front of its text.
bool compile(Stage const& stage, std::string const& macros, std::string const& text, unsigned int& name)
{
    name = glCreateShader(stage.type);
    // Two null-terminated sources, so the macros need no copy of the text.
    char const* sources[2] = {macros.c_str(), text.c_str()};
    glShaderSource(name, 2, sources, nullptr);
    glCompileShader(name);
    GLint status = GL_FALSE;
    GLint logLength = 0;
    glGetShaderiv(name, GL_COMPILE_STATUS, &status);
    glGetShaderiv(name, GL_INFO_LOG_LENGTH, &logLength);

    std::string log;
    if (logLength >= kMinInfoLog) {
        log.resize(static_cast<std::size_t>(logLength));
        GLsizei written = 0;
        glGetShaderInfoLog(name, logLength, &written, log.data());
        log.resize(static_cast<std::size_t>(written));
    }
    if (status != GL_TRUE) {
        Util::logf("%s", stage.failed);
        if (logLength >= kMinInfoLog)
            write_info_log(log);
        else
            Util::logf("%s", stage.failed);
        return false;
    }
    Util::logf("%s", stage.compiled);
    if (logLength >= kMinInfoLog) write_info_log(log);
    return true;
}

} // namespace

bool GLSLProgram::compile_and_link(std::string const& vertex, std::string const& fragment,
                                   std::string const& geometry, std::string const& macros)
{
    glew_init();
    if (vertex.empty()) return false;
    if (!compile(kVertex, macros, vertex, vertex_shader)) return false;
    if (fragment.empty()) return false;
    if (!compile(kFragment, macros, fragment, fragment_shader)) return false;
    bool const hasGeometry = !geometry.empty();
    if (hasGeometry && !compile(kGeometry, macros, geometry, geometry_shader)) return false;

    GLuint const linked = glCreateProgram();
    if (linked == 0) return false;
    glAttachShader(linked, vertex_shader);
    glAttachShader(linked, fragment_shader);
    // The geometry texts declare their primitive types and vertex count with
    // layout qualifiers, so no program parameters are set here.
    if (hasGeometry) glAttachShader(linked, geometry_shader);
    glLinkProgram(linked);
    GLint status = GL_FALSE;
    GLint logLength = 0;
    glGetProgramiv(linked, GL_LINK_STATUS, &status);
    glGetProgramiv(linked, GL_INFO_LOG_LENGTH, &logLength);

    std::string log;
    if (logLength >= kMinInfoLog) {
        log.resize(static_cast<std::size_t>(logLength));
        GLsizei written = 0;
        glGetProgramInfoLog(linked, logLength, &written, log.data());
        log.resize(static_cast<std::size_t>(written));
    }
    if (status != GL_TRUE) {
        Util::logf("Error linking program\n");
        if (logLength >= kMinInfoLog) write_info_log(log);
        // Only a linked program is ever stored; the failed one would be of no use.
        glDeleteProgram(linked);
        return false;
    }
    program = linked;
    Util::logf("Link successful\n");
    if (logLength >= kMinInfoLog) write_info_log(log);
    list_uniforms();
    for (GLenum code = glGetError(); code != GL_NO_ERROR; code = glGetError())
        Util::logf("OpenGL error: %s", gl_error_text(code).c_str());
    return true;
}

void GLSLProgram::release()
{
    if (program != 0) glDeleteProgram(program);
    for (unsigned* shader : {&vertex_shader, &fragment_shader, &geometry_shader})
        if (*shader != 0) glDeleteShader(*shader);
    program = vertex_shader = fragment_shader = geometry_shader = 0;
}

bool GLSLProgram::load_from_resources(unsigned vertex_id, unsigned fragment_id, unsigned geometry_id,
                                      std::string const& macros)
{
    // A missing text leaves its string empty, and compile_and_link rejects an
    // empty vertex or fragment text; the load results need no test of their own.
    std::string vertex, fragment, geometry;
    load_shader_text(vertex_id, vertex);
    load_shader_text(fragment_id, fragment);
    if (geometry_id != 0) load_shader_text(geometry_id, geometry);
    return compile_and_link(vertex, fragment, geometry, macros);
}

void GLSLProgram::list_uniforms()
{
    GLint count = 0;
    glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
    platform::debug_write("Uniform variables:\n");
    for (GLint i = 0; i < count; ++i) {
        char name[256];
        GLsizei length = 0;
        GLint size = 0;
        GLenum type = 0;
        glGetActiveUniform(program, static_cast<GLuint>(i), sizeof name, &length, &size, &type, name);
        std::string line(name, static_cast<std::size_t>(length));
        line.push_back('\n');
        platform::debug_write(line);
    }
}

} // namespace Tolmar
