#include "segy/ShotPointRepair.h"

#include <cmath>
#include <cstdlib>
#include <string>

#include "platform/user_output.h"

namespace Tolmar {

ShotPointRepair::ShotPointRepair(std::vector<SEGYtrace>& out, int spStep, long long maxInserts)
    : out_(out), step_(spStep < 1 ? 1 : spStep), insertsLeft_(maxInserts)
{
    out_.clear();
}

void ShotPointRepair::add(SEGYtrace const& t)
{
    if (!run_.empty() && run_.back().sP() != t.sP()) closeRun();
    run_.push_back(t);
}

void ShotPointRepair::finish()
{
    if (!run_.empty()) closeRun();
}

// A run of equal shot points is one shot point, and the trace in its middle
// stands for it: of an odd run the true middle, of an even run the first
// trace after the first half. Where a run means that the shot point word was
// not advanced with the traces, the middle trace lies nearest to where that
// shot point really is, and the traces inserted on either side are
// interpolated from there.
void ShotPointRepair::closeRun()
{
    SEGYtrace const kept = run_[run_.size() / 2];
    run_.clear();
    if (!out_.empty()) {
        SEGYtrace const previous = out_.back(); // out_ grows under the gap's fill
        fillGap(previous, kept);
    }
    out_.push_back(kept);
}

void ShotPointRepair::fillGap(SEGYtrace const& from, SEGYtrace const& to)
{
    long long const jump = static_cast<long long>(to.sP()) - from.sP();
    long long const missing = (std::llabs(jump) - 1) / step_;
    if (missing < 1) return;
    if (missing > insertsLeft_) {
        if (!tooFarTold_) {
            platform::user_output("SEG-Y 2D import");
            platform::user_output("SP jumps from " + std::to_string(from.sP()) + " to " + std::to_string(to.sP()) +
                                  "; too far to fill, left as it stands");
        }
        tooFarTold_ = true;
        return;
    }
    insertsLeft_ -= missing;
    long long const direction = jump > 0 ? step_ : -step_;
    for (long long k = 1; k <= missing; ++k) {
        double const f = static_cast<double>(k * direction) / static_cast<double>(jump);
        auto const along = [f](double a, double b) { return a + f * (b - a); };
        SEGYtrace t(0, static_cast<int>(from.sP() + k * direction),
                    static_cast<int>(std::lround(along(from.inlineX(), to.inlineX()))),
                    static_cast<int>(std::lround(along(from.crlineY(), to.crlineY()))),
                    static_cast<float>(along(from.utmX(), to.utmX())),
                    static_cast<float>(along(from.utmY(), to.utmY())), from.zStart(), 1);
        t.setInsert(true);
        t.addSample(0.0f);
        out_.push_back(t);
    }
}

} // namespace Tolmar
