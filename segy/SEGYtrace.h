#pragma once
// One trace as the readers hand it around: header values and samples.

#include "platform/api.h"

#include <cstddef>
#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class SEGYtrace {
public:
    // Room for nSamples samples is reserved unless reserve is false, as in
    // lists of trace headers that never hold samples.
    SEGYtrace(int tsn, int sp, int inlineX, int crlineY, float utmX, float utmY, double zStart,
              int nSamples, bool reserve = true);

    int tsn() const { return tsn_; }
    int sP() const { return sP_; }
    int inlineX() const { return inlineX_; }
    int crlineY() const { return crlineY_; }
    float utmX() const { return utmX_; }
    float utmY() const { return utmY_; }
    double zStart() const { return zStart_; }
    bool taperOn() const { return taperOn_; }
    bool taperOff() const { return taperOff_; }
    bool missing() const { return missing_; }
    bool insert() const { return insert_; }
    // Samples the trace is meant to hold; size() tells how many it holds.
    int nSamples() const { return nSamples_; }
    std::vector<float> const& samples() const { return samples_; }

    void setSp(int sp) { sP_ = sp; }
    void setUtmX(float x) { utmX_ = x; }
    void setUtmY(float y) { utmY_ = y; }
    void setTaperOn(bool on) { taperOn_ = on; }
    void setTaperOff(bool on) { taperOff_ = on; }
    void setMissing(bool on) { missing_ = on; }
    void setInsert(bool on) { insert_ = on; }

    void addSample(float s) { samples_.push_back(s); }
    // Appends n samples in one go.
    void addSamples(float const* s, std::size_t n) { samples_.insert(samples_.end(), s, s + n); }
    std::size_t size() const { return samples_.size(); }
    // Sample i; 0.0 past the end.
    float sample(unsigned i) const { return i < samples_.size() ? samples_[i] : 0.0f; }
    // Smallest sample; 0.0 for an empty trace.
    float sMin() const;
    // Largest sample, searched upwards from the smallest positive normal
    // float: a trace of negative samples answers that float. 0.0 when empty.
    float sMax() const;

private:
    int tsn_;
    int sP_;
    int inlineX_;
    int crlineY_;
    float utmX_;
    float utmY_;
    double zStart_;
    bool taperOn_ = false;
    bool taperOff_ = false;
    bool missing_ = false;
    bool insert_ = false;
    int nSamples_;
    std::vector<float> samples_;
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
