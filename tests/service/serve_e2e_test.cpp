// wexo-probe serve as an operator runs it: a configuration file, metrics over
// HTTP, a reload by SIGHUP and a clean stop by SIGTERM.

#include "loopback_zone.hpp"
#include "serve_process.hpp"

#include <httplib.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <thread>

namespace vantrel::kelvane::tests {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr const char* device = "127.94.0.1";
constexpr const char* absent = "127.94.0.99";

std::string sensors_file(bool changed) {
    std::string text = "sensors:\n"
                       "  - name: www\n    kind: dns_v2\n    interval: 1\n    labels: {team: dns}\n"
                       "    settings: {host: " +
                       std::string(device) +
                       ", domain: www.example, logging: enabled}\n"
                       "  - name: waits\n    kind: dns_v2\n    interval: 1\n"
                       "    settings: {host: " +
                       absent + ", domain: www.example, query_timeout: 1}\n";
    text += changed ? "  - name: mail\n    kind: dns_v2\n    interval: 1\n    settings: {host: " + std::string(device) +
                          ", domain: www.example}\n"
                    : "  - name: mail\n    kind: dns_v2\n    interval: 1\n    settings: {host: " + std::string(device) +
                          ", domain: example, record_type: MX}\n"
                          "  - name: reputation\n    kind: ip_reputation_score_sensor\n    interval: 1\n"
                          "    settings:\n      host: 192.0.2.10\n      dns_resolver: custom\n"
                          "      custom_resolver: " +
                          device + "\n      blacklist_servers: |\n        bl.test\n        other.test\n";
    return text;
}

class ServeEndToEnd : public testing::Test {
protected:
    void SetUp() override {
        zone z;
        z.a["www.example"] = {"192.0.2.1", "192.0.2.2"};
        z.a["2.0.0.127.bl.test"] = {"127.0.0.2"};
        z.a["10.2.0.192.bl.test"] = {"127.0.0.2"};
        z.a["2.0.0.127.other.test"] = {"127.0.0.2"};
        z.mx["example"] = {{10, "mx1.example"}, {20, "mx2.example"}, {30, "mx3.example"}};
        std::string skip;
        server_ = serve_zone(device, z, skip);
        if (!server_ && !skip.empty()) {
            GTEST_SKIP() << skip;
        }
        ASSERT_TRUE(server_);
        directory_ = fs::temp_directory_path() / ("wexo-serve-e2e-" + std::to_string(getpid()));
        fs::remove_all(directory_);
        fs::create_directories(directory_);
    }
    void TearDown() override {
        if (!directory_.empty()) {
            fs::remove_all(directory_);
        }
    }

    std::unique_ptr<fake_dns_server> server_;
    fs::path directory_;
};

// Reads /metrics until every wanted line is there (bounded); returns the last text.
std::string metrics_with(httplib::Client& client, const std::vector<std::string>& lines, const std::string& absent_text,
                         std::chrono::seconds limit) {
    std::string text;
    for (auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
        if (auto res = client.Get("/metrics"); res && res->status == 200) {
            text = res->body;
            bool all = absent_text.empty() || text.find(absent_text) == std::string::npos;
            for (const auto& l : lines) {
                all = all && text.find("\n" + l + "\n") != std::string::npos;
            }
            if (all) {
                return text;
            }
        }
        std::this_thread::sleep_for(100ms);
    }
    return text;
}

bool contains_all(const std::string& text, const std::vector<std::string>& lines) {
    for (const auto& l : lines) {
        if (text.find("\n" + l + "\n") == std::string::npos) {
            ADD_FAILURE() << "missing: " << l;
            return false;
        }
    }
    return true;
}

TEST_F(ServeEndToEnd, MetricsReloadAndCleanStop) {
    const auto config = directory_ / "probe.yaml";
    write_text(config, sensors_file(false));
    serve_process service(config, directory_);
    ASSERT_TRUE(service.started());
    const auto port = service.port(15s);
    ASSERT_TRUE(port) << service.log();
    httplib::Client client("127.0.0.1", *port);
    client.set_read_timeout(5s);

    const std::vector<std::string> first = {
        R"(wexo_record_count{kind="dns_v2",sensor="www",team="dns"} 2)",
        R"(wexo_records_resolved{kind="dns_v2",sensor="www",team="dns"} 1)",
        R"(wexo_record_count{kind="dns_v2",sensor="mail"} 3)",
        R"(wexo_score{kind="ip_reputation_score_sensor",sensor="reputation"} 1)",
        R"(wexo_servers_reached_ratio{kind="ip_reputation_score_sensor",sensor="reputation"} 1)",
        R"(wexo_sensor_state{kind="dns_v2",sensor="waits",state="waiting"} 1)",
        R"(wexo_sensor_state{kind="dns_v2",sensor="www",state="ok",team="dns"} 1)",
        R"(wexo_sensor_info{domain="example",host="127.94.0.1",kind="dns_v2",record_type="MX",sensor="mail"} 1)",
        R"(wexo_sensor_info{blacklists="2",host="192.0.2.10",kind="ip_reputation_score_sensor",sensor="reputation"} 1)",
        R"(wexo_scan_success{kind="dns_v2",sensor="mail"} 1)",
    };
    auto text = metrics_with(client, first, "", 20s);
    ASSERT_TRUE(contains_all(text, first)) << text << service.log();
    EXPECT_NE(text.find("wexo_response_time_seconds{kind=\"dns_v2\",sensor=\"www\",team=\"dns\"} "),
              std::string::npos);
    auto ready = client.Get("/-/ready");
    ASSERT_TRUE(ready);
    EXPECT_EQ(ready->status, 200);
    EXPECT_EQ(client.Get("/-/healthy")->status, 200);

    // A broken file is refused with its place, and the running set stays.
    write_text(config, "sensors:\n  - {name: x, kind: dns_v2, settings: {host: h, domain: d, port: 0}}\n");
    const auto refused = client.Post("/-/reload");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 400);
    EXPECT_NE(refused->body.find(config.string() + ":2:"), std::string::npos) << refused->body;
    EXPECT_NE(refused->body.find("from 1 to 65535"), std::string::npos) << refused->body;
    EXPECT_TRUE(contains_all(client.Get("/metrics")->body, {first[0]}));

    // A changed file: "mail" asks anew, "reputation" goes, "www" stays.
    write_text(config, sensors_file(true));
    service.signal(SIGHUP);
    const std::vector<std::string> second = {R"(wexo_record_count{kind="dns_v2",sensor="mail"} 2)", first[0]};
    text = metrics_with(client, second, "sensor=\"reputation\"", 20s);
    ASSERT_TRUE(contains_all(text, second)) << text << service.log();
    EXPECT_EQ(text.find("sensor=\"reputation\""), std::string::npos);
    EXPECT_NE(service.log().find("reloaded kept=2 replaced=1 removed=1 added=0"), std::string::npos) << service.log();

    service.signal(SIGTERM);
    const auto code = service.wait(30s);
    ASSERT_TRUE(code) << "still running after SIGTERM\n" << service.log();
    EXPECT_EQ(*code, 0) << service.log();
    const auto log = service.log();
    for (const auto* name : {"www", "waits", "mail"}) {
        EXPECT_NE(log.find(std::string("sensor_removed sensor=") + name), std::string::npos) << log;
    }
    EXPECT_NE(log.find("stopped sensors=3"), std::string::npos) << log;
    // The sensor with logging on wrote its log, down to its clean-up.
    const auto sensor_log = read_text(directory_ / "sensors" / "www.log");
    EXPECT_NE(sensor_log.find("Enter sensor scan"), std::string::npos) << sensor_log;
    EXPECT_NE(sensor_log.find("Cleaning Up"), std::string::npos) << sensor_log.substr(0, 2000);
    EXPECT_FALSE(fs::exists(directory_ / "sensors" / "mail.log")) << "logging is off for mail";
}

// Needs no DNS server: it must not hold the fixture's port 53 while the
// other test of this file runs beside it.
TEST(ServeStart, ABrokenFileStopsTheStartWithItsPlace) {
    const auto directory = fs::temp_directory_path() / ("wexo-serve-broken-" + std::to_string(getpid()));
    fs::remove_all(directory);
    fs::create_directories(directory);
    const auto config = directory / "probe.yaml";
    write_text(config, "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d, recordtype: MX}\n");
    serve_process service(config, directory);
    ASSERT_TRUE(service.started());
    const auto code = service.wait(15s);
    ASSERT_TRUE(code);
    EXPECT_EQ(*code, 1);
    EXPECT_NE(service.log().find(config.string() +
                                 ":4:36: \\\"recordtype\\\" is not a setting of dns_v2. Valid keys: host, logging,"),
              std::string::npos)
        << service.log();
    fs::remove_all(directory);
}

} // namespace
} // namespace vantrel::kelvane::tests
