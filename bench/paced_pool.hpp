#pragma once

// The cheapest way to issue work at a given rate with a bounded concurrency:
// the baseline that the service's scheduler is compared with, so that both
// sides of a comparison pay for starting work at the same pace (cold caches,
// wake-ups, concurrent c-ares channels) and neither for running back to back.

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace vantrel::kelvane::bench {

// Runs job(k) for k = 0 .. count-1, the k-th due at start + (k + phase) / rate,
// on `workers` threads. A free worker takes the next slot and sleeps until it,
// so each job costs one wake-up, and jobs start on time while fewer than
// `workers` run at once. Returns when every job has run. Two pools that run
// at once at the same rate should have different phases (0 to 1): with the
// same one, their jobs fall due at the same instants, and the one that the
// kernel wakes second runs on caches that the first has just filled with its
// own data, every time.
template <class F> void run_paced(double rate, long count, int workers, F job, double phase = 0) {
    std::atomic<long> next{0};
    const auto start =
        std::chrono::steady_clock::now() +
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(phase / rate));
    const auto slot = std::chrono::duration<double>(1.0 / rate);
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(workers));
    for (int i = 0; i < workers; ++i) {
        threads.emplace_back([&] {
            for (long k = next++; k < count; k = next++) {
                std::this_thread::sleep_until(
                    start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(slot * k));
                job(k);
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
}

} // namespace vantrel::kelvane::bench
