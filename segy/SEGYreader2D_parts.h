#pragma once
// What the walks of a line share: a decoded trace header, the part of a
// trace inside the z window, and which traces make the line.

#include <algorithm>
#include <utility>
#include <vector>

#include "segy/SEGYreader2D.h"

namespace Tolmar {

inline constexpr char kLineImportTitle[] = "SEG-Y 2D import";

struct SEGYreader2D::Header {
    int tsn = 0, sp = 0, inl = 0, crl = 0, ns = 0;
    double x = 0.0, y = 0.0, z = 0.0, depth = 0.0;
};

// The samples of a trace that lie in the wanted z window.
struct SEGYreader2D::Window {
    double z = 0.0;     // of the first sample taken
    double first = 0.0; // that sample's index in the trace
    int count = 0;      // samples taken, ranges[8] apart
};

// Which traces of the file make the line, in file order. With a list from
// analyze: the traces it names, each with the inserted entries before it.
// Without: from the first trace whose SP lies in the wanted range and whose
// samples reach the z window, every spStep-th trace until the SP leaves the
// range.
class SEGYreader2D::Selection {
public:
    enum Verdict { Skip, Take, Stop };
    using Entries = std::vector<SEGYtrace>;

    Selection(int const* spRange, Entries const& list)
        : list_(list), lo_(std::min(spRange[0], spRange[1])), hi_(std::max(spRange[0], spRange[1])),
          step_(std::max(1, spRange[2]))
    {
    }

    // The trace at `position` (from 1) with its SP, and whether its samples reach the window.
    Verdict judge(long long position, int sp, bool inWindow)
    {
        inserts_ = {list_.end(), list_.end()};
        entry_ = nullptr;
        if (!list_.empty()) return fromList(position, inWindow);
        bool const inRange = sp >= lo_ && sp <= hi_;
        if (!started_) {
            started_ = inRange && inWindow;
            return started_ ? Take : Skip;
        }
        if (!inRange) return Stop;
        return (++counted_ % step_ == 0 && inWindow) ? Take : Skip;
    }

    // The entries inserted before the trace just taken.
    std::pair<Entries::const_iterator, Entries::const_iterator> inserts() const { return inserts_; }

    // An entry marked as a taper gives the trace its SP and place.
    void relabel(Header& h) const
    {
        if (!entry_ || !(entry_->taperOn() || entry_->taperOff())) return;
        h.sp = entry_->sP();
        h.x = entry_->utmX();
        h.y = entry_->utmY();
    }

private:
    Verdict fromList(long long position, bool inWindow)
    {
        for (;;) {
            auto next = cursor_;
            while (next != list_.end() && next->insert()) ++next;
            if (next == list_.end()) return Stop;
            if (next->tsn() > position) return Skip;
            auto const from = cursor_;
            cursor_ = next + 1;
            // An entry of a trace already passed (another file, or one
            // outside the window now) is dropped with its inserts.
            if (next->tsn() < position) continue;
            if (!inWindow) return Skip;
            inserts_ = {from, next};
            entry_ = &*next;
            return Take;
        }
    }

    Entries const& list_;
    Entries::const_iterator cursor_ = list_.begin();
    std::pair<Entries::const_iterator, Entries::const_iterator> inserts_{list_.end(), list_.end()};
    SEGYtrace const* entry_ = nullptr;
    long long lo_, hi_, step_;
    bool started_ = false;
    long long counted_ = 0;
};

} // namespace Tolmar
