// The service in this process with the built module: sensors after their
// preconditions, scans in parallel, metrics, reload and stop.

#include "loopback_zone.hpp"

#include <probe_request.hpp>
#include <probe_service.hpp>
#include <status_page.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace vantrel::kelvane::tests {
namespace {

using namespace std::chrono_literals;
namespace service = probe::service;

// Addresses of this file's servers; nothing listens on `absent`.
// Each test has a device address of its own (port 53 is taken by address),
// so that CTest may run them side by side.
std::string device;
constexpr const char* absent = "127.93.0.99";

class ProbeService : public testing::Test {
protected:
    void SetUp() override {
        zone z;
        z.a["www.example"] = {"192.0.2.1", "192.0.2.2"};
        z.a["2.0.0.127.bl.test"] = {"127.0.0.2"};
        z.a["10.2.0.192.bl.test"] = {"127.0.0.2"};
        z.mx["example"] = {{10, "mx1.example"}, {20, "mx2.example"}, {30, "mx3.example"}};
        std::string skip;
        const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
        static const std::vector<std::string> tests = {
            "ScansReportsWaitsAndStops", "ReloadKeepsUnchangedSensorsAndRenewsChangedOnes",
            "ScansOfDifferentSensorsRunInParallel", "AProbeRunsACheckThatPassedOnlyOnceAWhile"};
        const auto number = std::find(tests.begin(), tests.end(), test) - tests.begin();
        device = "127.93." + std::to_string(1 + number) + ".1";
        server_ = serve_zone(device, z, skip);
        if (!server_ && !skip.empty()) {
            GTEST_SKIP() << skip;
        }
        ASSERT_TRUE(server_);
        service::service_options options;
        options.module_path = WEXO_MODULE_PATH;
        options.first_backoff = 200ms;
        service_ = std::make_unique<service::probe_service>(options, log_, clock_);
    }

    service::service_config config(const std::string& sensors) {
        return service::parse_config("workers: 4\nsensors:\n" + sensors, "test.yaml", service_->manifest());
    }

    // Waits (bounded) until every sensor has been scanned or waits.
    bool ready_within(std::chrono::seconds limit) {
        for (auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
            if (service_->ready()) {
                return true;
            }
            std::this_thread::sleep_for(20ms);
        }
        return false;
    }

    bool has(const std::string& line) {
        const std::string text = service_->metrics_text();
        return text.find("\n" + line + "\n") != std::string::npos;
    }

    std::string dns(const std::string& name, const std::string& host, const std::string& more) {
        return "  - {name: " + name + ", kind: dns_v2, interval: 1, settings: {host: " + host + ", " + more + "}}\n";
    }

    std::ostringstream log_text_;
    service::service_log log_{log_text_, "text", "debug"};
    service::steady_clock clock_;
    std::unique_ptr<fake_dns_server> server_;
    std::unique_ptr<service::probe_service> service_;
};

TEST_F(ProbeService, ScansReportsWaitsAndStops) {
    service_->start(config(dns("a", device, "domain: www.example") +
                           dns("mx", device, "domain: example, record_type: MX") +
                           dns("gone", absent, "domain: www.example, query_timeout: 1") +
                           "  - name: rep\n    kind: ip_reputation_score_sensor\n    interval: 1\n"
                           "    settings: {host: 192.0.2.10, dns_resolver: custom, custom_resolver: " +
                           device + ", blacklist_servers: bl.test}\n"));
    ASSERT_TRUE(ready_within(15s)) << log_text_.str();
    EXPECT_TRUE(has(R"(wexo_record_count{kind="dns_v2",sensor="a"} 2)")) << service_->metrics_text();
    EXPECT_TRUE(has(R"(wexo_record_count{kind="dns_v2",sensor="mx"} 3)"));
    EXPECT_TRUE(has(R"(wexo_records_resolved{kind="dns_v2",sensor="a"} 1)"));
    EXPECT_TRUE(has(R"(wexo_sensor_state{kind="dns_v2",sensor="a",state="ok"} 1)"));
    EXPECT_TRUE(has(R"(wexo_score{kind="ip_reputation_score_sensor",sensor="rep"} 1)"));
    EXPECT_TRUE(has(R"(wexo_servers_reached_ratio{kind="ip_reputation_score_sensor",sensor="rep"} 1)"));
    EXPECT_TRUE(has(R"(wexo_sensor_state{kind="dns_v2",sensor="gone",state="waiting"} 1)"));
    EXPECT_EQ(service_->module_id("gone"), 0) << "a sensor whose check fails is not created";
    EXPECT_NE(log_text_.str().find("precondition_failed sensor=gone reason=\"dns_check failed\""), std::string::npos)
        << log_text_.str();
    // The status page translates the last result when it is asked for.
    for (const auto& s : service::snapshot(*service_)) {
        if (s.name == "a") {
            EXPECT_EQ(s.message.rfind("OK: A=", 0), 0u) << s.message;
            ASSERT_EQ(s.channels.size(), 3u);
            EXPECT_EQ(s.channels[0].name, "Records Resolved");
        } else if (s.name == "gone") {
            EXPECT_EQ(s.message, "dns_check failed");
            EXPECT_TRUE(s.channels.empty());
        }
    }
    EXPECT_TRUE(service_->stop());
    EXPECT_EQ(service_->metrics_text().find("sensor=\"a\""), std::string::npos) << "destroyed sensors leave no series";
    EXPECT_NE(log_text_.str().find("stopped sensors=4"), std::string::npos);
}

TEST_F(ProbeService, ReloadKeepsUnchangedSensorsAndRenewsChangedOnes) {
    service_->start(config(dns("kept", device, "domain: www.example") + dns("changed", device, "domain: www.example") +
                           dns("removed", device, "domain: www.example")));
    ASSERT_TRUE(ready_within(15s)) << log_text_.str();
    const auto kept_id = service_->module_id("kept");
    const auto changed_id = service_->module_id("changed");
    ASSERT_NE(kept_id, 0);
    ASSERT_NE(changed_id, 0);
    const auto kept_scans = service_->schedule().stats("kept")->started;

    service_->reload(config(dns("kept", device, "domain: www.example") +
                            dns("changed", device, "domain: example, record_type: MX") +
                            dns("added", device, "domain: www.example")));
    EXPECT_EQ(service_->module_id("kept"), kept_id) << "same instance";
    EXPECT_GE(service_->schedule().stats("kept")->started, kept_scans) << "same schedule and counters";
    EXPECT_FALSE(service_->schedule().stats("removed"));
    ASSERT_TRUE(ready_within(15s));
    EXPECT_NE(service_->module_id("changed"), changed_id);
    EXPECT_NE(service_->module_id("changed"), 0);
    EXPECT_TRUE(has(R"(wexo_record_count{kind="dns_v2",sensor="changed"} 3)")) << service_->metrics_text();
    EXPECT_EQ(service_->metrics_text().find("sensor=\"removed\""), std::string::npos);
    EXPECT_NE(log_text_.str().find("reloaded kept=1 replaced=1 removed=1 added=1"), std::string::npos)
        << log_text_.str();
}

TEST_F(ProbeService, ScansOfDifferentSensorsRunInParallel) {
    // Every query of this server takes 300 ms: eight sensors scanned one
    // after the other would take 2.4 s per round.
    server_->on_request([](const dns_request& r) {
        return r.type == ARES_REC_TYPE_NS ? dns_action::answer()
                                          : dns_action::answer().a(r.name, "192.0.2.7").delay(300ms);
    });
    std::string sensors;
    for (int i = 0; i < 8; ++i) {
        sensors += dns("s" + std::to_string(i), device, "domain: www.example");
    }
    service_->start(config(sensors));
    ASSERT_TRUE(ready_within(15s));
    std::this_thread::sleep_for(2s);
    std::uint64_t scans = 0;
    for (int i = 0; i < 8; ++i) {
        scans += service_->schedule().stats("s" + std::to_string(i))->started;
    }
    // Four workers, 300 ms a scan: about 13 scans a second at most in
    // parallel, under 4 a second one by one.
    EXPECT_GE(scans, 20u) << log_text_.str();
}

TEST_F(ProbeService, AProbeRunsACheckThatPassedOnlyOnceAWhile) {
    // The check of dns_v2 asks the root's NS records; each asking is counted.
    auto checks = std::make_shared<std::atomic<int>>(0);
    server_->on_request([checks](const dns_request& r) {
        if (r.type == ARES_REC_TYPE_NS) {
            ++*checks;
            return dns_action::answer();
        }
        return dns_action::answer().a(r.name, "192.0.2.7");
    });
    const auto probe = [&](const std::string& target, const std::string& domain, bool debug = false) {
        const auto request = service::parse_probe_request(
            {{"kind", "dns_v2"}, {"target", target}, {"domain", domain}, {"debug", debug ? "true" : "false"}}, {},
            service_->manifest());
        return service_->probe(request.settings, request.debug);
    };
    EXPECT_TRUE(probe(device, "www.example").success);
    EXPECT_TRUE(probe(device, "www.example").success);
    EXPECT_EQ(*checks, 1) << "the second probe relies on the first one's check";
    EXPECT_TRUE(probe(device, "other.example").success);
    EXPECT_EQ(*checks, 2) << "other settings, another check";
    const auto shown = probe(device, "www.example", true);
    EXPECT_TRUE(shown.success);
    EXPECT_EQ(*checks, 3) << "a probe that shows its log runs its checks";

    // A failed check is not remembered: once the server is there, it passes.
    const std::string late = "127.93.9.1";
    for (int i = 0; i < 2; ++i) {
        const auto failed = probe(late, "www.example");
        EXPECT_FALSE(failed.success);
        EXPECT_EQ(failed.reason, "dns_check failed");
    }
    zone z;
    z.a["www.example"] = {"192.0.2.1"};
    std::string skip;
    const auto late_server = serve_zone(late, z, skip);
    ASSERT_TRUE(late_server) << skip;
    const auto passed = probe(late, "www.example");
    EXPECT_TRUE(passed.success) << passed.reason << ": checked again, and it passed";
}

} // namespace
} // namespace vantrel::kelvane::tests
