#pragma once

#include <atomic>
#include <chrono>

namespace vantrel::kelvane::probe::service {

using time_point = std::chrono::steady_clock::time_point;
using duration = std::chrono::steady_clock::duration;

// Where the scheduler reads the time, so that tests can move it by hand.
class clock {
public:
    virtual ~clock() = default;
    virtual time_point now() const = 0;
};

class steady_clock final : public clock {
public:
    time_point now() const override { return std::chrono::steady_clock::now(); }
};

// Stands still until a test moves it. Thread-safe.
class fake_clock final : public clock {
public:
    time_point now() const override { return time_point(duration(ticks_.load())); }
    void advance(duration by) { ticks_ += by.count(); }

private:
    std::atomic<duration::rep> ticks_{std::chrono::duration_cast<duration>(std::chrono::hours(1)).count()};
};

} // namespace vantrel::kelvane::probe::service
