// Bulk sample decoding throughput on one core, from a buffer in cache.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "foundation/byte_order.h"
#include "foundation/ibm_float.h"
#include "foundation/sample_decode.h"

namespace {

// 1 MiB of words: stays in the core's cache, so this is the decoder alone.
constexpr std::size_t kWords = 1 << 10;

std::vector<unsigned char> ibmWords(bool little)
{
    std::vector<unsigned char> bytes(4 * kWords);
    std::mt19937 rng(5);
    std::normal_distribution<float> amp(0.0f, 1000.0f);
    for (std::size_t i = 0; i < kWords; ++i) Tolmar::store_u32(&bytes[4 * i], Tolmar::float_to_ibm(amp(rng)), little);
    return bytes;
}

void BM_IbmBulk(benchmark::State& state)
{
    bool const little = state.range(0) != 0;
    auto const in = ibmWords(little);
    std::vector<float> out(kWords);
    for (auto _ : state) {
        Tolmar::ibm_to_float(in.data(), out.data(), kWords, little);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}
BENCHMARK(BM_IbmBulk)->Arg(0)->Arg(1)->ArgName("little");

// The one-word function in a loop, for comparison with the bulk path.
void BM_IbmScalarLoop(benchmark::State& state)
{
    auto const in = ibmWords(false);
    std::vector<float> out(kWords);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kWords; ++i) out[i] = Tolmar::ibm_bits_to_float(Tolmar::load_u32(&in[4 * i], false));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}
BENCHMARK(BM_IbmScalarLoop);

void BM_Decode(benchmark::State& state)
{
    auto const coding = static_cast<Tolmar::SampleCoding>(state.range(0));
    std::size_t const bytes = kWords * Tolmar::sample_bytes(coding);
    std::vector<unsigned char> in(bytes);
    std::mt19937 rng(9);
    for (auto& b : in) b = static_cast<unsigned char>(rng());
    std::vector<float> out(kWords);
    for (auto _ : state) {
        Tolmar::decode_samples(in.data(), out.data(), kWords, coding, false);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_Decode)
    ->Arg(static_cast<int>(Tolmar::SampleCoding::ieee32))
    ->Arg(static_cast<int>(Tolmar::SampleCoding::int32))
    ->Arg(static_cast<int>(Tolmar::SampleCoding::int16))
    ->Arg(static_cast<int>(Tolmar::SampleCoding::int8))
    ->ArgName("coding");

} // namespace

BENCHMARK_MAIN();
