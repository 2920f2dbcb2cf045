#include <dns/ip_reputation_score_sensor.hpp>

#include <dns/exceptions.hpp>
#include <dns/manifest.hpp>
#include <dns/manifest_settings.hpp>

#include <testing/fake_dns_client.hpp>
#include <testing/recording_host.hpp>
#include <testing/sensor_data.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vantrel::kelvane::dns {
namespace {

using libwexohelper::testing::recording_host;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using reply = std::function<dns_query_result()>;

reply answers(std::vector<std::string> values) {
    return [values] {
        dns_query_result result;
        for (const auto& value : values) {
            result.answers.push_back(std::make_shared<dns_a_record>("q", 1, 1, 60, value));
        }
        return result;
    };
}
template <class E> reply fails(int status, const char* text) {
    return [status, text]() -> dns_query_result { throw E(status, text); };
}
const reply nxdomain = fails<exceptions::dns_notfound>(4, "Domain name not found");
const reply timeout = fails<exceptions::dns_timeout>(12, "Timeout while contacting DNS servers");

using testing::fake_dns;

struct scan_outcome {
    std::vector<std::string> lines;
    wire::SensorScanResult result;
};

class IpReputationSensor : public ::testing::Test {
protected:
    IpReputationSensor() {
        // A name nobody scripted answers like a zone that lists nothing; a
        // test entry answers as a working blacklist does unless scripted otherwise.
        fake->otherwise = [](const std::string& name) {
            return name.starts_with("2.0.0.127.") ? answers({"127.0.0.2"})() : nxdomain();
        };
        host.container->add_factory<dns_helper_factory>(testing::fake_dns_factory(fake));
        settings.host = "192.0.2.10";
        settings.logging = settings::logging::enabled;
        settings.timeout = 5;
    }

    std::shared_ptr<ip_reputation_score_sensor> make(const std::string& lines) {
        settings.blacklist_servers = lines;
        auto sensor = std::make_shared<ip_reputation_score_sensor>(
            host.container, 7, settings, std::map<int, std::string>{}, std::map<std::string, std::string>{});
        host.take();
        return sensor;
    }

    scan_outcome scan(libwexohelper::sensors::sensor_interface& sensor) {
        sensor.scan();
        scan_outcome out;
        for (const auto& m : host.take()) {
            if (m.has_log_message()) {
                out.lines.push_back(m.log_message().text());
            } else if (m.has_sensor_scan_result()) {
                out.result = m.sensor_scan_result();
            }
        }
        return out;
    }

    static std::vector<std::int64_t> values(const scan_outcome& o) {
        std::vector<std::int64_t> v;
        for (const auto& c : o.result.values()) {
            v.push_back(c.value());
        }
        return v;
    }

    recording_host host;
    std::shared_ptr<fake_dns> fake = std::make_shared<fake_dns>();
    settings::ip_reputation_score_sensor settings;
};

struct scoring_case {
    std::string name;
    std::string lines;
    std::map<std::string, reply> replies;
    std::int64_t score;
    std::int64_t percent;
    std::vector<std::string> expected_lines;
};
void PrintTo(const scoring_case& c, std::ostream* os) {
    *os << c.name;
}

class Scoring : public IpReputationSensor, public ::testing::WithParamInterface<scoring_case> {};

TEST_P(Scoring, ScoreAndPercentageAndLogLines) {
    fake->replies = GetParam().replies;
    auto sensor = make(GetParam().lines);
    const auto out = scan(*sensor);
    EXPECT_EQ(out.result.message().english(), "OK");
    EXPECT_THAT(values(out), ElementsAre(GetParam().score, GetParam().percent));
    for (const auto& line : GetParam().expected_lines) {
        EXPECT_THAT(out.lines, ::testing::Contains(line));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Answers, Scoring,
    ::testing::Values(scoring_case{"FilterCountsOnlyMatchingAnswers",
                                   "z=127.0.0.4*5",
                                   {{"10.2.0.192.z", answers({"127.0.0.2", "127.0.0.4"})}},
                                   5,
                                   100,
                                   {"10.2.0.192.z listed with value 127.0.0.2 (score: 0)",
                                    "10.2.0.192.z listed with value 127.0.0.4 (score: 5)"}},
                      scoring_case{"NodataRaisedIsReached",
                                   "a",
                                   {{"10.2.0.192.a",
                                     fails<exceptions::dns_nodata>(1, "DNS server returned answer with no data")}},
                                   0,
                                   100,
                                   {"10.2.0.192.a not listed (NODATA)"}},
                      scoring_case{"EmptyAnswerIsReached",
                                   "a",
                                   {{"10.2.0.192.a", answers({})}},
                                   0,
                                   100,
                                   {"Score: 0, Servers reached: 1/1 (100%)"}},
                      scoring_case{"OtherFailuresOnlyLowerThePercentage",
                                   "a*-2\nb\nc",
                                   {{"10.2.0.192.a", answers({"127.0.0.2"})},
                                    {"10.2.0.192.c", fails<exceptions::dns_servfail>(3, "Server failure")}},
                                   -2,
                                   66,
                                   {"10.2.0.192.b not listed (NXDOMAIN)",
                                    "Query to 10.2.0.192.c failed: Error 3 occurred: Server failure.",
                                    "Score: -2, Servers reached: 2/3 (66%)"}}),
    [](const auto& info) { return info.param.name; });

// The zones are asked at once, but whatever finishes first, every line is
// written in list order, as if they had been asked one after the other.
TEST_F(IpReputationSensor, LinesFollowTheListWhateverAnswersFirst) {
    const auto slow = [](std::vector<std::string> values) {
        return [values] {
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
            return answers(values)();
        };
    };
    fake->replies = {{"10.2.0.192.a", slow({"127.0.0.2"})},
                     {"10.2.0.192.b", answers({"127.0.0.3"})},
                     {"10.2.0.192.c", fails<exceptions::dns_timeout>(12, "Timeout")},
                     {"2.0.0.127.a", slow({"127.0.0.2"})}};
    auto sensor = make("a\nb*2\nc");
    const auto first = scan(*sensor);
    const auto second = scan(*sensor);
    const std::vector<std::string> expected = {"#################### Enter sensor scan ####################",
                                               "10.2.0.192.a listed with value 127.0.0.2 (score: 1)",
                                               "10.2.0.192.b listed with value 127.0.0.3 (score: 2)",
                                               "Query to 10.2.0.192.c failed: Error 12 occurred: Timeout.",
                                               "Score: 3, Servers reached: 2/3 (66%)",
                                               "OK",
                                               "#################### Exit sensor scan  ####################"};
    EXPECT_EQ(second.lines, expected);
    EXPECT_THAT(values(first), ElementsAre(3, 66));
    EXPECT_EQ(first.lines.size(), expected.size()) << "the first scan checks the list without lines of its own";
}

struct test_entry_case {
    std::string name;
    reply entry;
};
void PrintTo(const test_entry_case& c, std::ostream* os) {
    *os << c.name;
}

class TestEntry : public IpReputationSensor, public ::testing::WithParamInterface<test_entry_case> {};

TEST_P(TestEntry, ZoneThatIsNoBlacklistFailsTheScanUntilItAnswers) {
    fake->replies["2.0.0.127.bad"] = GetParam().entry;
    auto sensor = make("good\nbad\nlater");
    const auto failed = scan(*sensor);
    EXPECT_EQ(failed.result.response_code(), wire::SCAN_ERROR);
    EXPECT_EQ(failed.result.message().key(), "error.dnsbl_initial_check_failed");
    EXPECT_EQ(failed.result.message().english(),
              "The server 'bad' failed the initial response check. Make sure that the server is available as a DNS "
              "blacklist server.");
    // The test entries are asked at once; the first failing zone in list order decides.
    EXPECT_THAT(fake->asked, UnorderedElementsAre("A 2.0.0.127.good", "A 2.0.0.127.bad", "A 2.0.0.127.later"));
    EXPECT_TRUE(sensor->definitions().empty());

    // Fixed on the server side: the next scan checks every zone again and succeeds.
    fake->replies.erase("2.0.0.127.bad");
    fake->asked.clear();
    const auto fixed = scan(*sensor);
    EXPECT_THAT(values(fixed), ElementsAre(0, 100));
    EXPECT_EQ(std::count_if(fake->asked.begin(), fake->asked.end(),
                            [](const std::string& q) { return q.starts_with("A 2.0.0.127."); }),
              3);

    // Built once: later scans only ask for the device.
    fake->asked.clear();
    scan(*sensor);
    EXPECT_THAT(fake->asked, UnorderedElementsAre("A 10.2.0.192.good", "A 10.2.0.192.bad", "A 10.2.0.192.later"));
}

INSTANTIATE_TEST_SUITE_P(Failures, TestEntry,
                         ::testing::Values(test_entry_case{"NotFound", nxdomain}, test_entry_case{"Timeout", timeout},
                                           test_entry_case{"NoAnswer", answers({})},
                                           test_entry_case{"NoLoopbackAnswer", answers({"10.0.0.127", "128.0.0.2"})},
                                           test_entry_case{"NoData", fails<exceptions::dns_nodata>(1, "no data")}),
                         [](const auto& info) { return info.param.name; });

TEST_F(IpReputationSensor, TestEntryPassesOnAnyLoopbackAnswer) {
    fake->replies["2.0.0.127.z"] = answers({"10.0.0.1", "127.255.0.1"});
    auto sensor = make("z");
    EXPECT_EQ(scan(*sensor).result.response_code(), wire::SCAN_OK);
}

TEST_F(IpReputationSensor, BadLineFailsTheScanWithItsParseError) {
    auto sensor = make("good\nbad=127.0.0.[9..3]\nlater");
    const auto out = scan(*sensor);
    EXPECT_EQ(out.result.message().key(), "error.dns_server_filter_invalid_range");
    EXPECT_EQ(out.result.message().arguments(0), "9..3");
    EXPECT_THAT(fake->asked, ElementsAre("A 2.0.0.127.good"));
    EXPECT_TRUE(sensor->definitions().empty());
}

TEST_F(IpReputationSensor, ClientIsMadeOnceFromTheResolverSettings) {
    auto system = make("z");
    scan(*system);
    scan(*system);
    settings.dns_resolver = settings::dns_resolver::custom;
    settings.custom_resolver = "127.0.0.53";
    settings.custom_resolver_port = 5353;
    settings.timeout = 2;
    auto custom = make("z");
    scan(*custom);

    ASSERT_EQ(fake->made.size(), 2u);
    EXPECT_EQ(fake->made[0].server, "");
    EXPECT_EQ(fake->made[0].port, 0);
    EXPECT_EQ(fake->made[0].timeout_ms, 5000);
    EXPECT_EQ(fake->made[1].server, "127.0.0.53");
    EXPECT_EQ(fake->made[1].port, 5353);
    EXPECT_EQ(fake->made[1].timeout_ms, 2000);
}

TEST_F(IpReputationSensor, LifecycleLinesAndChannels) {
    std::vector<std::string> lines;
    std::vector<std::pair<int, std::string>> channels;
    {
        settings.blacklist_servers = "z";
        ip_reputation_score_sensor sensor(host.container, 3, settings, {}, {});
    }
    for (const auto& m : host.take()) {
        if (m.has_log_message()) {
            lines.push_back(m.log_message().text());
        } else if (m.has_dynamic_channel()) {
            channels.emplace_back(m.dynamic_channel().options().id(), m.dynamic_channel().options().name_key());
        }
    }
    EXPECT_THAT(lines, ElementsAre("#################### Initializing ####################",
                                   "IP Reputation Score version is: " + std::string(manifest_names::module_version),
                                   "#################### Cleaning Up  ####################"));
    EXPECT_THAT(channels, ElementsAre(std::pair{0, std::string("channel.score")},
                                      std::pair{1, std::string("channel.servers_reached")}));
    EXPECT_TRUE(fake->made.empty()) << "no DNS work before the first scan";

    recording_host bare;
    EXPECT_THROW(ip_reputation_score_sensor(bare.container, 1, settings, {}, {}),
                 libwexohelper::utils::exceptions::factory_not_available);
}

namespace helper = libwexohelper::testing;

// The manifest's defaults, then a device's common settings, then `overrides`.
std::string settings_bytes(const helper::settings_map& overrides) {
    helper::settings_map s{
        {"host", "192.0.2.1"}, {"logging", "enabled"}, {"timeout", "3"}, {"ipversion", "IPv4"}, {"interval", "60"}};
    for (const auto& m : manifest_settings("ip_reputation_score_sensor")) {
        s[m.key] = m.default_value;
    }
    for (const auto& [k, v] : overrides) {
        s[k] = v;
    }
    return helper::sensor_data_bytes("ip_reputation_score_sensor", s);
}

TEST(IpReputationSettings, EveryOwnKeyReadIsDeclaredInTheManifest) {
    const auto wrapper = helper::wrap<helper::recording_wrapper>(settings_bytes({}));
    const auto record = settings::ip_reputation_score_sensor::read(wrapper);
    const auto declared = manifest_setting_keys("ip_reputation_score_sensor");

    std::set<std::string> own;
    std::copy_if(wrapper.asked.begin(), wrapper.asked.end(), std::inserter(own, own.end()),
                 [](const std::string& k) { return k.find('.') != std::string::npos; });
    EXPECT_EQ(own.size(), 4u);
    for (const auto& key : own) {
        EXPECT_THAT(declared, ::testing::Contains(key)) << key << " is read but not declared";
    }
    EXPECT_EQ(record.dns_resolver, settings::dns_resolver::system);
    EXPECT_EQ(record.custom_resolver_port, 53);
}

TEST(IpReputationSettings, RefusesWhatTheFieldsCannotHold) {
    const auto read = [](std::map<std::string, std::string> overrides) {
        return settings::ip_reputation_score_sensor::read(helper::wrap(settings_bytes(overrides)));
    };
    const auto key = settings::ip_reputation_score_sensor::key;
    EXPECT_EQ(read({{key("dns_resolver"), "custom"}, {key("custom_resolver_port"), "65535"}}).custom_resolver_port,
              65535);
    EXPECT_THROW(read({{key("dns_resolver"), "Custom"}}),
                 libwexohelper::utils::exceptions::setting_selection_parse_error);
    EXPECT_THROW(read({{key("custom_resolver_port"), "65536"}}),
                 libwexohelper::utils::exceptions::setting_invalid_bigger_max);
    EXPECT_THROW(read({{key("custom_resolver_port"), "0"}}),
                 libwexohelper::utils::exceptions::setting_invalid_less_min);
}

} // namespace
} // namespace vantrel::kelvane::dns
