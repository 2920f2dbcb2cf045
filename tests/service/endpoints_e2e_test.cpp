// The service's endpoints from outside: /probe with its parameters, answer
// changes between scans, and the proof with a real Prometheus server and a
// real browser.

#include "external_program.hpp"
#include "loopback_zone.hpp"
#include "serve_process.hpp"

#include <test_support/server_process.hpp>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <regex>

namespace vantrel::kelvane::tests {
namespace {

using namespace std::chrono_literals;

// Two devices: the probes' two targets. Each test has addresses of its own
// (port 53 is taken by address), so that CTest may run them side by side.
std::string device;
std::string second;

int test_number() {
    static const std::vector<std::string> names = {
        "ProbeAnswersWithTheScanOfItsParameters", "AnAnswerChangeBetweenScansIsCountedAndLogged",
        "PrometheusScrapesMetricsAndProbes", "BrowserShowsOneRowPerSensorAndAnswersAsText"};
    const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
    const auto it = std::find(names.begin(), names.end(), name);
    return 1 + static_cast<int>(it - names.begin());
}

// What both devices serve: www.example (two addresses on the first, one on
// the second), a TXT record with markup in it, a name that answers slowly,
// a blacklist that lists 192.0.2.10, and no names under .nx.
dns_action answer(const std::string& server, const dns_request& r) {
    if (r.name == "slow.example") {
        return dns_action::answer().a(r.name, "192.0.2.9").delay(1500ms);
    }
    if (r.name.ends_with(".nx")) {
        return dns_action::answer(ARES_RCODE_NXDOMAIN);
    }
    auto action = dns_action::answer();
    if (r.type == ARES_REC_TYPE_A && (r.name == "2.0.0.127.bl.test" || r.name == "10.2.0.192.bl.test")) {
        action.a(r.name, "127.0.0.2");
    } else if (r.type == ARES_REC_TYPE_A && r.name == "www.example") {
        action.a(r.name, "192.0.2.1");
        if (server == device) {
            action.a(r.name, "192.0.2.2");
        }
    } else if (r.type == ARES_REC_TYPE_TXT && r.name == "markup.example") {
        action.txt(r.name, {"<script>document.title='owned'</script>"});
    }
    return action;
}

class Endpoints : public testing::Test {
protected:
    void SetUp() override {
        device = "127.95." + std::to_string(test_number()) + ".1";
        second = "127.95." + std::to_string(test_number()) + ".2";
        for (const auto& address : {device, second}) {
            std::string skip;
            auto server = serve_zone(address, zone{}, skip);
            if (!server && !skip.empty()) {
                GTEST_SKIP() << skip;
            }
            ASSERT_TRUE(server);
            server->on_request([a = address](const dns_request& r) { return answer(a, r); });
            servers_.push_back(std::move(server));
        }
        directory_ = fs::temp_directory_path() /
                     ("wexo-endpoints-e2e-" + std::to_string(getpid()) + "-" + std::to_string(test_number()));
        fs::remove_all(directory_);
        fs::create_directories(directory_);
    }
    void TearDown() override {
        service_.reset();
        if (!directory_.empty()) {
            fs::remove_all(directory_);
        }
    }

    // Starts the service with `text` as its configuration; its port.
    int start(const std::string& text) {
        const auto config = directory_ / "probe.yaml";
        write_text(config, text);
        service_ = std::make_unique<serve_process>(config, directory_);
        EXPECT_TRUE(service_->started());
        const auto port = service_->port(15s);
        EXPECT_TRUE(port) << service_->log();
        return port.value_or(0);
    }

    std::string dns_sensor(const std::string& name, const std::string& more) {
        return "  - {name: " + name + ", kind: dns_v2, interval: 1, settings: {host: " + device + ", " + more + "}}\n";
    }

    std::vector<std::unique_ptr<fake_dns_server>> servers_;
    fs::path directory_;
    std::unique_ptr<serve_process> service_;
};

// Reads `path` until `wanted` is in the body (bounded); the last body.
std::string body_with(httplib::Client& client, const std::string& path, const std::string& wanted,
                      std::chrono::seconds limit) {
    std::string body;
    for (auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
        if (auto res = client.Get(path); res && res->status == 200) {
            body = res->body;
            if (body.find(wanted) != std::string::npos) {
                break;
            }
        }
        std::this_thread::sleep_for(100ms);
    }
    return body;
}

TEST_F(Endpoints, ProbeAnswersWithTheScanOfItsParameters) {
    const int port = start("workers: 2\nmodules:\n  dns_a: {kind: dns_v2, settings: {record_type: A}}\n");
    ASSERT_NE(port, 0);
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(10s);

    auto res = client.Get(std::string("/probe?kind=dns_v2&target=") + device + "&domain=www.example");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200) << res->body;
    EXPECT_NE(res->get_header_value("Content-Type").find("version=0.0.4"), std::string::npos);
    for (const auto* line : {R"(wexo_probe_success{domain="www.example",record_type="A"} 1)",
                             R"(wexo_record_count{domain="www.example",record_type="A"} 2)",
                             R"(wexo_records_resolved{domain="www.example",record_type="A"} 1)"}) {
        EXPECT_NE(res->body.find(std::string("\n") + line + "\n"), std::string::npos) << line << "\n" << res->body;
    }
    EXPECT_NE(res->body.find("wexo_probe_duration_seconds{domain=\"www.example\",record_type=\"A\"} 0."),
              std::string::npos);
    EXPECT_EQ(res->body.find("sensor="), std::string::npos);

    // A preset with an override, at the other target.
    res = client.Get(std::string("/probe?module=dns_a&target=") + second + "&domain=www.example");
    ASSERT_TRUE(res);
    EXPECT_NE(res->body.find("\nwexo_record_count{domain=\"www.example\",record_type=\"A\"} 1\n"), std::string::npos)
        << res->body;

    // A failing scan is an answer too, with success 0.
    res = client.Get(std::string("/probe?kind=dns_v2&target=") + device + "&domain=gone.nx");
    ASSERT_TRUE(res);
    EXPECT_NE(res->body.find("\nwexo_probe_success{domain=\"gone.nx\",record_type=\"A\"} 0\n"), std::string::npos)
        << res->body;

    res = client.Get(std::string("/probe?kind=dns_v2&target=") + device + "&domain=markup.example&record_type=TXT" +
                     "&debug=true");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body.rfind(std::string("Probe of dns_v2 at ") + device + ": success: OK: TXT=", 0), 0u)
        << "the scan's message, translated, heads the answer\n"
        << res->body;
    EXPECT_NE(res->body.find("Enter sensor scan"), std::string::npos) << res->body;
    EXPECT_NE(res->body.find("ANSWER SECTION"), std::string::npos) << res->body;
    EXPECT_NE(res->body.find("<script>document.title"), std::string::npos) << "plain text, shown as it came";

    res = client.Get(std::string("/probe?kind=dns_v2&target=") + device + "&domain=x&record_type=AXFR");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 400);
    EXPECT_NE(res->body.find(R"(must be one of "A", "AAAA")"), std::string::npos) << res->body;

    // Two slow probes take both slots; a third is turned away at once.
    const std::string slow = std::string("/probe?kind=dns_v2&target=") + device + "&domain=slow.example";
    auto first = std::async(std::launch::async, [&] { return httplib::Client("127.0.0.1", port).Get(slow); });
    auto other = std::async(std::launch::async, [&] { return httplib::Client("127.0.0.1", port).Get(slow); });
    std::this_thread::sleep_for(500ms);
    const auto begin = std::chrono::steady_clock::now();
    res = client.Get(slow);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 503) << res->body;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_EQ(client.Get("/metrics")->status, 200) << "the other routes are still served";
    for (auto* f : {&first, &other}) {
        const auto done = f->get();
        ASSERT_TRUE(done);
        EXPECT_EQ(done->status, 200);
        EXPECT_NE(done->body.find("wexo_probe_success{domain=\"slow.example\",record_type=\"A\"} 1"),
                  std::string::npos);
    }
    EXPECT_EQ(client.Get(slow)->status, 200) << "slots are given back";
}

TEST_F(Endpoints, AnAnswerChangeBetweenScansIsCountedAndLogged) {
    // The record changes on the fourth question; the second fails, and a
    // failed scan is no change, nor is the same answer after it.
    auto questions = std::make_shared<std::atomic<int>>(0);
    servers_[0]->on_request([questions](const dns_request& r) {
        if (r.type != ARES_REC_TYPE_A) {
            return dns_action::answer();
        }
        const int n = ++*questions;
        if (n == 2) {
            return dns_action::answer(ARES_RCODE_SERVFAIL);
        }
        return dns_action::answer().a(r.name, n < 4 ? "192.0.2.1" : "192.0.2.66");
    });
    const int port = start("sensors:\n" + dns_sensor("www", "domain: www.example, query_timeout: 1"));
    ASSERT_NE(port, 0);
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(5s);
    const std::string counted = "\nwexo_answer_changes_total{kind=\"dns_v2\",sensor=\"www\"} 1\n";
    auto text = body_with(client, "/metrics", counted, 20s);
    ASSERT_NE(text.find(counted), std::string::npos) << text << service_->log();
    EXPECT_EQ(text.find("wexo_last_answer_change_timestamp_seconds{kind=\"dns_v2\",sensor=\"www\"} 0\n"),
              std::string::npos);
    EXPECT_GE(questions->load(), 4);
    EXPECT_NE(service_->log().find(R"(answer_changed sensor=www before="A=192.0.2.1" after="A=192.0.2.66")"),
              std::string::npos)
        << service_->log();
    const auto log = client.Get("/sensors/www/log");
    ASSERT_TRUE(log);
    EXPECT_NE(log->body.find("Answer changed from: A=192.0.2.1\nAnswer changed to:   A=192.0.2.66"), std::string::npos)
        << log->body;
    // Two more scans of the same answer change nothing.
    const int seen = questions->load();
    for (auto end = std::chrono::steady_clock::now() + 10s;
         questions->load() < seen + 2 && std::chrono::steady_clock::now() < end;) {
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_NE(client.Get("/metrics")->body.find(counted), std::string::npos);
    EXPECT_EQ(client.Get("/sensors/nobody/log")->status, 404);
}

// A free port for Prometheus, and its configuration: the service's /metrics,
// and /probe for two targets with the usual relabelling.
std::string prometheus_config(int service_port) {
    const std::string service = "127.0.0.1:" + std::to_string(service_port);
    return "global: {scrape_interval: 1s, scrape_timeout: 1s, evaluation_interval: 1s}\n"
           "scrape_configs:\n"
           "  - job_name: wexo\n"
           "    static_configs: [{targets: ['" +
           service +
           "']}]\n"
           "  - job_name: wexo-probe\n"
           "    metrics_path: /probe\n"
           "    params: {module: [dns_a], domain: [www.example]}\n"
           "    static_configs: [{targets: ['" +
           device + "', '" + second +
           "']}]\n"
           "    relabel_configs:\n"
           "      - {source_labels: [__address__], target_label: __param_target}\n"
           "      - {source_labels: [__param_target], target_label: instance}\n"
           "      - {target_label: __address__, replacement: '" +
           service + "'}\n";
}

// The series a PromQL query returns: each one's labels and value.
std::vector<std::pair<std::map<std::string, std::string>, std::string>> series(httplib::Client& prometheus,
                                                                               const std::string& query) {
    std::vector<std::pair<std::map<std::string, std::string>, std::string>> all;
    const auto res = prometheus.Get("/api/v1/query", httplib::Params{{"query", query}}, httplib::Headers{});
    if (!res || res->status != 200) {
        return all;
    }
    const auto j = nlohmann::json::parse(res->body, nullptr, false);
    if (j.is_discarded() || !j.contains("data")) {
        return all;
    }
    for (const auto& s : j["data"]["result"]) {
        all.emplace_back(s["metric"].get<std::map<std::string, std::string>>(), s["value"][1].get<std::string>());
    }
    return all;
}

TEST_F(Endpoints, PrometheusScrapesMetricsAndProbes) {
    const std::string prometheus_program = "/usr/bin/prometheus";
    ASSERT_TRUE(fs::exists(prometheus_program)) << "the prometheus package is missing: run scripts/setup";
    const int port = start("modules:\n  dns_a: {kind: dns_v2, settings: {record_type: A}}\nsensors:\n" +
                           dns_sensor("www", "domain: www.example") +
                           "  - {name: reputation, kind: ip_reputation_score_sensor, interval: 1, settings: "
                           "{host: 192.0.2.10, dns_resolver: custom, custom_resolver: " +
                           device + ", blacklist_servers: bl.test}}\n");
    ASSERT_NE(port, 0);

    test_support::server_process prometheus("prometheus");
    const auto web_port = test_support::free_loopback_port();
    ASSERT_NE(web_port, 0);
    write_text(prometheus.directory() / "prometheus.yml", prometheus_config(port));
    httplib::Client api("127.0.0.1", web_port);
    api.set_read_timeout(2s);
    api.set_connection_timeout(1s);
    const std::string problem = prometheus.start(
        prometheus_program,
        {"--config.file=" + (prometheus.directory() / "prometheus.yml").string(),
         "--storage.tsdb.path=" + (prometheus.directory() / "data").string(),
         "--web.listen-address=127.0.0.1:" + std::to_string(web_port)},
        [&] {
            const auto res = api.Get("/-/ready");
            return res && res->status == 200;
        },
        20s);
    ASSERT_EQ(problem, "");

    // Two scrape intervals after the first successful scrape of every target.
    using labels = std::map<std::string, std::string>;
    const auto value_of = [&](const std::string& query, const labels& wanted) -> std::string {
        for (const auto& [l, v] : series(api, query)) {
            if (std::all_of(wanted.begin(), wanted.end(), [&l](const auto& w) {
                    const auto it = l.find(w.first);
                    return it != l.end() && it->second == w.second;
                })) {
                return v;
            }
        }
        return "";
    };
    const std::vector<std::tuple<std::string, labels, std::string>> expected = {
        {"wexo_sensor_state", {{"sensor", "www"}, {"state", "ok"}, {"job", "wexo"}}, "1"},
        {"wexo_record_count", {{"sensor", "www"}, {"kind", "dns_v2"}}, "2"},
        {"wexo_sensor_state", {{"sensor", "reputation"}, {"state", "ok"}}, "1"},
        {"wexo_score", {{"sensor", "reputation"}, {"kind", "ip_reputation_score_sensor"}}, "1"},
        {"wexo_servers_reached_ratio", {{"sensor", "reputation"}}, "1"},
        {"wexo_probe_success",
         {{"job", "wexo-probe"}, {"instance", device}, {"domain", "www.example"}, {"record_type", "A"}},
         "1"},
        {"wexo_probe_success", {{"job", "wexo-probe"}, {"instance", second}, {"domain", "www.example"}}, "1"},
        {"wexo_record_count", {{"job", "wexo-probe"}, {"instance", device}}, "2"},
        {"wexo_record_count", {{"job", "wexo-probe"}, {"instance", second}}, "1"},
        {"count_over_time(up{job=\"wexo-probe\"}[1m]) >= 2", {{"instance", device}}, ""},
        {"count_over_time(up{job=\"wexo-probe\"}[1m]) >= 2", {{"instance", second}}, ""},
        {"count_over_time(up{job=\"wexo\"}[1m]) >= 2", {}, ""},
    };
    std::vector<std::string> missing;
    for (auto end = std::chrono::steady_clock::now() + 25s; std::chrono::steady_clock::now() < end;) {
        missing.clear();
        for (const auto& [query, wanted, value] : expected) {
            const auto got = value_of(query, wanted);
            if (got.empty() || (!value.empty() && got != value)) {
                missing.push_back(query + " " + testing::PrintToString(wanted) + " = \"" + got + "\", not " + value);
            }
        }
        if (missing.empty()) {
            break;
        }
        std::this_thread::sleep_for(250ms);
    }
    EXPECT_TRUE(missing.empty()) << testing::PrintToString(missing) << "\n" << prometheus.log_text();
    prometheus.stop();
}

TEST_F(Endpoints, BrowserShowsOneRowPerSensorAndAnswersAsText) {
    const std::string chromium = "/usr/bin/chromium";
    ASSERT_TRUE(fs::exists(chromium)) << "the chromium package is missing: run scripts/setup";
    const int port = start("sensors:\n" + dns_sensor("www", "domain: www.example") +
                           dns_sensor("markup", "domain: markup.example, record_type: TXT") +
                           "  - {name: waits, kind: dns_v2, interval: 1, settings: {host: 127.95.0.99, domain: "
                           "www.example, query_timeout: 1}}\n");
    ASSERT_NE(port, 0);
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(5s);
    // Wait (bounded) until the two sensors that can be scanned were, twice.
    body_with(client, "/api/sensors", "\"last_scan_timestamp\": 1", 15s);
    for (auto end = std::chrono::steady_clock::now() + 15s; std::chrono::steady_clock::now() < end;) {
        const auto j = nlohmann::json::parse(client.Get("/api/sensors")->body);
        std::size_t scanned = 0;
        for (const auto& s : j["sensors"]) {
            scanned += s["response_times_seconds"].size() >= 2 ? 1 : 0;
        }
        if (scanned >= 2) {
            break;
        }
        std::this_thread::sleep_for(100ms);
    }

    const auto profile = fs::path(WEXO_TEST_WORK_DIR) / ("chromium-profile-" + std::to_string(getpid()));
    fs::remove_all(profile);
    fs::create_directories(profile);
    const auto run =
        run_program({chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     // Chromium resolves names of its own (to the machine's resolver)
                     // even so; no name is resolved at all, the page is an address.
                     "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1", "--user-data-dir=" + profile.string(),
                     "--dump-dom", "http://127.0.0.1:" + std::to_string(port) + "/status"},
                    directory_, 60s);
    fs::remove_all(profile);
    ASSERT_EQ(run.exit_code, 0) << run.errors;
    const std::string& dom = run.output;

    const std::regex row(R"re(<tr class="sensor" id="sensor-([a-z]+)">(.*?)</tr>)re");
    std::map<std::string, std::string> rows;
    for (std::sregex_iterator it(dom.begin(), dom.end(), row), end; it != end; ++it) {
        rows[(*it)[1]] = (*it)[2];
    }
    ASSERT_EQ(rows.size(), 3u) << dom;
    EXPECT_NE(rows["www"].find(R"(<td class="state ok">ok</td>)"), std::string::npos) << rows["www"];
    EXPECT_NE(rows["www"].find(R"(<a href="/sensors/www/log">www</a>)"), std::string::npos);
    EXPECT_NE(rows["www"].find("<td class=\"asks\">A www.example at " + device + "</td>"), std::string::npos);
    EXPECT_NE(rows["www"].find(R"(Record Count: <span class="value">2</span>)"), std::string::npos) << rows["www"];
    EXPECT_NE(rows["www"].find("<svg"), std::string::npos);
    EXPECT_NE(rows["waits"].find(R"(<td class="state waiting">waiting</td>)"), std::string::npos) << rows["waits"];
    // The TXT answer is text on the page, never an element.
    EXPECT_NE(rows["markup"].find("&lt;script&gt;document.title='owned'&lt;/script&gt;"), std::string::npos)
        << rows["markup"];
    EXPECT_EQ(dom.find("<script"), std::string::npos);
    EXPECT_EQ(dom.find("owned</title>"), std::string::npos);
}

} // namespace
} // namespace vantrel::kelvane::tests
