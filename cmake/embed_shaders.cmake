# Writes OUTPUT, a C++ source defining Tolmar::find_shader_text over the files
# in SHADERS (paths named <id>_<role>.<stage>, separated by |). Run with cmake -P.
string(REPLACE "|" ";" SHADERS "${SHADERS}")
set(arrays "")
set(entries "")
foreach(path IN LISTS SHADERS)
  get_filename_component(name ${path} NAME)
  string(REGEX MATCH "^[0-9]+" id ${name})
  file(READ ${path} hex HEX)
  string(LENGTH "${hex}" hexLength)
  math(EXPR size "${hexLength} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
  string(APPEND arrays "// ${name}\nconstexpr char text${id}[] = {${bytes}};\n")
  string(APPEND entries "    {${id}u, text${id}, ${size}u},\n")
endforeach()
file(WRITE ${OUTPUT}.tmp "// Generated from shaders/ by cmake/embed_shaders.cmake; edit the shader files instead.
#include \"graphics/shader_texts.h\"

namespace Tolmar {
namespace {
${arrays}
struct Entry {
    unsigned id;
    char const* data;
    std::size_t size;
};
constexpr Entry kTexts[] = {
${entries}};
} // namespace

bool find_shader_text(unsigned id, char const*& data, std::size_t& size)
{
    for (Entry const& e : kTexts)
        if (e.id == id) {
            data = e.data;
            size = e.size;
            return true;
        }
    return false;
}

} // namespace Tolmar
")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
file(REMOVE ${OUTPUT}.tmp)
