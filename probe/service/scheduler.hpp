#pragma once

#include "clock.hpp"
#include "wake_signal.hpp"

#include <condition_variable>
#include <cstdint>
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
// for a free worker) at its next due time, that tick is counted as missed and
// skipped, not queued. Jobs never wait for each other beyond the size of the
// pool: a job that blocks holds one worker and delays only its own next runs.
//
// Once started, every idle worker takes the earliest due job that no other
// worker has taken and waits for its due time itself, so a run costs one
// wake-up of the worker that runs it and no thread wakes only to hand work on.
// A job that falls due earlier than the latest taken one (added, postponed)
// is handed to that worker instead.
//
// The time comes from a `clock`. Workers wait for due times on the real
// clock; with a clock that jumps (tests) run_due() catches up with it.
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

    // Catches up with a clock that jumped: counts the ticks that passed as
    // missed for jobs that are running or waiting for a worker, and starts
    // every job that is due on a worker that is free. Returns when the next
    // job is due (time_point::max() when there is none or after stop()).
    // Workers do all this by themselves on a clock that does not jump.
    time_point run_due();

    // From now on the workers run the jobs at their due times; nothing runs
    // before.
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
    struct job;
    struct worker;
    using due_map = std::multimap<time_point, std::shared_ptr<job>>;
    using taken_map = std::multimap<time_point, worker*>;
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
        // A job is either in due_ (`position`) or taken by a worker that
        // waits for its due time (`taken_by`, `taken_position` in taken_).
        due_map::iterator position;
        worker* taken_by = nullptr;
        taken_map::iterator taken_position;
    };
    struct worker {
        wake_signal wake;
        std::shared_ptr<job> taken; // waited for, or started when `go`
        bool go = false;            // its run was started: run it
        std::uint64_t missed = 0;   // ticks of `taken` to report as missed
        bool idle = true;           // in idle_: has no job and runs none
        // While `taken` is out of due_, its node; this worker's node of
        // taken_ while it is not in there.
        due_map::node_type due_node;
        taken_map::node_type taken_node;
    };

    void work_loop(worker& self);
    std::shared_ptr<job> earliest_free() const;
    void take(worker& w, const std::shared_ptr<job>& j);
    void give_back(worker& w);
    void make_idle(worker& w);
    void begin_run(worker& w, time_point now);
    std::uint64_t skip_missed(job& j, time_point now);
    void reposition(job& j);
    void balance();

    const clock& clock_;
    mutable std::mutex mutex_;
    std::condition_variable idle_cv_; // a job finished
    std::unordered_map<std::string, std::shared_ptr<job>> jobs_;
    due_map due_;               // jobs no worker has taken
    taken_map taken_;           // taken jobs by due time
    std::vector<worker*> idle_; // workers without a job
    std::function<void(const std::string&)> on_missed_;
    std::function<void(duration)> on_start_;
    std::size_t running_ = 0;
    bool timing_ = false;
    bool stopping_ = false;
    bool pool_closing_ = false;
    std::vector<std::unique_ptr<worker>> workers_;
    std::vector<std::thread> threads_;
};

} // namespace vantrel::kelvane::probe::service
