#include "tool_run.h"

#include <gtest/gtest.h>

#include <png.h>

#include <cstdio>
#include <cstring>
#include <sys/wait.h>

#include "segy_test_util.h"

namespace tolmar_test {

ToolRun tolmar(std::string const& args)
{
    static ScratchDir errDir;
    std::string const errFile = errDir.path("stderr");
    ToolRun r;
    std::FILE* p = ::popen((std::string(TOLMAR_TOOL) + " " + args + " 2>" + errFile).c_str(), "r");
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) r.out.append(buf, n);
    int const w = ::pclose(p);
    r.status = WIFEXITED(w) ? WEXITSTATUS(w) : -1;
    std::vector<char> const err = readFile(errFile);
    r.err.assign(err.begin(), err.end());
    return r;
}

CPLJSONObject json_of(ToolRun const& r)
{
    EXPECT_EQ(r.status, 0) << r.err;
    CPLJSONDocument doc;
    EXPECT_TRUE(doc.LoadMemory(r.out)) << r.out;
    return doc.GetRoot();
}

std::vector<double> numbers(CPLJSONObject const& o, char const* key)
{
    std::vector<double> v;
    CPLJSONArray const a = o.GetArray(key);
    for (int i = 0; i < a.Size(); ++i) v.push_back(a[i].ToDouble());
    return v;
}

std::vector<float> read_floats(std::string const& path)
{
    std::vector<char> const bytes = readFile(path);
    std::vector<float> v(bytes.size() / 4);
    std::memcpy(v.data(), bytes.data(), v.size() * 4);
    return v;
}

Png read_png(std::string const& path)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    Png out;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return out;
    image.format = PNG_FORMAT_RGBA;
    out.rgba.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, out.rgba.data(), 0, nullptr)) return out;
    out.width = static_cast<int>(image.width);
    out.height = static_cast<int>(image.height);
    return out;
}

} // namespace tolmar_test
