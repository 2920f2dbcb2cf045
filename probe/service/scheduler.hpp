#pragma once

#include "clock.hpp"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace vantrel::kelvane::probe::service {

// Runs jobs, each every interval, on a bounded pool of worker threads.
//
// A job never overlaps itself: when it is still running (or still waiting
// for a worker) at its next due time, that tick is counted as missed and
// skipped, not queued. Jobs never wait for each other beyond the size of the
// pool: a job that blocks holds one worker and delays only its own next runs.
//
// The time comes from a `clock`. start() runs a thread that wakes at due
// times; tests instead move a fake clock and call run_due() themselves.
// Every member is thread-safe.
class scheduler {
public:
    using task = std::function<void()>;

    struct job_stats {
        std::uint64_t started = 0;
        std::uint64_t missed = 0;
        bool running = false;
        time_point next_due;
    };

    scheduler(const clock& time, std::size_t workers);
    // Stops as stop() does, waiting as long as running jobs take.
    ~scheduler();
    scheduler(const scheduler&) = delete;
    scheduler& operator=(const scheduler&) = delete;

    // Called (outside any lock) with the key of each missed tick. Set before start().
    void on_missed(std::function<void(const std::string&)> callback);

    // Called (outside any lock, on the worker) as each run starts, with how
    // long after its due time it started. Set before start().
    void on_start(std::function<void(duration lag)> callback);

    // Adds a job first due at `first_due`, then every `interval` after that.
    // Throws std::invalid_argument for a key already in use or an interval <= 0.
    void add(const std::string& key, duration interval, time_point first_due, task work);
    // Removes a job; a run under way is waited for (it is bounded by the job
    // itself). False for an unknown key.
    bool remove(const std::string& key);
    // Moves the next run of a job to `due` (a retry with backoff). False for an unknown key.
    bool postpone(const std::string& key, time_point due);
    // Changes a job's interval from its next run on.
    bool set_interval(const std::string& key, duration interval);

    // Starts every job that is due at the clock's now; returns when the next
    // job is due (time_point::max() when there is none or after stop()).
    time_point run_due();

    // A thread that calls run_due() at due times.
    void start();
    // No new runs from now on; waits up to `grace` for runs under way and
    // returns how many are still running then.
    std::size_t stop(duration grace);

    std::optional<job_stats> stats(const std::string& key) const;
    std::size_t running() const;

    // The first-run offset of the n-th job added, spread over the interval so
    // that jobs added together do not all start at once (a golden-ratio
    // sequence: any number of jobs lands evenly spread, also added later).
    static duration spread(std::uint64_t n, duration interval);

private:
    struct job {
        std::string key;
        duration interval{};
        task work;
        time_point due;
        time_point run_due; // the due time of the run under way
        bool running = false;
        bool removed = false;
        std::uint64_t started = 0;
        std::uint64_t missed = 0;
        std::multimap<time_point, std::shared_ptr<job>>::iterator position;
    };

    void work_loop();
    void timer_loop();
    void finish(job& j);

    const clock& clock_;
    mutable std::mutex mutex_;
    std::condition_variable work_cv_;  // a job is ready, or the pool stops
    std::condition_variable idle_cv_;  // a job finished
    std::condition_variable timer_cv_; // the schedule changed, or stop
    std::unordered_map<std::string, std::shared_ptr<job>> jobs_;
    std::multimap<time_point, std::shared_ptr<job>> due_;
    std::deque<std::shared_ptr<job>> ready_;
    std::function<void(const std::string&)> on_missed_;
    std::function<void(duration)> on_start_;
    std::size_t running_ = 0;
    bool schedule_changed_ = false;
    bool stopping_ = false;
    bool pool_closing_ = false;
    std::vector<std::thread> workers_;
    std::thread timer_;
};

} // namespace vantrel::kelvane::probe::service
