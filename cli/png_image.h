#pragma once
// RGBA images and their PNG files.

#include <string>
#include <vector>

namespace tolmar_cli {

struct RgbaImage {
    int width = 0, height = 0;
    std::vector<unsigned char> rgba; // rows top to bottom, 4 bytes a pixel

    RgbaImage() = default;
    RgbaImage(int w, int h, unsigned char r, unsigned char g, unsigned char b, unsigned char a = 255);
    unsigned char* at(int x, int y) { return rgba.data() + (static_cast<std::size_t>(y) * width + x) * 4; }
    // Each pixel becomes a factor x factor block.
    RgbaImage scaled(int factor) const;
};

// Writes under a temporary name beside path and renames it into place, so a
// failed write leaves an existing file as it was. False with error set.
bool write_png(std::string const& path, RgbaImage const& image, std::string& error);

// Writes bytes the same way.
bool write_file(std::string const& path, void const* data, std::size_t size, std::string& error);

} // namespace tolmar_cli
