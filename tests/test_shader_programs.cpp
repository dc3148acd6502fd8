// Every stored shader program builds on the headless context with the
// macro text or spliced symbol lines its user gives it.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "debug_capture.h"
#include "graphics/GLSLProgram.h"
#include "graphics/gl_start.h"
#include "graphics/headless_gl.h"

namespace {

using Tolmar::GLSLProgram;

// Builds vertex + fragment (+ geometry) from stored texts, with `symbols`
// put in place of the fragment text's symbol marker as materials do.
void expect_links(unsigned vertex, unsigned fragment, unsigned geometry, std::string const& macros,
                  std::string const& symbols = "")
{
    std::string v, f, g;
    ASSERT_TRUE(Tolmar::load_shader_text(vertex, v));
    ASSERT_TRUE(Tolmar::load_shader_text(fragment, f));
    if (geometry) {
        ASSERT_TRUE(Tolmar::load_shader_text(geometry, g));
    }
    std::string const marker = "//insert symbol macros here";
    if (std::size_t const at = f.find(marker); at != std::string::npos) f.replace(at, marker.size(), symbols);
    tolmar_test::DebugCapture cap;
    GLSLProgram p;
    EXPECT_TRUE(p.compile_and_link(v, f, g, macros)) << vertex << "+" << fragment << "+" << geometry << "\n"
                                                     << macros << symbols << "\n" << cap.text();
    EXPECT_NE(p.program, 0u);
    EXPECT_NE(cap.text().find("Link successful\n"), std::string::npos);
}

class ShaderPrograms : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        gl = Tolmar::platform::HeadlessGL::create(4, 4, error);
        ASSERT_TRUE(gl) << error;
    }
    std::unique_ptr<Tolmar::platform::HeadlessGL> gl;
};

TEST_F(ShaderPrograms, RenderersBuildWithoutMacros)
{
    expect_links(210, 211, 0, "");
    expect_links(212, 213, 0, "");
    expect_links(215, 214, 0, "");
    expect_links(216, 217, 0, "");
    expect_links(228, 229, 0, "");
}

TEST_F(ShaderPrograms, MaterialsBuildWithTheirSymbolLines)
{
    expect_links(219, 218, 0, "");
    expect_links(219, 218, 0, "", "SOLID(vec4(1.00000,0.00000,0.00000,0.501961));\n");
    std::string fills = "DOTS(8.00000,12.0000,10.0000,10.0000,0.00000,Texture0);\n";
    for (int unit = 1; unit < 8; ++unit)
        fills += "DOTS(8.00000,8.00000,12.0000,12.0000,30.0000,Texture" + std::to_string(unit) + ");\n";
    fills += "STRIPES(vec4(0.00000,0.00000,1.00000,1.00000), 10.0000,1.60000,1.60000,45.0000, 0xFFFFFFFF, 1.0)\n"
             "color = vec4(0.0, 0.0, 0.0, 1.0);\ncolor = vec4(0.3, 0.6, 0.5, 1.0);\n";
    expect_links(219, 218, 0, "", fills);

    expect_links(221, 220, 222, "");
    expect_links(221, 220, 222, "",
                 "STIPPLE_TEXTURE(4.00000,32.0000,8.00000,Texture0);\n"
                 "SOLID_LINE(vec4(0.00000,0.00000,0.00000,1.00000),1.50000);\n");
    expect_links(224, 223, 0, "", "\n");
    expect_links(224, 223, 0, "");
}

TEST_F(ShaderPrograms, TerrainBuildsInEveryColourModeFlatOrNot)
{
    for (int flat = 0; flat < 2; ++flat)
        for (int mode = 0; mode < 4; ++mode)
            expect_links(226, 225, 227,
                         "#version 430 compatibility\n#define FLAT " + std::to_string(flat) + "\n#define COLORMODE " +
                             std::to_string(mode) + "\n");
}

} // namespace
