#include <dns/dns_helper_factory.hpp>
#include <dns/dns_sensor.hpp>
#include <dns/english_texts.hpp>

#include <testing/fake_dns_client.hpp>
#include <testing/recording_host.hpp>

#include <gtest/gtest.h>

#include <ostream>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace vantrel::kelvane::dns {
namespace {

namespace wire = vantrel::kelvane::wire;
using libwexohelper::testing::recording_host;

using testing::fake_dns;

std::shared_ptr<dns_result_record> a(const std::string& address) {
    return std::make_shared<dns_a_record>("host.test", 1, 1, 300, address);
}

settings::dns_v2 sensor_settings(settings::record_type type = settings::record_type::A,
                                 settings::apply_filter filter_mode = settings::apply_filter::disabled,
                                 std::string filter = "") {
    settings::dns_v2 s;
    s.host = "127.0.0.9";
    s.domain = "host.test";
    s.record_type = type;
    s.apply_filter = filter_mode;
    s.filter = std::move(filter);
    s.query_timeout = 45;
    s.port = 5353;
    return s;
}

class DnsSensor : public ::testing::Test {
protected:
    DnsSensor() {
        register_english_texts();
        host.container->add_factory<dns_helper_factory>(testing::fake_dns_factory(dns));
        dns->response.response_time_ms = 12;
    }

    std::unique_ptr<dns_sensor> make(settings::dns_v2 s, std::map<int, std::string> known = {}) {
        return std::make_unique<dns_sensor>(host.container, 7, std::move(s), std::move(known),
                                            std::map<std::string, std::string>{});
    }

    // The one scan result the host received.
    wire::SensorScanResult scan(dns_sensor& sensor) {
        host.take();
        static_cast<libwexohelper::sensors::sensor_interface&>(sensor).scan();
        auto results = host.take_if([](const wire::Envelope& e) { return e.has_sensor_scan_result(); });
        EXPECT_EQ(results.size(), 1u);
        return results.empty() ? wire::SensorScanResult{} : results.front().sensor_scan_result();
    }

    std::vector<wire::ChannelOptions> announced_channels() {
        std::vector<wire::ChannelOptions> channels;
        for (const auto& e : host.take_if([](const wire::Envelope& e) { return e.has_dynamic_channel(); })) {
            channels.push_back(e.dynamic_channel().options());
        }
        return channels;
    }

    recording_host host;
    std::shared_ptr<fake_dns> dns = std::make_shared<fake_dns>();
};

std::map<int, std::int64_t> values_of(const wire::SensorScanResult& result) {
    std::map<int, std::int64_t> values;
    for (const auto& v : result.values()) {
        values[v.channel_id()] = v.value();
    }
    return values;
}

TEST_F(DnsSensor, DeclaresItsChannelsWithUnitsLookupAndLimits) {
    auto sensor = make(sensor_settings(settings::record_type::A, settings::apply_filter::enabled, "x"));
    const auto channels = announced_channels();
    ASSERT_EQ(channels.size(), 4u);
    EXPECT_EQ(channels[0].name_key(), "channel.records_resolved");
    EXPECT_EQ(channels[0].lookup_name(), "lookup_records_found");
    EXPECT_EQ(channels[0].unit(), 0);
    EXPECT_EQ(channels[1].name_key(), "channel.response_time");
    EXPECT_EQ(channels[1].unit(), 6);
    EXPECT_EQ(channels[1].limit_mode(), 0);
    EXPECT_EQ(channels[2].name_key(), "channel.record_count");
    EXPECT_EQ(channels[2].limit_error_message_key(), "No records of the requested type found.");
    EXPECT_EQ(channels[3].name_key(), "channel.matched_record_count");
    EXPECT_EQ(channels[3].limit_error_message_key(),
              "No records of the requested type which match the filter value found.");
    for (const auto& c : channels) {
        EXPECT_EQ(c.value_mode(), 1) << c.name_key();
        if (c.id() >= 2) {
            EXPECT_EQ(c.unit(), 10) << c.name_key();
            EXPECT_EQ(c.limit_mode(), 1) << c.name_key();
            EXPECT_TRUE(c.has_lower_error_limit()) << c.name_key();
            EXPECT_EQ(c.lower_error_limit(), 1.0) << c.name_key();
        }
    }
    EXPECT_TRUE(dns->made.empty()) << "the client is built on the first scan, not before";
}

TEST_F(DnsSensor, BuildsTheClientOnceFromHostIpVersionPortAndTimeout) {
    auto s = sensor_settings();
    s.ipversion = settings::ipversion::ipv6;
    auto sensor = make(s);
    scan(*sensor);
    scan(*sensor);
    ASSERT_EQ(dns->made.size(), 1u);
    EXPECT_EQ(dns->made[0].server, "127.0.0.9");
    EXPECT_EQ(dns->made[0].ip_version, 6u);
    EXPECT_EQ(dns->made[0].port, 5353);
    EXPECT_EQ(dns->made[0].timeout_ms, 45000);
    EXPECT_EQ(dns->asked.size(), 2u);

    s.ipversion = settings::ipversion::ipv4;
    s.query_timeout = 0;
    auto second = make(s);
    scan(*second);
    ASSERT_EQ(dns->made.size(), 2u);
    EXPECT_EQ(dns->made[1].ip_version, 4u);
    EXPECT_EQ(dns->made[1].timeout_ms, 0);
}

TEST_F(DnsSensor, AClientThatCannotBeBuiltIsRetriedOnTheNextScan) {
    dns->factory_failures = 1;
    dns->response.answers = {a("10.0.0.1")};
    auto sensor = make(sensor_settings());
    const auto failed = scan(*sensor);
    EXPECT_EQ(failed.response_code(), wire::SCAN_ERROR);
    EXPECT_EQ(failed.message().english(), "no client today");
    EXPECT_TRUE(failed.values().empty());
    const auto next = scan(*sensor);
    EXPECT_EQ(next.response_code(), wire::SCAN_OK);
    EXPECT_EQ(next.message().english(), "OK: A=10.0.0.1");
}

struct scan_case {
    const char* name;
    settings::apply_filter mode;
    std::string filter;
    std::vector<std::string> addresses;
    std::string message;
    std::map<int, std::int64_t> values;
};
// Cases print as their name in test output.
void PrintTo(const scan_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsSensorScan : public DnsSensor, public ::testing::WithParamInterface<scan_case> {};

TEST_P(DnsSensorScan, MessageAndChannelValues) {
    for (const auto& address : GetParam().addresses) {
        dns->response.answers.push_back(a(address));
    }
    dns->response.answers.push_back(std::make_shared<dns_cname_record>("host.test", 5, 1, 300, "alias.test"));
    auto sensor = make(sensor_settings(settings::record_type::A, GetParam().mode, GetParam().filter));
    // The second scan reuses the client and the compiled filter.
    for (int round = 0; round < 2; ++round) {
        const auto result = scan(*sensor);
        EXPECT_EQ(result.response_code(), wire::SCAN_OK);
        EXPECT_EQ(result.message().english(), GetParam().message);
        EXPECT_EQ(values_of(result), GetParam().values) << "scan " << round;
    }
    EXPECT_EQ(dns->asked, std::vector<std::string>(2, "A host.test"));
}

using settings::apply_filter;
INSTANTIATE_TEST_SUITE_P(Cases, DnsSensorScan,
                         ::testing::Values(scan_case{"SortedBytewiseFilterOff",
                                                     apply_filter::disabled,
                                                     "",
                                                     {"10.0.0.2", "10.0.0.10"},
                                                     "OK: A=10.0.0.10, 10.0.0.2",
                                                     {{0, 1}, {1, 12}, {2, 2}}},
                                           scan_case{"NoRecordsOfTheType",
                                                     apply_filter::enabled,
                                                     "*",
                                                     {},
                                                     "DNS query returned no records.",
                                                     {{0, 0}, {1, 12}, {2, 0}, {3, 0}}},
                                           scan_case{"WildcardMatchesOne",
                                                     apply_filter::enabled,
                                                     "*.2, 10.*",
                                                     {"127.0.0.1", "127.0.0.2"},
                                                     "OK: A=127.0.0.1, 127.0.0.2",
                                                     {{0, 1}, {1, 12}, {2, 2}, {3, 1}}},
                                           scan_case{"TypeNameIsNotPartOfTheValue",
                                                     apply_filter::enabled,
                                                     "A=127.0.0.1",
                                                     {"127.0.0.1"},
                                                     "OK: A=127.0.0.1",
                                                     {{0, 1}, {1, 12}, {2, 1}, {3, 0}}},
                                           scan_case{"ExactWholeMessage",
                                                     apply_filter::enabled_match_exact,
                                                     "A=127.0.0.1, 127.0.0.2",
                                                     {"127.0.0.2", "127.0.0.1"},
                                                     "OK: A=127.0.0.1, 127.0.0.2",
                                                     {{0, 1}, {1, 12}, {2, 2}, {3, 1}}},
                                           scan_case{"ExactWithTheOkPrefix",
                                                     apply_filter::enabled_match_exact,
                                                     "OK: A=127.0.0.1",
                                                     {"127.0.0.1"},
                                                     "OK: A=127.0.0.1",
                                                     {{0, 1}, {1, 12}, {2, 1}, {3, 0}}}),
                         [](const auto& info) { return info.param.name; });

TEST_F(DnsSensor, WithLoggingOnTheSensorLogShowsBannersAnswerAndMessage) {
    auto s = sensor_settings();
    s.logging = settings::logging::enabled;
    dns->response.answers = {a("10.0.0.1")};
    dns->response.questions.emplace_back("host.test", 1, 1);
    auto sensor = make(s);
    static_cast<libwexohelper::sensors::sensor_interface&>(*sensor).scan();
    sensor.reset();
    const auto lines = host.take_log_lines(wire::LogMessage::SENSOR);
    auto index_of = [&](const std::string& needle) {
        const auto it = std::find_if(lines.begin(), lines.end(),
                                     [&](const std::string& l) { return l.find(needle) != std::string::npos; });
        return it == lines.end() ? -1 : static_cast<int>(it - lines.begin());
    };
    EXPECT_EQ(index_of("#################### Initializing ####################"), 0);
    EXPECT_EQ(lines.at(1), "DNS v2 version is: 1.20.1.22482\n");
    const int answer = index_of(";; ANSWER SECTION:");
    const int message = index_of("Response Message is: OK: A=10.0.0.1");
    EXPECT_GT(answer, index_of("Enter sensor scan"));
    EXPECT_GT(message, answer);
    EXPECT_GT(index_of("Exit sensor scan"), message);
    EXPECT_EQ(lines.back(), "#################### Cleaning Up  ####################");
}

struct unnamed_code_case {
    const char* name;
    std::function<void(dns_query_result&)> spoil;
    std::string key;
    std::string argument;
};
// Cases print as their name in test output.
void PrintTo(const unnamed_code_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsSensorUnnamedCode : public DnsSensor, public ::testing::WithParamInterface<unnamed_code_case> {};

// The answer is only rendered when the sensor logs; a number without a name
// must fail the scan all the same, with the same error.
TEST_P(DnsSensorUnnamedCode, FailsTheScanWhetherOrNotItLogs) {
    dns->response.answers = {a("10.0.0.1")};
    dns->response.questions.emplace_back("host.test", 1, 1);
    GetParam().spoil(dns->response);
    for (const auto logging : {settings::logging::disabled, settings::logging::enabled}) {
        auto s = sensor_settings();
        s.logging = logging;
        auto sensor = make(s);
        const auto result = scan(*sensor);
        EXPECT_EQ(result.response_code(), wire::SCAN_ERROR);
        EXPECT_EQ(result.message().key(), "error." + GetParam().key);
        const auto& arguments = result.message().arguments();
        EXPECT_EQ(std::vector<std::string>(arguments.begin(), arguments.end()),
                  std::vector<std::string>{GetParam().argument});
        EXPECT_TRUE(result.values().empty());
        sensor.reset();
        const auto lines = host.take_log_lines(wire::LogMessage::SENSOR);
        EXPECT_EQ(lines.empty(), logging == settings::logging::disabled) << "nothing is logged with logging off";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codes, DnsSensorUnnamedCode,
    ::testing::Values(unnamed_code_case{"Rcode", [](dns_query_result& r) { r.rcode = 11; }, "invalid_ns_rcode", "11"},
                      unnamed_code_case{"Opcode", [](dns_query_result& r) { r.opcode = 3; }, "invalid_ns_opcode", "3"},
                      unnamed_code_case{"QuestionClass", [](dns_query_result& r) { r.questions.front().dns_class = 2; },
                                        "invalid_ns_class", "2"},
                      unnamed_code_case{"AdditionalType",
                                        [](dns_query_result& r) {
                                            r.additionals.push_back(
                                                std::make_shared<dns_a_record>("x.test", 99, 1, 300, "1.2.3.4"));
                                        },
                                        "invalid_ns_type", "99"}),
    [](const auto& info) { return info.param.name; });

TEST(DnsSensorChannels, NamesAndUnknownIds) {
    EXPECT_EQ(dns_sensor::channel_name(0), "records_resolved");
    EXPECT_EQ(dns_sensor::channel_name(3), "matched_record_count");
    EXPECT_EQ(dns_sensor::channel_name(4), "");
    EXPECT_EQ(dns_sensor::channel_name(-1), "");
}

} // namespace
} // namespace vantrel::kelvane::dns
