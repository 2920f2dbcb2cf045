#include "scheduler.hpp"

#include <cmath>
#include <stdexcept>

namespace vantrel::kelvane::probe::service {

scheduler::scheduler(const clock& time, std::size_t workers) : clock_(time) {
    workers_.reserve(workers);
    for (std::size_t i = 0; i < workers; ++i) {
        workers_.emplace_back([this] { work_loop(); });
    }
}

scheduler::~scheduler() {
    stop(duration::max());
    {
        std::lock_guard lock(mutex_);
        pool_closing_ = true;
    }
    work_cv_.notify_all();
    for (auto& w : workers_) {
        w.join();
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
    {
        std::lock_guard lock(mutex_);
        if (!jobs_.emplace(key, j).second) {
            throw std::invalid_argument("scheduler: " + key + " is already scheduled");
        }
        j->position = due_.emplace(first_due, j);
        schedule_changed_ = true;
    }
    timer_cv_.notify_one();
}

bool scheduler::remove(const std::string& key) {
    std::unique_lock lock(mutex_);
    const auto it = jobs_.find(key);
    if (it == jobs_.end()) {
        return false;
    }
    const auto j = it->second;
    jobs_.erase(it);
    due_.erase(j->position);
    j->removed = true;
    idle_cv_.wait(lock, [&] { return !j->running; });
    return true;
}

bool scheduler::postpone(const std::string& key, time_point due) {
    {
        std::lock_guard lock(mutex_);
        const auto it = jobs_.find(key);
        if (it == jobs_.end()) {
            return false;
        }
        const auto& j = it->second;
        due_.erase(j->position);
        j->due = due;
        j->position = due_.emplace(due, j);
        schedule_changed_ = true;
    }
    timer_cv_.notify_one();
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

time_point scheduler::run_due() {
    std::vector<std::string> missed;
    std::function<void(const std::string&)> report;
    time_point next = time_point::max();
    {
        std::lock_guard lock(mutex_);
        if (stopping_) {
            return next;
        }
        const time_point now = clock_.now();
        std::size_t started = 0;
        while (!due_.empty() && due_.begin()->first <= now) {
            auto j = due_.begin()->second;
            due_.erase(due_.begin());
            if (j->running) {
                ++j->missed;
                missed.push_back(j->key);
            } else {
                j->running = true;
                j->run_due = j->due;
                ++j->started;
                ++running_;
                ready_.push_back(j);
                ++started;
            }
            // After a long stall the schedule moves on to the next tick in the
            // future instead of firing once for every tick that passed.
            j->due += j->interval;
            if (j->due <= now) {
                j->due += j->interval * ((now - j->due) / j->interval + 1);
            }
            j->position = due_.emplace(j->due, j);
        }
        if (started == 1) {
            work_cv_.notify_one();
        } else if (started > 1) {
            work_cv_.notify_all();
        }
        if (!due_.empty()) {
            next = due_.begin()->first;
        }
        report = on_missed_;
    }
    if (report) {
        for (const auto& key : missed) {
            report(key);
        }
    }
    return next;
}

void scheduler::work_loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        work_cv_.wait(lock, [&] { return pool_closing_ || !ready_.empty(); });
        if (ready_.empty()) {
            return;
        }
        auto j = std::move(ready_.front());
        ready_.pop_front();
        if (j->removed || stopping_) {
            finish(*j);
            continue;
        }
        const auto report = on_start_;
        const auto lag = clock_.now() - j->run_due;
        lock.unlock();
        if (report) {
            report(lag);
        }
        try {
            j->work();
        } catch (...) {
            // A job reports its own failures; one that throws must not end the worker.
        }
        lock.lock();
        finish(*j);
    }
}

void scheduler::finish(job& j) {
    j.running = false;
    --running_;
    idle_cv_.notify_all();
}

void scheduler::timer_loop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        lock.unlock();
        const time_point next = run_due();
        lock.lock();
        if (stopping_) {
            break;
        }
        const auto wait = next == time_point::max() ? std::chrono::hours(1) : next - clock_.now();
        timer_cv_.wait_for(lock, wait, [&] { return stopping_ || schedule_changed_; });
        schedule_changed_ = false;
    }
}

void scheduler::start() {
    std::lock_guard lock(mutex_);
    if (!timer_.joinable() && !stopping_) {
        timer_ = std::thread([this] { timer_loop(); });
    }
}

std::size_t scheduler::stop(duration grace) {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    timer_cv_.notify_all();
    const auto idle = [&] { return running_ == 0; };
    if (grace == duration::max()) {
        idle_cv_.wait(lock, idle);
    } else {
        idle_cv_.wait_for(lock, grace, idle);
    }
    const std::size_t still_running = running_;
    lock.unlock();
    work_cv_.notify_all();
    if (timer_.joinable() && timer_.get_id() != std::this_thread::get_id()) {
        timer_.join();
    }
    return still_running;
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
