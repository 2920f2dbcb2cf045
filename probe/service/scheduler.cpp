#include "scheduler.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace vantrel::kelvane::probe::service {

scheduler::scheduler(const clock& time, std::size_t workers) : clock_(time) {
    workers_.reserve(workers);
    threads_.reserve(workers);
    for (std::size_t i = 0; i < workers; ++i) {
        workers_.push_back(std::make_unique<worker>());
    }
    for (auto& w : workers_) {
        idle_.push_back(w.get()); // before its thread runs, so that run_due() finds it
        threads_.emplace_back([this, self = w.get()] { work_loop(*self); });
    }
}

scheduler::~scheduler() {
    stop(duration::max());
    {
        std::lock_guard lock(mutex_);
        pool_closing_ = true;
        for (auto& w : workers_) {
            w->wake.notify();
        }
    }
    for (auto& t : threads_) {
        t.join();
    }
}

void scheduler::on_missed(std::function<void(const std::string&)> callback) {
    std::lock_guard lock(mutex_);
    on_missed_ = std::move(callback);
}

void scheduler::on_start(std::function<void(duration lag)> callback) {
    std::lock_guard lock(mutex_);
    on_start_ = std::move(callback);
}

duration scheduler::spread(std::uint64_t n, duration interval) {
    constexpr double golden = 0.6180339887498949;
    const double fraction = std::fmod(static_cast<double>(n) * golden, 1.0);
    return duration(static_cast<duration::rep>(fraction * static_cast<double>(interval.count())));
}

void scheduler::add(const std::string& key, duration interval, time_point first_due, task work) {
    if (interval <= duration::zero()) {
        throw std::invalid_argument("scheduler: the interval of " + key + " must be positive");
    }
    auto j = std::make_shared<job>();
    j->key = key;
    j->interval = interval;
    j->work = std::move(work);
    j->due = first_due;
    std::lock_guard lock(mutex_);
    if (!jobs_.emplace(key, j).second) {
        throw std::invalid_argument("scheduler: " + key + " is already scheduled");
    }
    j->position = due_.emplace(first_due, j);
    balance();
}

bool scheduler::remove(const std::string& key) {
    std::unique_lock lock(mutex_);
    const auto it = jobs_.find(key);
    if (it == jobs_.end()) {
        return false;
    }
    const auto j = it->second;
    jobs_.erase(it);
    if (j->taken_by != nullptr) {
        auto& w = *j->taken_by;
        give_back(w);
        make_idle(w);
        w.wake.notify();
    }
    due_.erase(j->position);
    j->removed = true;
    balance(); // the worker that waited for it takes another job
    idle_cv_.wait(lock, [&] { return !j->running; });
    return true;
}

bool scheduler::postpone(const std::string& key, time_point due) {
    std::lock_guard lock(mutex_);
    const auto it = jobs_.find(key);
    if (it == jobs_.end()) {
        return false;
    }
    auto& j = *it->second;
    if (j.taken_by != nullptr) {
        auto& w = *j.taken_by;
        give_back(w);
        make_idle(w);
        w.wake.notify();
    }
    j.due = due;
    reposition(j);
    balance();
    return true;
}

bool scheduler::set_interval(const std::string& key, duration interval) {
    if (interval <= duration::zero()) {
        return false;
    }
    std::lock_guard lock(mutex_);
    const auto it = jobs_.find(key);
    if (it == jobs_.end()) {
        return false;
    }
    it->second->interval = interval;
    return true;
}

std::shared_ptr<scheduler::job> scheduler::earliest_free() const {
    // A running job's next tick waits for the run to end; at most one per
    // worker is passed over.
    for (const auto& [due, j] : due_) {
        if (!j->running) {
            return j;
        }
    }
    return nullptr;
}

void scheduler::make_idle(worker& w) {
    if (!w.idle) {
        w.idle = true;
        idle_.push_back(&w);
    }
}

void scheduler::take(worker& w, const std::shared_ptr<job>& j) {
    if (w.idle) {
        w.idle = false;
        std::erase(idle_, &w);
    }
    // The job's nodes in due_ and taken_ move between the two and the worker
    // instead of being freed and allocated again for every run.
    w.due_node = due_.extract(j->position);
    j->taken_by = &w;
    if (w.taken_node) {
        w.taken_node.key() = j->due;
        j->taken_position = taken_.insert(std::move(w.taken_node));
    } else {
        j->taken_position = taken_.emplace(j->due, &w);
    }
    w.taken = j;
    w.go = false;
}

void scheduler::give_back(worker& w) {
    auto& j = *w.taken;
    w.taken_node = taken_.extract(j.taken_position);
    j.taken_by = nullptr;
    w.due_node.key() = j.due;
    j.position = due_.insert(std::move(w.due_node));
    w.taken.reset();
}

void scheduler::reposition(job& j) {
    auto node = due_.extract(j.position);
    node.key() = j.due;
    j.position = due_.insert(std::move(node));
}

void scheduler::begin_run(worker& w, time_point now) {
    auto& j = *w.taken;
    w.taken_node = taken_.extract(j.taken_position);
    j.taken_by = nullptr;
    // Ticks that passed while it waited for a free worker were missed; it
    // runs for the latest of them.
    const auto late = now - j.due >= j.interval ? static_cast<std::uint64_t>((now - j.due) / j.interval) : 0;
    j.missed += late;
    w.missed = late;
    j.run_due = j.due + j.interval * static_cast<duration::rep>(late);
    j.due = j.run_due + j.interval;
    // One interval on from the due time just reached is mostly the latest due
    // time of all, and the hint then places it at the end without a walk down
    // the tree (a wrong hint costs only the walk).
    w.due_node.key() = j.due;
    j.position = due_.insert(due_.end(), std::move(w.due_node));
    j.running = true;
    ++j.started;
    ++running_;
    w.go = true;
}

std::uint64_t scheduler::skip_missed(job& j, time_point now) {
    if (j.due > now) {
        return 0;
    }
    // After a long stall the schedule moves on to the next tick in the future
    // instead of firing once for every tick that passed.
    const auto ticks = static_cast<std::uint64_t>((now - j.due) / j.interval) + 1;
    j.missed += ticks;
    j.due += j.interval * static_cast<duration::rep>(ticks);
    reposition(j);
    return ticks;
}

void scheduler::balance() {
    if (!timing_ || stopping_) {
        return;
    }
    for (auto j = earliest_free(); j != nullptr; j = earliest_free()) {
        if (!idle_.empty()) {
            auto& w = *idle_.back();
            take(w, j);
            w.wake.notify();
            continue;
        }
        if (taken_.empty() || std::prev(taken_.end())->first <= j->due) {
            return; // every worker waits for an earlier job or runs one
        }
        auto& w = *std::prev(taken_.end())->second;
        give_back(w);
        take(w, j);
        w.wake.notify();
    }
}

time_point scheduler::run_due() {
    std::vector<std::pair<std::string, std::uint64_t>> missed;
    std::unique_lock lock(mutex_);
    if (stopping_) {
        return time_point::max();
    }
    const time_point now = clock_.now();
    // Ticks of running jobs and of jobs that wait for a free worker.
    std::vector<std::shared_ptr<job>> overdue;
    for (auto it = due_.begin(); it != due_.end() && it->first <= now; ++it) {
        overdue.push_back(it->second);
    }
    for (const auto& j : overdue) {
        if (j->running) {
            missed.emplace_back(j->key, skip_missed(*j, now));
        } else if (const auto ticks = static_cast<std::uint64_t>((now - j->due) / j->interval); ticks > 0) {
            j->missed += ticks;
            j->due += j->interval * static_cast<duration::rep>(ticks);
            reposition(*j);
            missed.emplace_back(j->key, ticks);
        }
    }
    if (timing_) {
        while (!taken_.empty() && taken_.begin()->first <= now) {
            auto& w = *taken_.begin()->second;
            begin_run(w, now);
            w.wake.notify();
        }
        for (auto j = earliest_free(); j != nullptr && j->due <= now && !idle_.empty(); j = earliest_free()) {
            auto& w = *idle_.back();
            take(w, j);
            begin_run(w, now);
            w.wake.notify();
        }
    }
    time_point next = time_point::max();
    if (!due_.empty()) {
        next = due_.begin()->first;
    }
    if (!taken_.empty()) {
        next = std::min(next, taken_.begin()->first);
    }
    const auto report = on_missed_;
    lock.unlock();
    if (report) {
        for (const auto& [key, ticks] : missed) {
            for (std::uint64_t i = 0; i < ticks; ++i) {
                report(key);
            }
        }
    }
    return next;
}

void scheduler::work_loop(worker& self) {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (pool_closing_) {
            return;
        }
        if (!self.taken) {
            // Listed in idle_: whoever hands it a job takes it off the list.
            self.wake.wait(lock);
            continue;
        }
        if (!self.go) {
            const time_point now = clock_.now();
            if (now < self.taken->due) {
                // Woken early when the job is taken back, handed to it anew,
                // started by run_due() or the pool stops: all seen above.
                self.wake.wait_for(lock, self.taken->due - now);
                continue;
            }
            begin_run(self, now);
        }
        const auto j = std::move(self.taken);
        self.go = false;
        std::uint64_t late = std::exchange(self.missed, 0);
        if (!j->removed && !stopping_) {
            const auto started = on_start_;
            const auto report = on_missed_;
            const auto lag = clock_.now() - j->run_due;
            lock.unlock();
            if (report) {
                for (std::uint64_t i = 0; i < late; ++i) {
                    report(j->key);
                }
            }
            if (started) {
                started(lag);
            }
            try {
                j->work();
            } catch (...) {
                // A job reports its own failures; one that throws must not end the worker.
            }
            lock.lock();
            late = 0;
        }
        j->running = false;
        --running_;
        idle_cv_.notify_all();
        if (!j->removed) {
            late += skip_missed(*j, clock_.now());
        }
        // The next job is taken before the lock is let go, so whoever sees
        // this run end also sees the worker waiting for its next job.
        const auto next = timing_ && !stopping_ ? earliest_free() : nullptr;
        if (next) {
            take(self, next);
        } else {
            make_idle(self);
        }
        balance();
        if (late != 0) {
            const auto report = on_missed_;
            lock.unlock();
            if (report) {
                for (std::uint64_t i = 0; i < late; ++i) {
                    report(j->key);
                }
            }
            lock.lock();
        }
    }
}

void scheduler::start() {
    std::lock_guard lock(mutex_);
    if (!timing_ && !stopping_) {
        timing_ = true;
        balance();
    }
}

std::size_t scheduler::stop(duration grace) {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    for (auto& w : workers_) {
        if (w->taken && !w->go) {
            give_back(*w);
            make_idle(*w);
            w->wake.notify();
        }
    }
    const auto idle = [&] { return running_ == 0; };
    if (grace == duration::max()) {
        idle_cv_.wait(lock, idle);
    } else {
        idle_cv_.wait_for(lock, grace, idle);
    }
    return running_;
}

std::optional<scheduler::job_stats> scheduler::stats(const std::string& key) const {
    std::lock_guard lock(mutex_);
    const auto it = jobs_.find(key);
    if (it == jobs_.end()) {
        return std::nullopt;
    }
    const auto& j = *it->second;
    return job_stats{j.started, j.missed, j.running, j.due};
}

std::size_t scheduler::running() const {
    std::lock_guard lock(mutex_);
    return running_;
}

} // namespace vantrel::kelvane::probe::service
