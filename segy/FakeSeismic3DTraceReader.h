#pragma once
// Made-up cube data behind the cube reader interface, for trying out tools
// without a survey: 100 x 100 lines, z 1 to 100 ms.

#include "platform/api.h"

#include <istream>
#include <memory>
#include <ostream>
#include <vector>

#include "segy/ISeismic3DTraceReader.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class IFakeValues {
public:
    virtual ~IFakeValues() = default;
    // The value at inline index i, crossline index j, sample k.
    virtual float value(int i, int j, int k) const = 0;
    virtual void save(std::ostream& out) const = 0;
};

// 100 x 100 x 100 values of rand() % 10001.
class RandomFakeValues : public IFakeValues {
public:
    static constexpr int kSize = 100;

    RandomFakeValues();
    float value(int i, int j, int k) const override;
    // The three sizes, then the values.
    void save(std::ostream& out) const override;
    // Reads what save() wrote; false, leaving the values alone, when the
    // stream holds something else.
    bool load(std::istream& in);

private:
    std::vector<float> values_; // at (i * 100 + j) * 100 + k
};

// Deliberately leaves undef() to a subclass: the fake is only ever used
// through its three slice operations.
class FakeSeismic3DTraceReader : public ISeismic3DTraceReader {
public:
    explicit FakeSeismic3DTraceReader(std::unique_ptr<IFakeValues> values);

    // Values at the line's index, crossline (or inline) index outer, sample inner.
    bool inlslice(int inl, std::vector<float>& out) override;
    bool crlslice(int crl, std::vector<float>& out) override;
    // Not from the values: 1000 * crossline + inline, inlines fastest, so a
    // slice shows where each element came from.
    bool timeslice(double z, std::vector<float>& out) override;

private:
    int count(int start, int stop, int step) const { return (stop - start) / step + 1; }
    int samples() const { return static_cast<int>((zStop - zStart) / zStep) + 1; }

    std::unique_ptr<IFakeValues> values_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
