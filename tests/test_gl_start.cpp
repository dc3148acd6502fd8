// GL start-up on a headless context: GLEW, version parsing, the error check,
// the stored shader texts, program builds with their log lines, and drawing
// into the offscreen framebuffer.

#include <gtest/gtest.h>

#include <GL/glew.h>

#include <cstdio>
#include <memory>
#include <string>

#include "debug_capture.h"
#include "graphics/GLSLProgram.h"
#include "graphics/gl_start.h"
#include "graphics/headless_gl.h"

namespace {

using Tolmar::GLSLProgram;
using Tolmar::platform::HeadlessGL;
using tolmar_test::DebugCapture;

char const* const kVertex = "void main() { gl_Position = gl_Vertex; }\n";
char const* const kFragment = "uniform vec4 color;\nvoid main() { gl_FragColor = color; }\n";
std::string const kBothCompiled = "Vertex shader compilation successful\nFragment shader compilation successful\n";

GLint attached_shaders(GLuint program)
{
    GLint n = -1;
    glGetProgramiv(program, GL_ATTACHED_SHADERS, &n);
    return n;
}

TEST(GlVersion, LeadingMajorAndMinorDecide)
{
    struct Row {
        char const* text;
        int major, minor;
        bool atLeast;
    };
    for (Row const& r : {Row{"1.4.0 Vendor text", 1, 4, true}, Row{"1.1", 1, 4, false}, Row{"2.1", 3, 0, false},
                         Row{"2.1", 1, 9, true}, Row{"4.10 Compat", 4, 9, true}, Row{"3 (no minor)", 3, 1, false},
                         Row{nullptr, 0, 0, false}})
        EXPECT_EQ(Tolmar::gl_version_string_at_least(r.text, r.major, r.minor), r.atLeast) << (r.text ? r.text : "null");
}

// A fresh process, so that no earlier test has loaded GLEW.
TEST(GlewInitDeathTest, FailsWithoutContextThenLoadsOnce)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            DebugCapture cap;
            bool const withoutContext = Tolmar::glew_init();
            std::string const failed = cap.text();
            std::string error;
            auto gl = HeadlessGL::create(4, 4, error);
            bool const again = Tolmar::glew_init();
            bool const ok = !withoutContext && gl && again &&
                            cap.text() == "\nglew_init()\nglewInit failed: Missing GL version\n\nglew_init()\n";
            std::fprintf(stderr, "%s [%s] %s\n", ok ? "glew ok" : "glew wrong", cap.text().c_str(), error.c_str());
            _exit(0); // no leak check at exit: the driver is still loaded
        },
        ::testing::ExitedWithCode(0), "glew ok");
}

class GL : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        gl = HeadlessGL::create(8, 6, error);
        ASSERT_TRUE(gl) << error;
    }
    std::unique_ptr<HeadlessGL> gl;
};

TEST_F(GL, ContextVersionAndErrorQueue)
{
    EXPECT_TRUE(Tolmar::gl_version_at_least(4, 5)) << gl->renderer_string();
    std::string error;
    EXPECT_FALSE(HeadlessGL::create(0, 4, error));
    EXPECT_EQ(error, "GL: framebuffer size 0x4 is not positive");

    glEnable(0xFFFF);
    DebugCapture cap;
    Tolmar::check_gl_error("graphics\\seismic_3d_renderer.cpp", 42);
    Tolmar::check_gl_error("graphics\\seismic_3d_renderer.cpp", 43); // drained: nothing more
    EXPECT_EQ(cap.text(), "glError: 'invalid enumerant' caught at graphics\\seismic_3d_renderer.cpp:42\n");
    EXPECT_EQ(Tolmar::gl_error_text(0x0507), "GL error 0x0507"); // unknown to GLU
}

TEST_F(GL, SuccessfulBuildsLogInOrder)
{
    GLSLProgram p;
    p.geometry_shader = 77;
    glEnable(0xFFFF); // pending, for the build to report last
    DebugCapture cap;
    ASSERT_TRUE(p.compile_and_link(kVertex, kFragment, "", ""));
    EXPECT_EQ(cap.text(),
              kBothCompiled + "Link successful\nUniform variables:\ncolor\nOpenGL error: invalid enumerant");
    EXPECT_EQ(p.geometry_shader, 77u);
    EXPECT_EQ(attached_shaders(p.program), 2);
}

TEST_F(GL, FailedBuildsLogTheInfoLogAndKeepTheProgram)
{
    GLSLProgram p;
    DebugCapture cap;
    EXPECT_FALSE(p.compile_and_link("", kFragment, "", ""));
    EXPECT_EQ(cap.text(), "");
    EXPECT_FALSE(p.compile_and_link(kVertex, "void main() { gl_FragColor = nonsense; }\n", "", ""));
    std::string const compileHead =
        "Vertex shader compilation successful\nError compiling fragment shader\ninfo log:\n";
    EXPECT_EQ(cap.text().substr(0, compileHead.size()), compileHead);
    EXPECT_NE(cap.text().find("nonsense"), std::string::npos) << cap.text();
    EXPECT_NE(p.fragment_shader, 0u);
    EXPECT_EQ(p.program, 0u);

    ASSERT_TRUE(p.compile_and_link(kVertex, kFragment, "", ""));
    unsigned const built = p.program;
    std::size_t const before = cap.text().size();
    char const* const unresolved = "vec4 missing();\nvoid main() { gl_FragColor = missing(); }\n";
    EXPECT_FALSE(p.compile_and_link(kVertex, unresolved, "", ""));
    std::string const linkHead = kBothCompiled + "Error linking program\ninfo log:\n";
    EXPECT_EQ(cap.text().substr(before, linkHead.size()), linkHead) << cap.text();
    EXPECT_EQ(p.program, built);
}

TEST_F(GL, StoredTextsWithAndWithoutGeometry)
{
    DebugCapture cap;
    GLSLProgram lines;
    ASSERT_TRUE(lines.load_from_resources(221, 220, 222, "")) << cap.text();
    EXPECT_EQ(attached_shaders(lines.program), 3);

    // Every stored text builds: ShaderPrograms. One past them is refused.
    std::size_t const before = cap.text().size();
    EXPECT_FALSE(GLSLProgram{}.load_from_resources(9999, 211, 0, ""));
    EXPECT_EQ(cap.text().size(), before);
    std::string text = "stale";
    EXPECT_FALSE(Tolmar::load_shader_text(209, text));
    EXPECT_TRUE(text.empty());
}

TEST_F(GL, DrawsTopRowFirstAndOutlivesASecondContext)
{
    DebugCapture quiet;
    GLSLProgram p;
    // Without the macro text in front, SCALE is undefined and nothing compiles.
    char const* const scaled = "uniform vec4 color;\nvoid main() { gl_FragColor = color * SCALE; }\n";
    ASSERT_TRUE(p.compile_and_link(kVertex, scaled, "", "#define SCALE vec4(1.0, 0.0, 1.0, 1.0)\n"));
    std::string error;
    auto other = HeadlessGL::create(2, 2, error);
    ASSERT_TRUE(other) << error;
    other.reset(); // the display they share stays

    ASSERT_TRUE(gl->resize(2, 2, error)) << error;
    gl->bind();
    glClearColor(0.0f, 0.0f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glUseProgram(p.program);
    glUniform4f(glGetUniformLocation(p.program, "color"), 1.0f, 0.5f, 0.0f, 1.0f);
    glRectf(-1.0f, 0.0f, 1.0f, 1.0f); // the upper half
    glUseProgram(0);
    EXPECT_EQ(gl->read_pixels(), (std::vector<unsigned char>{255, 0, 0, 255, 255, 0, 0, 255, //
                                                             0, 0, 255, 255, 0, 0, 255, 255}));
}

} // namespace
