#pragma once
// A shader program built from GLSL texts, with the compile and link messages
// in the debug log. Plain GL names: nothing is deleted on destruction, and
// rebuilding a program overwrites the names without deleting the old
// objects; an owner that goes before its context calls release().

#include "platform/api.h"

#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct GLSLProgram {
    // GL object names (GLuint). `program` is 0 until a link succeeds; a failed
    // build leaves it as it was, so its owner keeps drawing with the old one
    // or, with 0, with the fixed-function pipeline.
    unsigned int vertex_shader = 0;
    unsigned int fragment_shader = 0;
    unsigned int geometry_shader = 0; // written only when a geometry text is given
    unsigned int program = 0;

    // Compiles each stage with `macros` put in front of its text, and links.
    // An empty geometry text means no geometry stage; an empty vertex or
    // fragment text fails. Failures are logged with the driver's info log.
    bool compile_and_link(std::string const& vertex, std::string const& fragment, std::string const& geometry,
                          std::string const& macros);

    // The same with the stored texts of these ids; a geometry id of 0 means no
    // geometry stage. An id without a text counts as an empty text.
    bool load_from_resources(unsigned vertex_id, unsigned fragment_id, unsigned geometry_id,
                             std::string const& macros);

    // Writes the names of the program's active uniforms to the debug stream.
    void list_uniforms();

    // Deletes the program and its shaders, with the context they were made
    // in current; the names go back to 0.
    void release();
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
