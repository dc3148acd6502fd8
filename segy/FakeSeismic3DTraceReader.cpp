#include "segy/FakeSeismic3DTraceReader.h"

#include <cstdint>
#include <cstdlib>

namespace Tolmar {

RandomFakeValues::RandomFakeValues() : values_(static_cast<std::size_t>(kSize) * kSize * kSize)
{
    for (float& v : values_) v = static_cast<float>(std::rand() % 10001);
}

float RandomFakeValues::value(int i, int j, int k) const
{
    if (i < 0 || j < 0 || k < 0 || i >= kSize || j >= kSize || k >= kSize) return 0.0f;
    return values_[(static_cast<std::size_t>(i) * kSize + static_cast<std::size_t>(j)) * kSize + static_cast<std::size_t>(k)];
}

void RandomFakeValues::save(std::ostream& out) const
{
    std::int32_t const sizes[3] = {kSize, kSize, kSize};
    out.write(reinterpret_cast<char const*>(sizes), sizeof sizes);
    out.write(reinterpret_cast<char const*>(values_.data()), static_cast<std::streamsize>(values_.size() * sizeof(float)));
}

bool RandomFakeValues::load(std::istream& in)
{
    std::int32_t sizes[3] = {};
    if (!in.read(reinterpret_cast<char*>(sizes), sizeof sizes) || sizes[0] != kSize || sizes[1] != kSize ||
        sizes[2] != kSize)
        return false;
    std::vector<float> v(values_.size());
    if (!in.read(reinterpret_cast<char*>(v.data()), static_cast<std::streamsize>(v.size() * sizeof(float)))) return false;
    values_.swap(v);
    return true;
}

FakeSeismic3DTraceReader::FakeSeismic3DTraceReader(std::unique_ptr<IFakeValues> values) : values_(std::move(values))
{
    inlStart = crlStart = 1;
    inlStop = crlStop = 100;
    inlStep = crlStep = 1;
    zStart = 1.0;
    zStop = 100.0;
    zStep = 1.0;
}

bool FakeSeismic3DTraceReader::inlslice(int inl, std::vector<float>& out)
{
    if (!values_) return false;
    int const i = (inl - inlStart) / inlStep, nc = count(crlStart, crlStop, crlStep), ns = samples();
    out.clear();
    for (int j = 0; j < nc; ++j)
        for (int k = 0; k < ns; ++k) out.push_back(values_->value(i, j, k));
    return true;
}

bool FakeSeismic3DTraceReader::crlslice(int crl, std::vector<float>& out)
{
    if (!values_) return false;
    int const j = (crl - crlStart) / crlStep, ni = count(inlStart, inlStop, inlStep), ns = samples();
    out.clear();
    for (int i = 0; i < ni; ++i)
        for (int k = 0; k < ns; ++k) out.push_back(values_->value(i, j, k));
    return true;
}

bool FakeSeismic3DTraceReader::timeslice(double, std::vector<float>& out)
{
    out.clear();
    for (int c = crlStart; c <= crlStop; c += crlStep)
        for (int i = 0, n = count(inlStart, inlStop, inlStep); i < n; ++i)
            out.push_back(static_cast<float>(1000 * c + inlStart + inlStep * i));
    return true;
}

} // namespace Tolmar
