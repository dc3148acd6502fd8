#include "cli/png_image.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <unistd.h>

namespace tolmar_cli {

RgbaImage::RgbaImage(int w, int h, unsigned char r, unsigned char g, unsigned char b, unsigned char a)
    : width(w), height(h), rgba(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4)
{
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        rgba[i] = r;
        rgba[i + 1] = g;
        rgba[i + 2] = b;
        rgba[i + 3] = a;
    }
}

RgbaImage RgbaImage::scaled(int factor) const
{
    if (factor <= 1) return *this;
    RgbaImage out(width * factor, height * factor, 0, 0, 0, 0);
    for (int y = 0; y < out.height; ++y)
        for (int x = 0; x < out.width; ++x)
            std::memcpy(out.at(x, y), rgba.data() + (static_cast<std::size_t>(y / factor) * width + x / factor) * 4, 4);
    return out;
}

namespace {

// Runs write(file) on a temporary file beside path, then renames it over path.
bool write_replacing(std::string const& path, std::string& error, std::function<bool(std::FILE*)> const& write)
{
    std::string const temp = path + ".tmp" + std::to_string(::getpid());
    std::FILE* f = std::fopen(temp.c_str(), "wb");
    if (!f) {
        error = std::string("cannot create a file there (") + std::strerror(errno) + ")";
        return false;
    }
    bool ok = write(f);
    ok = std::fflush(f) == 0 && ok;
    ok = ::fsync(fileno(f)) == 0 && ok;
    ok = std::fclose(f) == 0 && ok;
    if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
        error = std::string("cannot rename the temporary file into place (") + std::strerror(errno) + ")";
        std::remove(temp.c_str());
        return false;
    }
    if (!ok) {
        if (error.empty()) error = std::string("cannot write (") + std::strerror(errno) + ")";
        std::remove(temp.c_str());
    }
    return ok;
}

} // namespace

bool write_png(std::string const& path, RgbaImage const& image, std::string& error)
{
    return write_replacing(path, error, [&](std::FILE* f) {
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
        png_infop info = png ? png_create_info_struct(png) : nullptr;
        if (!info) {
            png_destroy_write_struct(&png, nullptr);
            error = "out of memory";
            return false;
        }
        if (setjmp(png_jmpbuf(png))) {
            png_destroy_write_struct(&png, &info);
            error = "libpng cannot write the image";
            return false;
        }
        png_init_io(png, f);
        png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
                     PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        for (int y = 0; y < image.height; ++y)
            png_write_row(png, image.rgba.data() + static_cast<std::size_t>(y) * image.width * 4);
        png_write_end(png, nullptr);
        png_destroy_write_struct(&png, &info);
        return true;
    });
}

bool write_file(std::string const& path, void const* data, std::size_t size, std::string& error)
{
    return write_replacing(path, error, [&](std::FILE* f) { return std::fwrite(data, 1, size, f) == size; });
}

} // namespace tolmar_cli
