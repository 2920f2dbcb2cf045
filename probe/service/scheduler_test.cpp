#include "scheduler.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <future>
#include <optional>

namespace vantrel::kelvane::probe::service {
namespace {

using namespace std::chrono_literals;

// Holds the jobs that pass it until opened.
class gate {
public:
    void pass() {
        std::unique_lock lock(mutex_);
        ++waiting_;
        cv_.notify_all();
        cv_.wait(lock, [&] { return open_; });
    }
    void open() {
        std::lock_guard lock(mutex_);
        open_ = true;
        cv_.notify_all();
    }
    bool wait_for_waiters(int n) {
        std::unique_lock lock(mutex_);
        return cv_.wait_for(lock, 5s, [&] { return waiting_ >= n; });
    }

private:
    std::mutex mutex_;
    std::condition_variable cv_;
    int waiting_ = 0;
    bool open_ = false;
};

// Waits (bounded) until the scheduler has no job running.
bool settle(const scheduler& s) {
    for (int i = 0; i < 500; ++i) {
        if (s.running() == 0) {
            return true;
        }
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

class Scheduler : public ::testing::Test {
protected:
    // A scheduler on the fake clock `time`. It outlives the test's own
    // variables, so a test lets every run end (settle) before it returns.
    // Every tick it reports missed is kept, in order (missed_keys()).
    scheduler& make(std::size_t workers, bool start = true) {
        scheduler_.emplace(time, workers);
        scheduler_->on_missed([this](const std::string& key) {
            std::lock_guard lock(missed_mutex_);
            missed_.push_back(key);
        });
        if (start) {
            scheduler_->start();
        }
        return *scheduler_;
    }

    std::vector<std::string> missed_keys() {
        std::lock_guard lock(missed_mutex_);
        return missed_;
    }

    fake_clock time;
    std::mutex missed_mutex_;
    std::vector<std::string> missed_; // before the scheduler, which reports into it until it ends
    std::optional<scheduler> scheduler_;
};

TEST_F(Scheduler, FirstRunsAreSpreadOverTheInterval) {
    for (const std::uint64_t n : {10u, 100u, 1000u}) {
        std::vector<duration> offsets;
        for (std::uint64_t i = 0; i < n; ++i) {
            offsets.push_back(scheduler::spread(i, 60s));
        }
        std::sort(offsets.begin(), offsets.end());
        EXPECT_GE(offsets.front(), 0s);
        EXPECT_LT(offsets.back(), 60s);
        duration widest = offsets.front() + (60s - offsets.back());
        for (std::size_t i = 1; i < offsets.size(); ++i) {
            widest = std::max(widest, offsets[i] - offsets[i - 1]);
        }
        // Evenly spread: no gap much wider than the interval shared out evenly.
        EXPECT_LT(widest, 3 * std::chrono::duration_cast<duration>(60s) / n) << n << " jobs";
    }
}

TEST_F(Scheduler, JobsAddedTogetherStartAtTheirOwnOffsets) {
    auto& s = make(4);
    std::atomic<int> runs{0};
    const auto start = time.now();
    for (int i = 0; i < 10; ++i) {
        s.add("job" + std::to_string(i), 10s, start + scheduler::spread(i, 10s), [&] { ++runs; });
    }
    s.run_due();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(runs, 1) << "only the job at offset 0 is due at once";
    time.advance(5s);
    s.run_due();
    ASSERT_TRUE(settle(s));
    EXPECT_GT(runs, 3);
    EXPECT_LT(runs, 8);
    time.advance(5s);
    s.run_due();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(runs, 11) << "every job once, the first twice";
}

TEST_F(Scheduler, ARunningJobMissesItsTickInsteadOfOverlapping) {
    auto& s = make(4);
    gate hold;
    std::atomic<int> concurrent{0};
    std::atomic<int> most{0};
    s.add("slow", 1s, time.now(), [&] {
        most = std::max(most.load(), ++concurrent);
        hold.pass();
        --concurrent;
    });
    s.run_due();
    ASSERT_TRUE(hold.wait_for_waiters(1));
    for (int i = 0; i < 3; ++i) {
        time.advance(1s);
        s.run_due();
    }
    auto stats = s.stats("slow");
    EXPECT_EQ(stats->started, 1u);
    EXPECT_EQ(stats->missed, 3u) << "missed ticks are counted, not queued";
    EXPECT_TRUE(stats->running);
    hold.open();
    ASSERT_TRUE(settle(s));
    time.advance(1s);
    s.run_due();
    ASSERT_TRUE(settle(s));
    stats = s.stats("slow");
    EXPECT_EQ(stats->started, 2u);
    EXPECT_EQ(stats->missed, 3u);
    EXPECT_EQ(most, 1);
}

TEST_F(Scheduler, ASilentJobDelaysOnlyItself) {
    auto& s = make(2);
    gate silent;
    std::atomic<int> quick_runs{0};
    s.add("silent", 1s, time.now(), [&] { silent.pass(); });
    s.add("quick", 1s, time.now(), [&] { ++quick_runs; });
    s.run_due();
    ASSERT_TRUE(silent.wait_for_waiters(1));
    for (int i = 0; i < 5; ++i) {
        // Until its run has ended, not only counted: a run still under way
        // at the next tick would miss that tick.
        for (int wait = 0; wait < 5000 && (quick_runs != i + 1 || s.stats("quick")->running); ++wait) {
            std::this_thread::sleep_for(1ms);
        }
        time.advance(1s);
        s.run_due();
    }
    for (int wait = 0; wait < 5000 && quick_runs != 6; ++wait) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(quick_runs, 6);
    EXPECT_EQ(s.stats("quick")->missed, 0u);
    EXPECT_EQ(s.stats("silent")->missed, 5u);
    EXPECT_EQ(missed_keys(), std::vector<std::string>(5, "silent"));
    silent.open();
    EXPECT_TRUE(settle(s));
}

TEST_F(Scheduler, AJobWaitingForAWorkerAlsoMissesItsTick) {
    auto& s = make(1);
    gate hold;
    std::atomic<int> second_runs{0};
    s.add("first", 1s, time.now(), [&] { hold.pass(); });
    s.add("second", 1s, time.now(), [&] { ++second_runs; });
    s.run_due();
    ASSERT_TRUE(hold.wait_for_waiters(1));
    time.advance(1s);
    s.run_due();
    EXPECT_EQ(s.stats("second")->missed, 1u) << "queued behind the only worker";
    hold.open();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(second_runs, 1);
}

TEST_F(Scheduler, AJobAWorkerTakesLateCountsTheTicksItMissedMeanwhile) {
    auto& s = make(1);
    gate hold;
    std::atomic<int> second_runs{0};
    s.add("first", 10s, time.now(), [&] { hold.pass(); });
    s.add("second", 1s, time.now() + 500ms, [&] { ++second_runs; });
    s.run_due();
    ASSERT_TRUE(hold.wait_for_waiters(1));
    // No run_due(): the worker itself finds "second" three ticks late when it
    // is free again.
    time.advance(3700ms);
    hold.open();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(second_runs, 1);
    EXPECT_EQ(s.stats("second")->missed, 3u);
    EXPECT_EQ(s.stats("second")->next_due, time.now() - 3700ms + 500ms + 4s) << "the run stands for the latest tick";
    EXPECT_EQ(missed_keys(), std::vector<std::string>(3, "second"));
}

TEST_F(Scheduler, RemoveWaitsForTheRunUnderWay) {
    auto& s = make(2);
    gate hold;
    std::atomic<bool> finished{false};
    s.add("job", 1s, time.now(), [&] {
        hold.pass();
        finished = true;
    });
    s.run_due();
    ASSERT_TRUE(hold.wait_for_waiters(1));
    auto removal = std::async(std::launch::async, [&] { return s.remove("job"); });
    EXPECT_EQ(removal.wait_for(50ms), std::future_status::timeout);
    hold.open();
    EXPECT_TRUE(removal.get());
    EXPECT_TRUE(finished);
    EXPECT_FALSE(s.stats("job"));
    EXPECT_FALSE(s.remove("job"));
}

TEST_F(Scheduler, PostponeMovesTheNextRun) {
    auto& s = make(1);
    std::atomic<int> runs{0};
    s.add("job", 10s, time.now() + 10s, [&] { ++runs; });
    ASSERT_TRUE(s.postpone("job", time.now() + 2s));
    time.advance(2s);
    EXPECT_EQ(s.run_due(), time.now() + 10s);
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(s.postpone("other", time.now()));
}

TEST_F(Scheduler, AfterAStallTheScheduleMovesOnWithoutBursting) {
    auto& s = make(1, false);
    std::atomic<int> runs{0};
    s.add("job", 1s, time.now(), [&] { ++runs; });
    time.advance(10s);
    s.start();
    s.run_due();
    ASSERT_TRUE(settle(s));
    s.run_due();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(s.stats("job")->next_due, time.now() + 1s);
}

TEST_F(Scheduler, TellsHowLateEachRunStarts) {
    auto& s = make(1);
    std::mutex mutex;
    std::vector<duration> lags;
    s.on_start([&](duration lag) {
        std::lock_guard lock(mutex);
        lags.push_back(lag);
    });
    s.add("job", 10s, time.now() + 1s, [] {});
    time.advance(3s);
    s.run_due();
    ASSERT_TRUE(settle(s));
    std::lock_guard lock(mutex);
    ASSERT_EQ(lags.size(), 1u);
    EXPECT_EQ(lags[0], std::chrono::duration_cast<duration>(2s));
}

TEST_F(Scheduler, AThrowingJobKeepsItsWorker) {
    auto& s = make(1);
    std::atomic<int> runs{0};
    s.add("throws", 1s, time.now(), [&] {
        ++runs;
        throw std::runtime_error("x");
    });
    for (int i = 0; i < 3; ++i) {
        s.run_due();
        ASSERT_TRUE(settle(s));
        time.advance(1s);
    }
    EXPECT_EQ(runs, 3);
}

TEST_F(Scheduler, RejectsADuplicateKeyAndAnEmptyInterval) {
    auto& s = make(1, false);
    s.add("a", 1s, time.now(), [] {});
    EXPECT_THROW(s.add("a", 1s, time.now(), [] {}), std::invalid_argument);
    EXPECT_THROW(s.add("b", 0s, time.now(), [] {}), std::invalid_argument);
}

TEST_F(Scheduler, WorkersRunJobsOnTheRealClockAndStop) {
    steady_clock real;
    scheduler s(real, 2);
    std::atomic<int> runs{0};
    s.start();
    s.add("job", 20ms, real.now(), [&] { ++runs; });
    for (int i = 0; i < 250 && runs < 5; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_GE(runs, 5);
    EXPECT_EQ(s.stop(1s), 0u);
    const int after_stop = runs;
    std::this_thread::sleep_for(60ms);
    EXPECT_EQ(runs, after_stop) << "no run starts after stop()";
}

TEST_F(Scheduler, StopGivesUpWaitingAfterTheGrace) {
    auto& s = make(1);
    gate hold;
    s.add("stuck", 1s, time.now(), [&] { hold.pass(); });
    s.run_due();
    ASSERT_TRUE(hold.wait_for_waiters(1));
    EXPECT_EQ(s.stop(20ms), 1u);
    hold.open();
    EXPECT_TRUE(settle(s)) << "the run ends while the gate it passes still exists";
}

TEST_F(Scheduler, NothingRunsBeforeStart) {
    auto& s = make(1, false);
    std::atomic<int> runs{0};
    s.add("job", 1s, time.now(), [&] { ++runs; });
    s.run_due();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(runs, 0);
    s.start();
    s.run_due();
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(runs, 1);
}

// With one worker, the job it waits for is the earliest: a job that falls due
// before it, added or postponed, is handed to the worker instead.
class SchedulerHandOver : public Scheduler, public ::testing::WithParamInterface<bool> {};

TEST_P(SchedulerHandOver, AnEarlierJobTakesTheWorkerThatWaitsForALaterOne) {
    const bool by_postpone = GetParam();
    auto& s = make(1);
    std::mutex mutex;
    std::vector<std::string> order;
    const auto record = [&](const char* key) {
        return [&, key] {
            std::lock_guard lock(mutex);
            order.push_back(key);
        };
    };
    s.add("late", 10s, time.now() + 5s, record("late"));
    if (by_postpone) {
        s.add("early", 10s, time.now() + 8s, record("early"));
        ASSERT_TRUE(s.postpone("early", time.now() + 1s));
    } else {
        s.add("early", 10s, time.now() + 1s, record("early"));
    }
    time.advance(1s);
    EXPECT_EQ(s.run_due(), time.now() + 4s) << "the later job is still waited for";
    ASSERT_TRUE(settle(s));
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(order, std::vector<std::string>{"early"});
    }
    time.advance(4s);
    s.run_due();
    ASSERT_TRUE(settle(s));
    std::lock_guard lock(mutex);
    EXPECT_EQ(order, (std::vector<std::string>{"early", "late"}));
    EXPECT_EQ(s.stats("late")->missed, 0u);
}

INSTANTIATE_TEST_SUITE_P(Scheduler, SchedulerHandOver, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Postponed" : "Added"; });

TEST_F(Scheduler, JobsThatWaitedForAWorkerRunInDueOrder) {
    auto& s = make(1);
    gate hold;
    std::mutex mutex;
    std::vector<std::string> order;
    s.add("busy", 60s, time.now(), [&] { hold.pass(); });
    ASSERT_TRUE(hold.wait_for_waiters(1));
    for (const auto* key : {"c", "a", "b"}) {
        const auto offset = std::chrono::seconds(key[0] - 'a' + 1);
        s.add(key, 60s, time.now() + offset, [&, key] {
            std::lock_guard lock(mutex);
            order.push_back(key);
        });
    }
    time.advance(5s);
    s.run_due();
    hold.open();
    ASSERT_TRUE(settle(s));
    std::lock_guard lock(mutex);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(s.stats("a")->missed, 0u) << "late, but within its interval";
}

TEST_F(Scheduler, RemovingTheJobAWorkerWaitsForFreesTheWorker) {
    auto& s = make(1);
    std::atomic<int> other_runs{0};
    s.add("gone", 10s, time.now() + 1s, [] {});
    s.add("other", 10s, time.now() + 2s, [&] { ++other_runs; });
    EXPECT_TRUE(s.remove("gone"));
    time.advance(2s);
    EXPECT_EQ(s.run_due(), time.now() + 10s);
    ASSERT_TRUE(settle(s));
    EXPECT_EQ(other_runs, 1);
}

} // namespace
} // namespace vantrel::kelvane::probe::service
