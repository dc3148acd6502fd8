// Writes the small seeds of the index and brick targets: the index of a
// survey with a 16-bin histogram in place of 65536 (whose half megabyte
// would be cut by the fuzzer's input limit), and brick cubes of a few small
// bricks in three element types, some bricks undefined; and a saved
// document's values in both forms the variant-stream target takes; and 2D
// lines whose shot points repeat, jump and fall, for the line reader.
//   make_seeds INDEX_IN INDEX_OUT BRICKS_DIR VARIANT_DIR LINES_DIR

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/CompressedIndex.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "host/FileVariantStream.h"
#include "segy/SEGYwriter.h"

namespace {

bool write_cube(std::string const& path, Tolmar::Info3DGrid::eDataType type)
{
    using namespace Tolmar;
    SEGYCubeInfo info;
    info.name = "seed";
    info.inlineRange = vec<int, 3>{{100, 105, 1}};
    info.crosslineRange = vec<int, 3>{{200, 208, 2}};
    info.zStart = 0;
    info.zStop = 76;
    info.zStep = 4;
    info.xInl = 12.5;
    info.yCrl = 25;
    vec<unsigned, 3> const total{{20, 5, 6}};
    auto w = open_grid3d_low_level_writer();
    if (!w->create(path, total, type, 8, 1, -100, 100, NAN, info)) return false;
    std::vector<Brick> bricks;
    unsigned const count = static_cast<unsigned>(w->grid().bricks_in_level(0));
    for (unsigned id = 0; id < count; ++id) {
        if (id == 1) continue; // an undefined brick
        Brick b;
        b.level = 0;
        b.id = id;
        w->fill_brick_data_with_undef_values(b);
        std::size_t const bytes = Info3DGrid::bytes_for(type, 1);
        for (std::size_t i = 0; i + bytes <= b.data.size(); i += bytes) {
            std::int8_t const v = static_cast<std::int8_t>((i / bytes * 7 + id) % 50);
            if (type == Info3DGrid::FLOAT) {
                float const f = v;
                std::memcpy(b.data.data() + i, &f, sizeof f);
            } else {
                b.data[i] = static_cast<char>(v);
            }
        }
        bricks.push_back(std::move(b));
    }
    w->add_bricks(bricks);
    w->set_histogram(std::vector<unsigned long long>(16, 5));
    return w->finish();
}

// A document of every kind of value, whole (first byte even) and as the
// values alone (first byte odd: the target adds header and checksum).
bool write_documents(std::string const& dir)
{
    std::string const path = dir + "/whole";
    auto out = Tolmar::host::FileVariantStream::create(path);
    if (!out) return false;
    out->write(std::int32_t{2});
    out->write(3.25);
    out->write(true);
    out->write(std::wstring(L"slice"));
    out->write(std::monostate{});
    if (!out->commit()) return false;
    std::FILE* in = std::fopen(path.c_str(), "rb");
    if (!in) return false;
    std::vector<unsigned char> bytes(1 << 16);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), in));
    std::fclose(in);
    std::remove(path.c_str());
    auto save = [&dir](char const* name, unsigned char first, unsigned char const* from, unsigned char const* to) {
        std::FILE* f = std::fopen((dir + "/" + name).c_str(), "wb");
        if (!f) return false;
        std::fputc(first, f);
        std::fwrite(from, 1, static_cast<std::size_t>(to - from), f);
        return std::fclose(f) == 0;
    };
    return save("whole", 0, bytes.data(), bytes.data() + bytes.size()) &&
           save("values", 1, bytes.data() + 8, bytes.data() + bytes.size() - 4);
}

// Small lines in four sample formats and both byte orders.
bool write_lines(std::string const& dir)
{
    using Tolmar::SEGYreader;
    struct Seed {
        char const* name;
        int format;
        bool ibm, little;
        std::vector<int> sps;
    };
    Seed const seeds[] = {{"ibm_repeats.sgy", 1, true, false, {1, 2, 2, 3, 3, 3, 4, 8, 9}},
                          {"ieee_falling.sgy", 5, false, true, {50, 49, 49, 45, 44, 40}},
                          {"int16_jump.sgy", 3, false, false, {100000, 100001, 100005}},
                          {"int8_step.sgy", 8, false, true, {10, 11, 12, 13, 18, 19, 20}}};
    for (Seed const& seed : seeds) {
        Tolmar::SEGYwriter w;
        w.setFormat(seed.format);
        w.setIbmFloat(seed.ibm);
        w.setLittleEndian(seed.little);
        w.setSampleCount(8);
        if (!w.open(dir + "/" + seed.name)) return false;
        std::vector<float> samples(8);
        for (std::size_t t = 0; t < seed.sps.size(); ++t) {
            for (std::size_t k = 0; k < samples.size(); ++k) samples[k] = static_cast<float>((t * 5 + k * 3) % 11) - 5.0f;
            double const sp = seed.sps[t];
            if (!w.writeTrace({{17, SEGYreader::Integer32, sp},
                               {71, SEGYreader::Integer16, -10},
                               {181, SEGYreader::Integer32, 4000000.0 + 250.0 * sp},
                               {185, SEGYreader::Integer32, 60000000.0 - 100.0 * sp},
                               {109, SEGYreader::Integer16, t == 2 ? 8.0 : 0.0}},
                              samples))
                return false;
        }
        if (!w.close()) return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::fprintf(stderr, "usage: make_seeds INDEX_IN INDEX_OUT BRICKS_DIR VARIANT_DIR LINES_DIR\n");
        return 2;
    }
    Tolmar::CompressedIndex index;
    if (!index.read(argv[1])) return 1;
    index.set_histogram(std::vector<unsigned long long>(16, 3));
    if (!index.write(argv[2])) return 1;
    std::string const dir = argv[3];
    using T = Tolmar::Info3DGrid;
    return write_documents(argv[4]) && write_lines(argv[5]) && write_cube(dir + "/int8.tmf", T::INT8) && write_cube(dir + "/int16.tmf", T::INT16) &&
                   write_cube(dir + "/float.tmf", T::FLOAT)
               ? 0
               : 1;
}
