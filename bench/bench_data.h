#pragma once
// The benchmarks' shared start: their data files are large, so each is
// written once, on first use, and then read from the page cache.

#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

namespace tolmar_bench {

// True, with value set, when arg is "--name=value".
inline bool take_flag(char const* arg, char const* name, std::string& value)
{
    std::size_t const n = std::strlen(name);
    if (std::strncmp(arg, name, n) != 0 || arg[n] != '=') return false;
    value = arg + n + 1;
    return true;
}

// Runs the benchmarks with the arguments left for them.
inline void run_benchmarks(std::vector<char*> args)
{
    int n = static_cast<int>(args.size());
    benchmark::Initialize(&n, args.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

// Writes the data file with `make` when it is missing, then runs the
// benchmarks with the arguments left over after the tool's own flags.
inline int run_with_data(char const* tool, std::string const& path, std::function<bool(std::string const&)> const& make,
                         std::vector<char*> args)
{
    if (!std::filesystem::exists(path)) {
        std::cerr << tool << ": writing " << path << "\n";
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        if (!make(path)) {
            std::cerr << tool << ": cannot write " << path << "\n";
            return 1;
        }
    }
    run_benchmarks(std::move(args));
    return 0;
}

// The survey files bench/compare_segyio writes, named by --segy, --index and
// --cube; the other arguments go to `rest`. False, with the usage on
// standard error, when one is missing.
struct SurveyFiles {
    std::string segy, index, cube;
};
inline bool take_survey_files(char const* tool, int argc, char** argv, SurveyFiles& f, std::vector<char*>& rest)
{
    for (int i = 0; i < argc; ++i) {
        if (!take_flag(argv[i], "--segy", f.segy) && !take_flag(argv[i], "--index", f.index) &&
            !take_flag(argv[i], "--cube", f.cube))
            rest.push_back(argv[i]);
    }
    if (!f.segy.empty() && !f.index.empty() && !f.cube.empty()) return true;
    std::cerr << "usage: " << tool << " --segy=S.sgy --index=S.idx --cube=S.tmf (bench/compare_segyio writes them)\n";
    return false;
}

} // namespace tolmar_bench
