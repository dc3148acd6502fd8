#pragma once
// A few threads kept for a whole job that run rounds of numbered tasks with
// the caller. Keeping them, instead of starting threads for each round, keeps
// their thread-local buffers and compression contexts warm from round to
// round.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Tolmar {

class WorkerTeam {
public:
    // threads: the team with the caller; fewer start when the system refuses.
    explicit WorkerTeam(std::size_t threads);
    ~WorkerTeam();
    WorkerTeam(WorkerTeam const&) = delete;
    WorkerTeam& operator=(WorkerTeam const&) = delete;

    // Runs task(0) ... task(n - 1), each once, in that order of starting, on
    // the team and the caller; returns when every one has finished.
    void run(std::size_t n, std::function<void(std::size_t)> const& task);

private:
    void work();
    void helper();

    std::vector<std::thread> threads_;
    std::mutex mutex_;
    std::condition_variable start_, done_;
    std::function<void(std::size_t)> const* task_ = nullptr;
    std::size_t count_ = 0;
    std::atomic<std::size_t> next_{0};
    unsigned long long round_ = 0;
    std::size_t busy_ = 0; // helpers still in the current round
    bool stop_ = false;
};

} // namespace Tolmar
