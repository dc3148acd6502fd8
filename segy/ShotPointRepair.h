#pragma once
// Turns the traces of a 2D line, taken in file order, into one entry per
// shot-point step: a run of equal shot points leaves one of its traces, and
// a jump of more than the step is filled with inserted traces placed
// evenly between the two real neighbours.

#include <vector>

#include "segy/SEGYtrace.h"

namespace Tolmar {

class ShotPointRepair {
public:
    // Entries go to out, which is emptied. At most maxInserts traces are
    // inserted in all; a jump that would need more is left as it stands.
    ShotPointRepair(std::vector<SEGYtrace>& out, int spStep, long long maxInserts);

    // The next trace of the line: a header entry without samples.
    void add(SEGYtrace const& t);
    // Closes the last run; call once after the last trace.
    void finish();

private:
    void closeRun();
    void fillGap(SEGYtrace const& from, SEGYtrace const& to);

    std::vector<SEGYtrace>& out_;
    std::vector<SEGYtrace> run_; // traces of the current shot point
    long long step_;
    long long insertsLeft_;
    bool tooFarTold_ = false;
};

} // namespace Tolmar
