#include "graphics/tga_image.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "platform/text_encoding.h"

namespace Tolmar {

bool WriteTGAImage(std::wstring path, short width, short height, std::vector<vec<unsigned char, 4>> const& pixels)
{
    if (width < 1 || height < 1 ||
        pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height))
        return false;
    unsigned char header[18] = {};
    header[2] = 2; // uncompressed true colour
    header[12] = static_cast<unsigned char>(width & 0xff);
    header[13] = static_cast<unsigned char>((width >> 8) & 0xff);
    header[14] = static_cast<unsigned char>(height & 0xff);
    header[15] = static_cast<unsigned char>((height >> 8) & 0xff);
    header[16] = 32;
    std::vector<unsigned char> body(pixels.size() * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        body[i * 4 + 0] = pixels[i][2];
        body[i * 4 + 1] = pixels[i][1];
        body[i * 4 + 2] = pixels[i][0];
        body[i * 4 + 3] = pixels[i][3];
    }
    std::string const target = platform::to_utf8(path);
    std::string const temp = target + ".tmp" + std::to_string(::getpid());
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<char const*>(header), sizeof header);
        out.write(reinterpret_cast<char const*>(body.data()), static_cast<std::streamsize>(body.size()));
        if (!out.flush()) {
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), target.c_str()) != 0) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

} // namespace Tolmar
