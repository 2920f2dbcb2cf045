#pragma once

#include "clock.hpp"

#include <mutex>

#include <semaphore.h>

namespace vantrel::kelvane::probe::service {

// Wakes one waiting thread, as a condition variable does, but the waiter takes
// the caller's mutex back as an ordinary lock.
//
// Why: glibc's condition variable takes its mutex back marked as contended,
// whether another thread waits for it or not, so the unlock after every wait
// is a futex system call. A scheduler worker waits once per scan, and on these
// virtual machines a system call costs microseconds. Here the waiter sleeps on
// a semaphore and only then locks the mutex.
//
// A notify() is remembered until the next wait returns (a wait after it
// returns at once), and a wait may return without one, so callers re-check
// their condition under the mutex, as with a condition variable.
class wake_signal {
public:
    wake_signal();
    ~wake_signal();
    wake_signal(const wake_signal&) = delete;
    wake_signal& operator=(const wake_signal&) = delete;

    void notify() noexcept;
    // Unlocks `lock`, sleeps until notified, locks it again.
    void wait(std::unique_lock<std::mutex>& lock) noexcept;
    // The same, for at most `timeout` on the monotonic clock.
    void wait_for(std::unique_lock<std::mutex>& lock, duration timeout) noexcept;

private:
    sem_t semaphore_;
};

} // namespace vantrel::kelvane::probe::service
