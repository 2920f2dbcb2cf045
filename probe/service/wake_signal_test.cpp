#include "wake_signal.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

namespace vantrel::kelvane::probe::service {
namespace {

using namespace std::chrono_literals;

double seconds_of(const std::function<void()>& what) {
    const auto begin = std::chrono::steady_clock::now();
    what();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

TEST(WakeSignal, ANotifyBeforeTheWaitIsNotLost) {
    std::mutex mutex;
    wake_signal signal;
    signal.notify();
    std::unique_lock lock(mutex);
    EXPECT_LT(seconds_of([&] { signal.wait_for(lock, 10s); }), 5.0);
    EXPECT_TRUE(lock.owns_lock());
    signal.notify();
    signal.wait(lock); // returns at once, or the test hangs
    EXPECT_TRUE(lock.owns_lock());
}

TEST(WakeSignal, WaitForEndsAtItsTimeoutWithTheLockTakenBack) {
    std::mutex mutex;
    wake_signal signal;
    std::unique_lock lock(mutex);
    EXPECT_GE(seconds_of([&] { signal.wait_for(lock, 50ms); }), 0.045);
    EXPECT_TRUE(lock.owns_lock());
    EXPECT_LT(seconds_of([&] { signal.wait_for(lock, -1s); }), 1.0) << "a timeout in the past";
    EXPECT_LT(seconds_of([&] { signal.wait_for(lock, duration::zero()); }), 1.0);
}

TEST(WakeSignal, ANotifyWakesAWaiterEarlyAndTheMutexIsFreeWhileItWaits) {
    std::mutex mutex;
    wake_signal signal;
    bool woken = false;
    std::thread waker([&] {
        std::this_thread::sleep_for(20ms);
        std::lock_guard lock(mutex); // would wait forever if the waiter kept it
        woken = true;
        signal.notify();
    });
    std::unique_lock lock(mutex);
    const double waited = seconds_of([&] {
        while (!woken) {
            signal.wait_for(lock, 30s);
        }
    });
    lock.unlock();
    waker.join();
    EXPECT_LT(waited, 10.0);
}

} // namespace
} // namespace vantrel::kelvane::probe::service
