// The IP reputation sensor driven through the module's ten exports, as a host
// drives it, against the in-process fake DNS server and against rbldnsd.

#include "host_fixture.hpp"

#include <test_support/fake_dns_server.hpp>
#include <test_support/private_resolver.hpp>
#include <test_support/server_process.hpp>

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <ostream>
#include <sstream>
#include <thread>

namespace vantrel::kelvane::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

constexpr int sensor_id = 21;
const std::string device = "192.0.2.10";

struct sensor_setup {
    std::string lines;
    std::string host = device;
    std::string ipversion = "IPv4";
    std::string resolver = "custom";
    std::string resolver_address = "127.0.0.1";
    std::uint16_t port = 53;
};

std::string settings_for(const sensor_setup& s) {
    const std::string own = "ip_reputation_score_section.ip_reputation_score_group.";
    return sensor_data("ip_reputation_score_sensor", {{"host", s.host},
                                                      {"logging", "enabled"},
                                                      {"timeout", "1"},
                                                      {"interval", "60"},
                                                      {"ipversion", s.ipversion},
                                                      {"vantrelcloudapikey", ""},
                                                      {own + "dns_resolver", s.resolver},
                                                      {own + "custom_resolver", s.resolver_address},
                                                      {own + "custom_resolver_port", std::to_string(s.port)},
                                                      {own + "blacklist_servers", s.lines}});
}

struct scan_report {
    wire::SensorScanResult result;
    std::vector<std::string> lines;
    std::vector<std::int64_t> values() const {
        std::vector<std::int64_t> v;
        for (const auto& c : result.values()) {
            v.push_back(c.value());
        }
        return v;
    }
};

// One module instance with one sensor in it; destroyed with the object.
class reputation_host {
public:
    explicit reputation_host(const sensor_setup& setup) {
        message_log::instance().take();
        EXPECT_EQ(module_.initialize(1, &message_log::callback), 0);
        const std::string bytes = settings_for(setup);
        EXPECT_EQ(module_.create_sensor_instance(sensor_id, bytes_of(bytes), size_of(bytes)), 0);
        message_log::instance().take();
    }
    ~reputation_host() {
        module_.destroy_sensor_instance(sensor_id);
        module_.cleanup();
        message_log::instance().take();
    }

    scan_report scan() {
        EXPECT_EQ(module_.execute_sensor_scan(sensor_id), 0);
        scan_report report;
        int results = 0;
        for (const auto& m : message_log::instance().take()) {
            if (m.envelope.has_sensor_scan_result()) {
                report.result = m.envelope.sensor_scan_result();
                ++results;
            } else if (m.envelope.has_log_message() && m.envelope.log_message().source() == wire::LogMessage::SENSOR) {
                report.lines.push_back(m.envelope.log_message().text());
            }
        }
        EXPECT_EQ(results, 1) << "every scan sends exactly one result";
        return report;
    }

private:
    loaded_module module_;
};

// Test entries answer 127.0.0.2 and every other name NXDOMAIN, unless a
// test scripts the name.
using script = std::map<std::string, std::function<dns_action(const dns_request&)>>;

void serve(fake_dns_server& server, script answers) {
    server.on_request([answers = std::move(answers)](const dns_request& r) {
        if (const auto it = answers.find(r.name); it != answers.end()) {
            return it->second(r);
        }
        if (r.name.starts_with("2.0.0.127.")) {
            return dns_action::answer().a(r.name, "127.0.0.2");
        }
        return dns_action::answer(ARES_RCODE_NXDOMAIN);
    });
}

std::function<dns_action(const dns_request&)> a_records(std::vector<std::string> addresses) {
    return [addresses](const dns_request& r) {
        auto action = dns_action::answer();
        for (const auto& address : addresses) {
            action.a(r.name, address);
        }
        return action;
    };
}

const std::string v6_device = "2001:db8::10";
const std::string v6_reversed = "0.1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2";

struct outcome_case {
    std::string name;
    sensor_setup setup;
    script answers; // fake server only
    std::int64_t score;
    std::int64_t percent;
    std::vector<std::string> expected_lines;
};
void PrintTo(const outcome_case& c, std::ostream* os) {
    *os << c.name;
}

void expect_outcome(const scan_report& report, const outcome_case& c) {
    EXPECT_EQ(report.result.response_code(), wire::SCAN_OK) << report.result.message().english();
    EXPECT_EQ(report.result.message().english(), "OK");
    EXPECT_THAT(report.values(), ElementsAre(c.score, c.percent));
    for (const auto& line : c.expected_lines) {
        EXPECT_THAT(report.lines, Contains(line));
    }
}

class FakeServerOutcome : public ::testing::TestWithParam<outcome_case> {};

TEST_P(FakeServerOutcome, ScoreAndPercentageAsTheHostReceivesThem) {
    fake_dns_server server;
    serve(server, GetParam().answers);
    auto setup = GetParam().setup;
    setup.port = server.port();
    reputation_host host(setup);
    expect_outcome(host.scan(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Module, FakeServerOutcome,
    ::testing::Values(
        outcome_case{"ListedDevice",
                     {"z"},
                     {{"10.2.0.192.z", a_records({"127.0.0.2"})}},
                     1,
                     100,
                     {"10.2.0.192.z listed with value 127.0.0.2 (score: 1)", "Score: 1, Servers reached: 1/1 (100%)"}},
        outcome_case{"NxdomainAndTimeout",
                     {"a\nb"},
                     {{"10.2.0.192.b", [](const dns_request&) { return dns_action::silence(); }}},
                     0,
                     50,
                     {"10.2.0.192.a not listed (NXDOMAIN)",
                      "Query to 10.2.0.192.b failed: Error 12 occurred: Timeout while contacting DNS servers.",
                      "Score: 0, Servers reached: 1/2 (50%)"}},
        outcome_case{"ThreeServersTwoReached",
                     {"a\nb\nc"},
                     {{"10.2.0.192.c", [](const dns_request&) { return dns_action::answer(ARES_RCODE_REFUSED); }}},
                     0,
                     66,
                     {"Score: 0, Servers reached: 2/3 (66%)"}},
        outcome_case{"NegativeScoresGoBelowZero",
                     {"a*-3\nb"},
                     {{"10.2.0.192.a", a_records({"127.0.0.2"})}, {"10.2.0.192.b", a_records({"127.0.0.2"})}},
                     -2,
                     100,
                     {"Score: -2, Servers reached: 2/2 (100%)"}},
        outcome_case{"IPv6DeviceReversedByNibbles",
                     {"z", v6_device, "IPv6"},
                     {{v6_reversed + ".z", a_records({"127.0.0.3"})}},
                     1,
                     100,
                     {v6_reversed + ".z listed with value 127.0.0.3 (score: 1)"}}),
    [](const auto& info) { return info.param.name; });

std::vector<std::string> names_asked(const fake_dns_server& server) {
    std::vector<std::string> names;
    for (const auto& r : server.requests()) {
        names.push_back(r.name);
    }
    return names;
}

TEST(FakeServerModule, CrLfAndBlankLinesAskAndScoreLikeLf) {
    std::vector<std::string> asked[2];
    std::vector<std::int64_t> values[2];
    const char* texts[2] = {"a*2\nb", "\r\na*2\r\n\r\nb\r\n"};
    for (int i = 0; i < 2; ++i) {
        fake_dns_server server;
        serve(server, {{"10.2.0.192.a", a_records({"127.0.0.2"})}});
        reputation_host host({texts[i], device, "IPv4", "custom", "127.0.0.1", server.port()});
        values[i] = host.scan().values();
        asked[i] = names_asked(server);
    }
    // Zones are asked at once, so only which names were asked counts, not their order.
    EXPECT_THAT(asked[0], UnorderedElementsAre("2.0.0.127.a", "2.0.0.127.b", "10.2.0.192.a", "10.2.0.192.b"));
    EXPECT_THAT(asked[1], UnorderedElementsAreArray(asked[0]));
    EXPECT_THAT(values[0], ElementsAre(2, 100));
    EXPECT_EQ(values[0], values[1]);
}

// Ten zones, three of them silent, at a timeout of 1 s: asked at once they
// cost one timeout, not three, and the host still receives the lines, the
// score and the share of a scan that asked them one after the other.
TEST(FakeServerModule, SilentZonesCostOneTimeoutAndKeepTheListOrder) {
    fake_dns_server server;
    const auto silent = [](const dns_request&) { return dns_action::silence(); };
    serve(server, {{"10.2.0.192.z1", a_records({"127.0.0.2"})},
                   {"10.2.0.192.z4", silent},
                   {"10.2.0.192.z5", a_records({"127.0.0.3", "127.0.0.4"})},
                   {"10.2.0.192.z7", silent},
                   {"10.2.0.192.z9", silent}});
    std::string lines;
    for (int zone = 0; zone < 10; ++zone) {
        lines += "z" + std::to_string(zone) + (zone == 5 ? "*3" : "") + "\n";
    }
    reputation_host host({lines, device, "IPv4", "custom", "127.0.0.1", server.port()});
    host.scan(); // builds and checks the list

    const auto start = std::chrono::steady_clock::now();
    const auto report = host.scan();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);

    std::vector<std::string> expected = {"#################### Enter sensor scan ####################"};
    for (int zone = 0; zone < 10; ++zone) {
        const std::string name = "10.2.0.192.z" + std::to_string(zone);
        expected.push_back("Using IPv4 address: 127.0.0.1");
        if (zone == 1) {
            expected.push_back(name + " listed with value 127.0.0.2 (score: 1)");
        } else if (zone == 5) {
            expected.push_back(name + " listed with value 127.0.0.3 (score: 3)");
            expected.push_back(name + " listed with value 127.0.0.4 (score: 3)");
        } else if (zone == 4 || zone == 7 || zone == 9) {
            expected.push_back("Query to " + name +
                               " failed: Error 12 occurred: Timeout while contacting DNS servers.");
        } else {
            expected.push_back(name + " not listed (NXDOMAIN)");
        }
    }
    expected.push_back("Score: 7, Servers reached: 7/10 (70%)");
    expected.push_back("OK");
    expected.push_back("#################### Exit sensor scan  ####################");
    EXPECT_EQ(report.lines, expected);
    EXPECT_THAT(report.values(), ElementsAre(7, 70));
}

TEST(FakeServerModule, EmptySettingReportsZeroOnEveryScan) {
    fake_dns_server server;
    serve(server, {});
    reputation_host host({"", device, "IPv4", "custom", "127.0.0.1", server.port()});
    for (int scan = 0; scan < 2; ++scan) {
        const auto report = host.scan();
        EXPECT_EQ(report.result.response_code(), wire::SCAN_OK);
        EXPECT_EQ(report.result.message().english(), "OK");
        EXPECT_THAT(report.values(), ElementsAre(0, 0));
        EXPECT_THAT(report.lines, Contains("Score: 0, Servers reached: 0/0 (0%)"));
    }
    EXPECT_EQ(server.request_count(), 0u);
}

TEST(FakeServerModule, ZoneFailingTheTestEntryFailsTheScanUntilItIsFixed) {
    fake_dns_server server;
    serve(server, {{"2.0.0.127.bad", a_records({"10.0.0.1"})}});
    reputation_host host({"good\nbad", device, "IPv4", "custom", "127.0.0.1", server.port()});
    const auto failed = host.scan();
    EXPECT_EQ(failed.result.response_code(), wire::SCAN_ERROR);
    EXPECT_EQ(failed.result.message().key(), "error.dnsbl_initial_check_failed");
    EXPECT_EQ(failed.result.message().english(),
              "The server 'bad' failed the initial response check. Make sure that the server is available as a DNS "
              "blacklist server.");
    EXPECT_TRUE(failed.result.values().empty());

    serve(server, {});
    const auto fixed = host.scan();
    EXPECT_THAT(fixed.values(), ElementsAre(0, 100));
    EXPECT_THAT(names_asked(server), UnorderedElementsAre("2.0.0.127.good", "2.0.0.127.bad", "2.0.0.127.good",
                                                          "2.0.0.127.bad", "10.2.0.192.good", "10.2.0.192.bad"));
}

// rbldnsd in the foreground on 127.0.0.1 and a free port, one per suite.
class Rbldnsd : public ::testing::TestWithParam<outcome_case> {
protected:
    static constexpr const char* path = "/usr/sbin/rbldnsd";

    static void SetUpTestSuite() {
        if (::access(path, X_OK) != 0) {
            return;
        }
        server_ = std::make_unique<test_support::server_process>("rbldnsd");
        const auto& directory = server_->directory();
        // The test entry is listed in every zone; the device in "bl" twice
        // (two datasets of one zone), in "six" by its IPv6 address.
        std::ofstream(directory / "test-entry") << ":127.0.0.2:Test entry\n127.0.0.2\n";
        std::ofstream(directory / "listed") << ":127.0.0.2:Listed\n192.0.2.10\n";
        std::ofstream(directory / "listed-too") << ":127.0.0.4:Listed again\n192.0.2.10\n";
        std::ofstream(directory / "six") << v6_device << " :127.0.0.3:Listed by IPv6\n";
        port_ = test_support::free_loopback_port();
        start_error_ = server_->start(
            path,
            {"-n", "-b", "127.0.0.1/" + std::to_string(port_), "-w", directory.string(),
             "bl.test:ip4set:test-entry,listed", "bl.test:ip4set:listed-too", "nx.test:ip4set:test-entry",
             "six.test:ip4set:test-entry", "six.test:ip6trie:six"},
            [] { return server_->log_text().find(" started") != std::string::npos; }, 10s);
    }

    static void TearDownTestSuite() { server_.reset(); }

    void SetUp() override {
        if (::access(path, X_OK) != 0) {
            GTEST_SKIP() << path << " is not installed";
        }
        ASSERT_TRUE(start_error_.empty()) << start_error_;
    }

    static inline std::unique_ptr<test_support::server_process> server_;
    static inline std::uint16_t port_ = 0;
    static inline std::string start_error_;
};

TEST_P(Rbldnsd, ScoreAndPercentageAsTheHostReceivesThem) {
    auto setup = GetParam().setup;
    setup.port = port_;
    reputation_host host(setup);
    expect_outcome(host.scan(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Module, Rbldnsd,
                         ::testing::Values(outcome_case{"ListedTwiceCountsTwice",
                                                        {"bl.test"},
                                                        {},
                                                        2,
                                                        100,
                                                        {"10.2.0.192.bl.test listed with value 127.0.0.2 (score: 1)",
                                                         "10.2.0.192.bl.test listed with value 127.0.0.4 (score: 1)"}},
                                           outcome_case{"NotListedIsNxdomainAndReached",
                                                        {"nx.test\nbl.test=127.0.0.[1..3]*-4"},
                                                        {},
                                                        -4,
                                                        100,
                                                        {"10.2.0.192.nx.test not listed (NXDOMAIN)",
                                                         "Score: -4, Servers reached: 2/2 (100%)"}},
                                           outcome_case{
                                               "IPv6DeviceReversedByNibbles",
                                               {"six.test", v6_device, "IPv6"},
                                               {},
                                               1,
                                               100,
                                               {v6_reversed + ".six.test listed with value 127.0.0.3 (score: 1)"}}),
                         [](const auto& info) { return info.param.name; });

TEST_F(Rbldnsd, ZoneTheServerDoesNotServeFailsTheTestEntry) {
    reputation_host host({"bl.test\nother.test", device, "IPv4", "custom", "127.0.0.1", port_});
    const auto report = host.scan();
    EXPECT_EQ(report.result.response_code(), wire::SCAN_ERROR);
    EXPECT_EQ(report.result.message().english(),
              "The server 'other.test' failed the initial response check. Make sure that the server is available as "
              "a DNS blacklist server.");
}

// The system resolver's queries go to the server of resolv.conf (a private
// one, see private_resolver.hpp).
TEST(SystemResolver, QueriesGoToTheResolverOfResolvConf) {
    constexpr const char* resolver_address = "127.0.83.53";
    if (!test_support::enter_private_resolver(resolver_address)) {
        return;
    }
    std::unique_ptr<fake_dns_server> server;
    try {
        server = std::make_unique<fake_dns_server>(fake_dns_server::options{resolver_address, 53});
    } catch (const std::system_error& e) {
        GTEST_SKIP() << "port 53 on " << resolver_address << " refused: " << e.what();
    }
    serve(*server, {{"10.2.0.192.z", a_records({"127.0.0.2"})}});
    reputation_host host({"z", device, "IPv4", "system", "", 53});
    const auto report = host.scan();
    EXPECT_THAT(report.values(), ElementsAre(1, 100));
    EXPECT_THAT(report.lines, Contains("No DNS server(s) set: Using local resolver instead."));
    EXPECT_THAT(names_asked(*server), ElementsAre("2.0.0.127.z", "10.2.0.192.z"));
}

} // namespace
} // namespace vantrel::kelvane::tests
