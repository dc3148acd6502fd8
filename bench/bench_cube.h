#pragma once
// The 300 x 300 x 1000 float brick cube that the streaming and rendering
// benchmarks read: a smooth dipping field, written brick by brick at level 0.

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "bench_data.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"

namespace tolmar_bench {

using Tolmar::vec;

inline std::string gCube = "/tmp/tolmar_bench/cube_300x300x1000_float.tmf";
constexpr unsigned kNs = 1000, kNc = 300, kNi = 300, kBs = 36, kBorder = 2, kCore = 32;

inline float smooth(int k, int j, int i)
{
    return static_cast<float>(std::sin(0.05 * (k - 0.2 * i - 0.1 * j)) * 1000.0 + std::cos(0.013 * (i + j)) * 50.0);
}

inline bool makeCube(std::string const& path)
{
    Tolmar::SEGYCubeInfo info;
    info.name = "bench";
    info.inlineRange = vec<int, 3>{{1, 300, 1}};
    info.crosslineRange = vec<int, 3>{{1, 300, 1}};
    info.zStart = 0.0;
    info.zStop = 3996.0;
    info.zStep = 4.0;
    auto w = Tolmar::open_grid3d_low_level_writer();
    if (!w->create(path, vec<unsigned, 3>{{kNs, kNc, kNi}}, Tolmar::Info3DGrid::FLOAT, kBs, kBorder, -1100, 1100,
                   std::numeric_limits<float>::max(), info))
        return false;
    auto const counts = w->get_level_counts()[0];
    for (unsigned pz = 0; pz < counts[2]; ++pz) {
        std::vector<Tolmar::Brick> bricks;
        for (unsigned py = 0; py < counts[1]; ++py)
            for (unsigned px = 0; px < counts[0]; ++px) {
                Tolmar::Brick b;
                b.id = w->pos2id(px, py, pz, 0);
                b.data.resize(kBs * kBs * kBs * sizeof(float));
                auto* f = reinterpret_cast<float*>(b.data.data());
                for (unsigned i = 0; i < kBs; ++i)
                    for (unsigned j = 0; j < kBs; ++j)
                        for (unsigned k = 0; k < kBs; ++k) {
                            int const gi = int(pz * kCore + i) - 2, gj = int(py * kCore + j) - 2, gk = int(px * kCore + k) - 2;
                            bool const in = gi >= 0 && gj >= 0 && gk >= 0 && gi < int(kNi) && gj < int(kNc) && gk < int(kNs);
                            f[(i * kBs + j) * kBs + k] = in ? smooth(gk, gj, gi) : std::numeric_limits<float>::max();
                        }
                bricks.push_back(std::move(b));
            }
        w->add_bricks(bricks);
    }
    return w->finish();
}

// The main() of a benchmark program on the cube: --cube=PATH names another
// cube file, which is written first when missing.
inline int cube_main(char const* tool, int argc, char** argv)
{
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        std::string v;
        if (take_flag(argv[i], "--cube", v)) gCube = v;
        else rest.push_back(argv[i]);
    }
    return run_with_data(tool, gCube, makeCube, rest);
}

} // namespace tolmar_bench
