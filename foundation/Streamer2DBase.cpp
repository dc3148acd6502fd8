#include "foundation/Streamer2DBase.h"

namespace Tolmar {

namespace {

std::atomic<long long> resume_delay_ms{Streamer2DBase::kResumeDelay.count()};

} // namespace

void Streamer2DBase::set_resume_delay(std::chrono::milliseconds delay) { resume_delay_ms = delay.count(); }

std::chrono::milliseconds Streamer2DBase::resume_delay() { return std::chrono::milliseconds(resume_delay_ms.load()); }

Streamer2DBase::Streamer2DBase(Clock clock)
    : clock_(clock ? std::move(clock) : Clock([] { return std::chrono::steady_clock::now(); })),
      resume_at_(TimePoint::min().time_since_epoch().count())
{
}

void Streamer2DBase::process(unsigned int, bool& finished)
{
    finished = false;
    if (close_requested()) {
        close_source();
        finished = true;
        return;
    }
    if (reading_held()) {
        release_source();
        return;
    }
    read_turn();
    // A draw that began during the read finds the raster closed already.
    if (reading_held()) release_source();
}

void Streamer2DBase::resume_reading()
{
    resume_at_ = (now() + resume_delay()).time_since_epoch().count();
    StreamerBase::resume_reading();
}

bool Streamer2DBase::reading_held() const
{
    return reading_paused() || now().time_since_epoch().count() < resume_at_.load();
}

} // namespace Tolmar
