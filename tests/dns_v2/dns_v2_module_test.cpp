// The dns_v2 sensor through the module's exports, against the fake DNS server.

#include "module_session.hpp"

#include <test_support/fake_dns_server.hpp>
#include <test_support/small_stack.hpp>

#include <functional>
#include <optional>

namespace vantrel::kelvane::tests {
namespace {

using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;

class DnsV2Module : public module_session {
protected:
    settings_map sensor_settings(const std::string& domain, const std::string& type,
                                 const std::string& mode = "disabled", const std::string& filter = "") {
        auto s = dns_v2_settings(domain, server.port());
        s[dns_v2_key + "record_type"] = type;
        s[dns_v2_key + "apply_filter"] = mode;
        s[dns_v2_key + "filter"] = filter;
        return s;
    }

    int32_t create(int id, const settings_map& settings, const std::map<int, std::string>& channels = {}) {
        const auto bytes = sensor_data("dns_v2", settings, channels);
        return module.create_sensor_instance(id, bytes_of(bytes), size_of(bytes));
    }

    // Creates sensor 1 and scans it once; the one result the host received.
    wire::SensorScanResult create_and_scan(const settings_map& settings) {
        EXPECT_EQ(create(1, settings), 0);
        message_log::instance().take();
        EXPECT_EQ(module.execute_sensor_scan(1), 0);
        const auto results = take_if(&wire::Envelope::has_sensor_scan_result);
        EXPECT_EQ(results.size(), 1u);
        return results.empty() ? wire::SensorScanResult{} : results.front().sensor_scan_result();
    }

    fake_dns_server server;
};

std::map<int, int64_t> values_of(const wire::SensorScanResult& result) {
    std::map<int, int64_t> values;
    for (const auto& v : result.values()) {
        values[v.channel_id()] = v.value();
    }
    return values;
}

struct message_case {
    const char* name;
    std::string record_type;
    std::function<dns_action(const dns_request&)> answer;
    std::string message;
};
// Cases print as their name in test output.
void PrintTo(const message_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsV2Message : public DnsV2Module, public ::testing::WithParamInterface<message_case> {};

TEST_P(DnsV2Message, ListsTheRecordsSortedAndGrouped) {
    server.on_request(GetParam().answer);
    const auto result = create_and_scan(sensor_settings("zone.test", GetParam().record_type));
    EXPECT_EQ(result.response_code(), wire::SCAN_OK);
    EXPECT_EQ(result.message().english(), GetParam().message);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].name, "zone.test");
}

INSTANTIATE_TEST_SUITE_P(
    Answers, DnsV2Message,
    ::testing::Values(
        message_case{
            "AddressesBytewise", "A",
            [](const dns_request& r) {
                return dns_action::answer().a(r.name, "10.0.0.2").a(r.name, "10.0.0.10").cname(r.name, "x.test");
            },
            "OK: A=10.0.0.10, 10.0.0.2"},
        message_case{"MixedTypesOnlyTheAskedOne", "MX",
                     [](const dns_request& r) {
                         return dns_action::answer()
                             .mx(r.name, 20, "mx2.zone.test")
                             .a(r.name, "10.0.0.1")
                             .mx(r.name, 10, "mx1.zone.test");
                     },
                     "OK: MX=10 mx1.zone.test, 20 mx2.zone.test"},
        message_case{"AnyGroupsByTypeCode", "ANY",
                     [](const dns_request& r) {
                         return dns_action::answer()
                             .aaaa(r.name, "::1")
                             .txt(r.name, {"hello"})
                             .mx(r.name, 10, "mx.zone.test")
                             .a(r.name, "10.0.0.2")
                             .ns(r.name, "ns1.zone.test")
                             .a(r.name, "10.0.0.10")
                             .ns(r.name, "ns0.zone.test", 300, ARES_SECTION_AUTHORITY)
                             .a("ns0.zone.test", "10.9.9.9", 300, ARES_SECTION_ADDITIONAL);
                     },
                     "OK: A=10.0.0.10, 10.0.0.2, NS=ns0.zone.test, ns1.zone.test, MX=10 mx.zone.test, TXT=hello, "
                     "AAAA=::1"},
        message_case{"NameServersOnlyInTheAuthoritySection", "NS",
                     [](const dns_request& r) {
                         return dns_action::answer()
                             .ns(r.name, "ns2.zone.test", 300, ARES_SECTION_AUTHORITY)
                             .ns(r.name, "ns1.zone.test", 300, ARES_SECTION_AUTHORITY)
                             .a("ns1.zone.test", "10.0.0.53", 300, ARES_SECTION_ADDITIONAL);
                     },
                     "OK: NS=ns1.zone.test, ns2.zone.test"}),
    [](const auto& info) { return info.param.name; });

struct ptr_case {
    const char* name;
    std::string domain;
    std::string sent; // empty: the scan fails with the IP-parse error and nothing is sent
};
// Cases print as their name in test output.
void PrintTo(const ptr_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsV2Ptr : public DnsV2Module, public ::testing::WithParamInterface<ptr_case> {};

TEST_P(DnsV2Ptr, QueryName) {
    server.on_request([](const dns_request& r) { return dns_action::answer().ptr(r.name, "localhost"); });
    const auto result = create_and_scan(sensor_settings(GetParam().domain, "PTR"));
    const auto requests = server.requests();
    if (GetParam().sent.empty()) {
        EXPECT_EQ(result.response_code(), wire::SCAN_ERROR);
        EXPECT_EQ(result.message().key(), "error.ip_parse_failed");
        EXPECT_EQ(result.message().english(), "An error has occurred while parsing the domain: " + GetParam().domain +
                                                  " is not a valid IPv4 or IPv6 address.");
        EXPECT_TRUE(requests.empty());
    } else {
        EXPECT_EQ(result.message().english(), "OK: PTR=localhost");
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].name, GetParam().sent);
        EXPECT_EQ(requests[0].type, ARES_REC_TYPE_PTR);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Names, DnsV2Ptr,
    ::testing::Values(ptr_case{"AddressIsReversed", "127.0.0.1", "1.0.0.127.in-addr.arpa"},
                      ptr_case{"ReverseNameKept", "2.0.0.127.in-addr.arpa", "2.0.0.127.in-addr.arpa"},
                      ptr_case{"Ipv6AddressIsReversed", "::1",
                               "1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.ip6.arpa"},
                      ptr_case{"Ip6ReverseNameKept", "b.a.ip6.arpa", "b.a.ip6.arpa"},
                      ptr_case{"HostNameFails", "zone.test", ""},
                      ptr_case{"UpperCaseSuffixFails", "1.0.0.127.IN-ADDR.ARPA", ""}),
    [](const auto& info) { return info.param.name; });

// The largest TXT value one TCP answer can carry: 255 full character-strings
// and the rest of the 65,535 bytes (header 12, question 15, record head 12,
// one length byte per string).
std::vector<std::string> largest_txt_strings() {
    std::vector<std::string> strings(255, std::string(255, 'x'));
    strings.front().front() = 'a';
    strings.emplace_back(65'535 - 12 - 15 - 12 - 256 * 255 - 1, 'x');
    strings.back().back() = 'b';
    return strings;
}

struct long_record_case {
    const char* name;
    std::string mode;
    std::string filter;             // "=" stands for the whole sensor message without "OK: "
    std::optional<int64_t> matched; // none: the channel is not reported
};
// Cases print as their name in test output.
void PrintTo(const long_record_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsV2LongRecord : public DnsV2Module, public ::testing::WithParamInterface<long_record_case> {};

// The filter once recursed per character of a value, and a 5 KB record
// crashed a thread with a 1 MB stack.
TEST_P(DnsV2LongRecord, IsFilteredOnASmallStack) {
    const auto strings = largest_txt_strings();
    std::string value;
    for (const auto& s : strings) {
        value += s;
    }
    server.on_request(
        [strings](const dns_request& r) { return dns_action::answer().txt(r.name, strings).truncated_over_udp(); });
    const auto filter = GetParam().filter == "=" ? "TXT=" + value : GetParam().filter;
    wire::SensorScanResult result;
    test_support::run_on_stack(test_support::small_stack_bytes, [&] {
        result = create_and_scan(sensor_settings("zone.test", "TXT", GetParam().mode, filter));
    });
    EXPECT_EQ(result.response_code(), wire::SCAN_OK) << result.message().english().substr(0, 200);
    EXPECT_EQ(result.message().english(), "OK: TXT=" + value);
    const auto values = values_of(result);
    EXPECT_EQ(values.at(2), 1);
    EXPECT_EQ(values.contains(3) ? std::optional(values.at(3)) : std::nullopt, GetParam().matched);
    const auto requests = server.requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().transport, test_support::dns_transport::tcp);
}

INSTANTIATE_TEST_SUITE_P(FilterModes, DnsV2LongRecord,
                         ::testing::Values(long_record_case{"Off", "disabled", "", std::nullopt},
                                           long_record_case{"Star", "enabled", "*", 1},
                                           long_record_case{"Prefix", "enabled", "a*", 1},
                                           long_record_case{"Infix", "enabled", "*b*", 1},
                                           long_record_case{"NoMatchAfterAFullSearch", "enabled", "a*y*", 0},
                                           long_record_case{"Exact", "enabled_match_exact", "=", 1}),
                         [](const auto& info) { return info.param.name; });

TEST_F(DnsV2Module, NoRecordsIsASuccessWithZeroValues) {
    server.on_request([](const dns_request& r) { return dns_action::answer().cname(r.name, "elsewhere.test"); });
    const auto result = create_and_scan(sensor_settings("zone.test", "AAAA", "enabled", "*"));
    EXPECT_EQ(result.response_code(), wire::SCAN_OK);
    EXPECT_EQ(result.message().english(), "DNS query returned no records.");
    const auto values = values_of(result);
    EXPECT_EQ(values.at(0), 0);
    EXPECT_EQ(values.at(2), 0);
    EXPECT_EQ(values.at(3), 0);
}

TEST_F(DnsV2Module, NonExistentNameIsAnErrorResult) {
    server.on_request([](const dns_request&) { return dns_action::answer(ARES_RCODE_NXDOMAIN); });
    const auto result = create_and_scan(sensor_settings("missing.test", "A"));
    EXPECT_EQ(result.response_code(), wire::SCAN_ERROR);
    EXPECT_EQ(result.error_code(), 0);
    EXPECT_EQ(result.message().key(), "error.query_failed");
    EXPECT_EQ(result.message().english(), "Error 4 occurred: Domain name not found.");
    EXPECT_TRUE(result.values().empty());
}

TEST_F(DnsV2Module, ResponseTimeIsMeasured) {
    server.on_request([](const dns_request& r) {
        return dns_action::answer().a(r.name, "10.0.0.1").delay(std::chrono::milliseconds(60));
    });
    const auto values = values_of(create_and_scan(sensor_settings("zone.test", "A")));
    EXPECT_EQ(values.at(0), 1);
    EXPECT_GE(values.at(1), 55);
    EXPECT_LT(values.at(1), 5000);
}

struct channel_case {
    const char* name;
    std::string mode;
    std::map<int, std::string> known;
    std::size_t announced;
    bool matched_value;
};
// Cases print as their name in test output.
void PrintTo(const channel_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsV2Channels : public DnsV2Module, public ::testing::WithParamInterface<channel_case> {};

TEST_P(DnsV2Channels, AnnouncedAndReported) {
    server.on_request([](const dns_request& r) { return dns_action::answer().a(r.name, "10.0.0.1"); });
    message_log::instance().take();
    ASSERT_EQ(create(1, sensor_settings("zone.test", "A", GetParam().mode, "*"), GetParam().known), 0);
    const auto announced = take_if(&wire::Envelope::has_dynamic_channel);
    EXPECT_EQ(announced.size(), GetParam().announced);
    ASSERT_EQ(module.execute_sensor_scan(1), 0);
    const auto results = take_if(&wire::Envelope::has_sensor_scan_result);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(values_of(results[0].sensor_scan_result()).contains(3), GetParam().matched_value);
}

INSTANTIATE_TEST_SUITE_P(
    FilterModes, DnsV2Channels,
    ::testing::Values(channel_case{"FilterOff", "disabled", {}, 3, false},
                      channel_case{"FilterOn", "enabled", {}, 4, true},
                      channel_case{"ExactFilter", "enabled_match_exact", {}, 4, true},
                      channel_case{"FilterOffButKnownToHost", "disabled", {{3, "Matched Record Count"}}, 3, true}),
    [](const auto& info) { return info.param.name; });

struct creation_case {
    const char* name;
    std::string key;
    std::string value;
    std::string refusal; // empty: created
};
// Cases print as their name in test output.
void PrintTo(const creation_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsV2Creation : public DnsV2Module, public ::testing::WithParamInterface<creation_case> {};

TEST_P(DnsV2Creation, Settings) {
    auto settings = sensor_settings("zone.test", "A");
    settings[dns_v2_key + GetParam().key] = GetParam().value;
    message_log::instance().take();
    const auto code = create(1, settings);
    const auto lines = message_log::instance().take_runtime_lines();
    if (GetParam().refusal.empty()) {
        EXPECT_EQ(code, 0);
        return;
    }
    EXPECT_EQ(code, 2);
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [&](const std::string& l) { return l.find(GetParam().refusal) != std::string::npos; }))
        << "no runtime log line says: " << GetParam().refusal;
    EXPECT_EQ(module.execute_sensor_scan(1), 6) << "no sensor exists";
}

INSTANTIATE_TEST_SUITE_P(
    Rules, DnsV2Creation,
    ::testing::Values(creation_case{"TimeoutZero", "query_timeout", "0", ""},
                      creation_case{"TimeoutMaximum", "query_timeout", "900", ""},
                      creation_case{"TimeoutTooLong", "query_timeout", "901",
                                    "Setting value 901 is bigger than the allowed value of 900."},
                      creation_case{"TimeoutNegative", "query_timeout", "-1",
                                    "Setting value -1 is less than the allowed value of 0."},
                      creation_case{"PortZero", "port", "0", "Setting value 0 is less than the allowed value of 1."},
                      creation_case{"PortTooHigh", "port", "65536",
                                    "Setting value 65536 is bigger than the allowed value of 65535."},
                      creation_case{"FilterModeCapitalised", "apply_filter", "Enabled",
                                    "Value \"Enabled\" could not be parsed into selection type \"apply_filter\"."}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace vantrel::kelvane::tests
