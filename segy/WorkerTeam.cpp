#include "segy/WorkerTeam.h"

#include <system_error>

namespace Tolmar {

WorkerTeam::WorkerTeam(std::size_t threads)
{
    for (std::size_t t = 1; t < threads; ++t) {
        try {
            threads_.emplace_back([this] { helper(); });
        } catch (std::system_error const&) {
            break; // fewer threads do the same work
        }
    }
}

WorkerTeam::~WorkerTeam()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    start_.notify_all();
    for (auto& t : threads_) t.join();
}

void WorkerTeam::work()
{
    for (std::size_t i; (i = next_.fetch_add(1)) < count_;) (*task_)(i);
}

void WorkerTeam::helper()
{
    unsigned long long seen = 0;
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            start_.wait(lock, [&] { return stop_ || round_ != seen; });
            if (stop_) return;
            seen = round_;
        }
        work();
        std::lock_guard<std::mutex> lock(mutex_);
        if (--busy_ == 0) done_.notify_one();
    }
}

void WorkerTeam::run(std::size_t n, std::function<void(std::size_t)> const& task)
{
    if (n == 0) return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        task_ = &task;
        count_ = n;
        next_.store(0);
        busy_ = threads_.size();
        ++round_;
    }
    start_.notify_all();
    work();
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [&] { return busy_ == 0; });
}

} // namespace Tolmar
