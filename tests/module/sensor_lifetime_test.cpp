// Scans that meet each other or their sensor's end, through the exports:
// a scan asked for from inside the callback or from a second thread while one
// runs, and a sensor destroyed and created again while its scan runs.

#include "host_fixture.hpp"

#include <test_support/fake_dns_server.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

namespace vantrel::kelvane::tests {
namespace {

using namespace std::chrono_literals;
using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;

constexpr int32_t scan_in_progress = 9;

// Runs `call` on its own thread and gives its result, or ends the whole test
// program when it has not returned in time: a call stuck on a lock can never be
// joined, and the failure must show as a failure, not as a run that never ends.
template <class F> auto bounded(const char* what, F call, std::chrono::seconds limit = 10s) {
    auto task = std::make_shared<std::packaged_task<decltype(call())()>>(std::move(call));
    auto result = task->get_future();
    std::thread([task] { (*task)(); }).detach();
    if (result.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "FAILED: %s did not return within %lld s: it waits forever\n", what,
                     static_cast<long long>(limit.count()));
        std::fflush(stderr);
        std::_Exit(1);
    }
    return result.get();
}

// A one-shot signal between the DNS server's thread and the test; every wait is bounded.
class gate {
public:
    void open() {
        std::lock_guard lock(mutex_);
        if (!opened_) {
            opened_ = true;
            promise_.set_value();
        }
    }
    bool wait(std::chrono::seconds limit = 10s) const { return future_.wait_for(limit) == std::future_status::ready; }

private:
    std::mutex mutex_;
    bool opened_ = false;
    std::promise<void> promise_;
    std::shared_future<void> future_ = promise_.get_future().share();
};

std::vector<wire::SensorScanResult> results_in(const std::vector<delivered>& messages) {
    std::vector<wire::SensorScanResult> results;
    for (const auto& m : messages) {
        if (m.envelope.has_sensor_scan_result()) {
            results.push_back(m.envelope.sensor_scan_result());
        }
    }
    return results;
}

bool runtime_line_contains(const std::vector<delivered>& messages, const std::string& needle) {
    return std::any_of(messages.begin(), messages.end(), [&](const delivered& m) {
        return m.envelope.has_log_message() && m.envelope.log_message().source() == wire::LogMessage::RUNTIME &&
               m.envelope.log_message().text().find(needle) != std::string::npos;
    });
}

class SensorLifetime : public ::testing::Test {
protected:
    void SetUp() override {
        message_log::instance().take();
        current = this;
        // Answers at once, but holds every query for "held.test" until the test releases it.
        server.on_request([this](const dns_request& request) {
            if (request.name == "held.test") {
                query_arrived.open();
                EXPECT_TRUE(release.wait()) << "the test never released the held query";
            }
            return dns_action::answer().a(request.name, request.name == "new.test" ? "192.0.2.2" : "192.0.2.1");
        });
    }
    void TearDown() override {
        release.open();
        module.cleanup();
        current = nullptr;
        message_log::instance().take();
    }

    int32_t create(int32_t id, const std::string& domain) {
        const auto bytes = sensor_data("dns_v2", dns_v2_settings(domain, server.port()));
        return module.create_sensor_instance(id, bytes_of(bytes), size_of(bytes));
    }

    // Records like message_log, and asks for a scan of the same sensor from
    // inside the delivery of its first result.
    static void scanning_callback(uint64_t context, const uint8_t* data, uint32_t size) {
        message_log::callback(context, data, size);
        wire::Envelope envelope;
        if (current != nullptr && envelope.ParseFromArray(data, static_cast<int>(size)) &&
            envelope.has_sensor_scan_result() && current->inner_code == -1) {
            current->inner_code = current->module.execute_sensor_scan(envelope.sensor_scan_result().sensor_id());
        }
    }

    static inline SensorLifetime* current = nullptr;
    loaded_module module;
    gate query_arrived;
    gate release;
    std::atomic<int32_t> inner_code = -1;
    // Last, so that it stops before the gates its hook uses go away.
    fake_dns_server server;
};

TEST_F(SensorLifetime, ScanAskedForFromTheCallbackOfItsOwnScanIsRefusedAtOnce) {
    ASSERT_EQ(module.initialize(1, &scanning_callback), 0);
    ASSERT_EQ(create(1, "quick.test"), 0);
    message_log::instance().take();

    EXPECT_EQ(bounded("ExecuteSensorScan with a scan from its callback", [&] { return module.execute_sensor_scan(1); }),
              0);
    EXPECT_EQ(inner_code.load(), scan_in_progress);
    const auto messages = message_log::instance().take();
    EXPECT_EQ(results_in(messages).size(), 1u);
    EXPECT_TRUE(runtime_line_contains(messages, "Scan refused: sensor 1 is already scanning."));

    // The refusal leaves the sensor as it was: the next scan runs (and is refused inside again).
    inner_code = -1;
    EXPECT_EQ(module.execute_sensor_scan(1), 0);
    EXPECT_EQ(inner_code.load(), scan_in_progress);
}

TEST_F(SensorLifetime, OverlappingScanFromASecondThreadIsRefusedWhileTheFirstWaits) {
    ASSERT_EQ(module.initialize(1, &message_log::callback), 0);
    ASSERT_EQ(create(1, "held.test"), 0);
    message_log::instance().take();

    auto first = std::async(std::launch::async, [&] { return module.execute_sensor_scan(1); });
    ASSERT_TRUE(query_arrived.wait()) << "the first scan never asked the server";
    EXPECT_EQ(bounded("a second ExecuteSensorScan of a scanning sensor", [&] { return module.execute_sensor_scan(1); }),
              scan_in_progress);
    EXPECT_TRUE(runtime_line_contains(message_log::instance().take(), "Scan refused: sensor 1 is already scanning."));

    release.open();
    EXPECT_EQ(first.get(), 0);
    const auto results = results_in(message_log::instance().take());
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].response_code(), wire::SCAN_OK);
}

TEST_F(SensorLifetime, SensorDestroyedDuringItsScanNeverReportsUnderTheIdCreatedAgain) {
    ASSERT_EQ(module.initialize(1, &message_log::callback), 0);
    ASSERT_EQ(create(1, "held.test"), 0);
    message_log::instance().take();

    auto old_scan = std::async(std::launch::async, [&] { return module.execute_sensor_scan(1); });
    ASSERT_TRUE(query_arrived.wait()) << "the old scan never asked the server";
    EXPECT_EQ(module.destroy_sensor_instance(1), 0);
    ASSERT_EQ(create(1, "new.test"), 0);
    release.open();
    EXPECT_EQ(old_scan.get(), 0);

    const auto during = message_log::instance().take();
    for (const auto& result : results_in(during)) {
        ADD_FAILURE() << "a result arrived for sensor " << result.sensor_id() << ": " << result.message().english();
    }
    EXPECT_TRUE(runtime_line_contains(during, "Sensor 1 was destroyed during its scan: its message is dropped"));

    EXPECT_EQ(module.execute_sensor_scan(1), 0);
    const auto results = results_in(message_log::instance().take());
    ASSERT_EQ(results.size(), 1u);
    EXPECT_NE(results[0].message().english().find("192.0.2.2"), std::string::npos)
        << "the new sensor answers for itself: " << results[0].message().english();
}

} // namespace
} // namespace vantrel::kelvane::tests
