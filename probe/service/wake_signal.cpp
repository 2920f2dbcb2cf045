#include "wake_signal.hpp"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace vantrel::kelvane::probe::service {

wake_signal::wake_signal() {
    sem_init(&semaphore_, 0, 0);
}

wake_signal::~wake_signal() {
    sem_destroy(&semaphore_);
}

void wake_signal::notify() noexcept {
    sem_post(&semaphore_);
}

void wake_signal::wait(std::unique_lock<std::mutex>& lock) noexcept {
    lock.unlock();
    while (sem_wait(&semaphore_) != 0 && errno == EINTR) {
    }
    lock.lock();
}

void wake_signal::wait_for(std::unique_lock<std::mutex>& lock, duration timeout) noexcept {
    // steady_clock is CLOCK_MONOTONIC; a wait longer than a day is cut to a
    // day (callers re-check), which keeps the sum below from overflowing.
    constexpr auto longest = std::chrono::hours(24);
    const auto wait = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::max(duration::zero(), std::min<duration>(timeout, longest)));
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    const auto ns = static_cast<long long>(until.tv_nsec) + wait.count() % 1000000000;
    until.tv_sec += static_cast<time_t>(wait.count() / 1000000000 + ns / 1000000000);
    until.tv_nsec = static_cast<long>(ns % 1000000000);
    lock.unlock();
    sem_clockwait(&semaphore_, CLOCK_MONOTONIC, &until);
    lock.lock();
}

} // namespace vantrel::kelvane::probe::service
