#include "probe_request.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

using parameters = std::vector<std::pair<std::string, std::string>>;

const manifest_model& manifest() {
    static const manifest_model m{std::string(dns::manifest_json())};
    return m;
}

const std::map<std::string, module_preset>& presets() {
    static const auto config = parse_config(R"(modules:
  dns_mx:
    kind: dns_v2
    settings: {record_type: MX, query_timeout: 7, domain: example.org}
  reputation:
    kind: ip_reputation_score_sensor
    settings: {blacklist_servers: bl.example}
)",
                                            "probe.yaml", manifest());
    return config.modules;
}

probe_request parse(const parameters& p, std::optional<double> scrape_timeout = std::nullopt,
                    const std::map<std::string, module_preset>& modules = presets()) {
    return parse_probe_request(p, modules, manifest(), scrape_timeout);
}

std::string value(const probe_request& r, const std::string& key) {
    return r.settings.settings().at(key);
}

constexpr const char* domain_key = "dns_sensor_section.dns_sensor_group.domain";
constexpr const char* type_key = "dns_sensor_section.dns_sensor_group.record_type";
constexpr const char* timeout_key = "dns_sensor_section.dns_sensor_group.query_timeout";

TEST(ProbeRequest, EveryFormOfASettingKey) {
    // A bare name, a full key and a common key, as in the configuration.
    const auto r = parse(
        {{"kind", "dns_v2"}, {"target", "127.0.0.1"}, {"domain", "www.example"}, {type_key, "AAAA"}, {"timeout", "9"}});
    EXPECT_EQ(r.kind, "dns_v2");
    EXPECT_EQ(value(r, "host"), "127.0.0.1");
    EXPECT_EQ(value(r, domain_key), "www.example");
    EXPECT_EQ(value(r, type_key), "AAAA");
    EXPECT_EQ(value(r, "timeout"), "9");
    EXPECT_EQ(value(r, timeout_key), "30") << "the default of a setting not given";
    EXPECT_FALSE(r.debug);
    EXPECT_EQ(value(r, "logging"), "disabled");
}

TEST(ProbeRequest, PresetsAndOverrides) {
    auto r = parse({{"module", "dns_mx"}, {"target", "192.0.2.1"}});
    EXPECT_EQ(r.kind, "dns_v2");
    EXPECT_EQ(r.module, "dns_mx");
    EXPECT_EQ(value(r, type_key), "MX");
    EXPECT_EQ(value(r, domain_key), "example.org");
    EXPECT_EQ(value(r, timeout_key), "7");
    r = parse({{"module", "dns_mx"}, {"target", "192.0.2.1"}, {"record_type", "TXT"}, {"debug", "true"}});
    EXPECT_EQ(value(r, type_key), "TXT") << "the request overrides the preset";
    EXPECT_EQ(value(r, timeout_key), "7") << "and keeps what it does not name";
    EXPECT_TRUE(r.debug);
    EXPECT_EQ(value(r, "logging"), "enabled") << "debug needs the sensor log";
    r = parse({{"module", "reputation"}, {"target", "192.0.2.25"}});
    EXPECT_EQ(r.kind, "ip_reputation_score_sensor");
}

TEST(ProbeRequest, OneReaderServesEveryRequestFromTheSameStart) {
    // What one request sets, lowers or turns on stays with that request.
    const probe_request_reader reader(presets(), manifest());
    auto r = reader.read(
        {{"module", "dns_mx"}, {"target", "192.0.2.1"}, {"record_type", "TXT"}, {"timeout", "2"}, {"debug", "true"}},
        4.0);
    EXPECT_EQ(value(r, type_key), "TXT");
    EXPECT_EQ(value(r, timeout_key), "3");
    r = reader.read({{"module", "dns_mx"}, {"target", "192.0.2.2"}});
    EXPECT_EQ(value(r, "host"), "192.0.2.2");
    EXPECT_EQ(value(r, type_key), "MX");
    EXPECT_EQ(value(r, timeout_key), "7");
    EXPECT_EQ(value(r, "timeout"), "10");
    EXPECT_EQ(value(r, "logging"), "disabled");
    r = reader.read({{"kind", "dns_v2"}, {"target", "192.0.2.3"}, {"domain", "www.example"}});
    EXPECT_EQ(value(r, type_key), "A") << "the kind's default, not the preset's";
    EXPECT_EQ(value(r, timeout_key), "30");
    EXPECT_THROW(reader.read({{"kind", "dns_v2"}, {"target", "192.0.2.3"}}), bad_probe_request)
        << "the domain of an earlier request is not kept";
}

TEST(ProbeRequest, ScrapeTimeoutLowersLongerTimeouts) {
    const auto r = parse({{"module", "dns_mx"}, {"target", "192.0.2.1"}, {"timeout", "2"}}, 4.0);
    EXPECT_EQ(value(r, timeout_key), "3") << "7 s would outlast a 4 s scrape";
    EXPECT_EQ(value(r, "timeout"), "2") << "shorter ones stay";
    EXPECT_EQ(value(parse({{"module", "dns_mx"}, {"target", "h"}}, 0.9), timeout_key), "1");
}

struct bad_case {
    std::string name;
    parameters given;
    std::string reason; // part of the 400 answer
};

class BadProbeRequest : public testing::TestWithParam<bad_case> {};

TEST_P(BadProbeRequest, IsRefusedWithItsReason) {
    try {
        parse(GetParam().given);
        FAIL() << "accepted";
    } catch (const bad_probe_request& e) {
        const std::string what = e.what();
        EXPECT_NE(what.find(GetParam().reason), std::string::npos) << what;
        EXPECT_EQ(what.find('\n'), std::string::npos) << "one line: " << what;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadProbeRequest,
    testing::Values(
        bad_case{"NoKind", {{"target", "h"}}, "kind or module is missing"},
        bad_case{"KindAndModule", {{"kind", "dns_v2"}, {"module", "dns_mx"}, {"target", "h"}}, "not both"},
        bad_case{"UnknownKind", {{"kind", "ping"}, {"target", "h"}}, "unknown sensor kind \"ping\"; known: dns_v2"},
        bad_case{"CheckIsNoKind", {{"kind", "dns_check"}, {"target", "h"}}, "unknown sensor kind"},
        bad_case{"UnknownModule", {{"module", "nope"}, {"target", "h"}}, "unknown module \"nope\"; known: dns_mx"},
        bad_case{"NoTarget", {{"kind", "dns_v2"}, {"domain", "x"}}, "target is missing"},
        bad_case{"EmptyTarget", {{"kind", "dns_v2"}, {"target", ""}, {"domain", "x"}}, "target is missing"},
        bad_case{"HostInsteadOfTarget", {{"kind", "dns_v2"}, {"target", "h"}, {"host", "x"}}, "given as target"},
        bad_case{"TargetTwice", {{"kind", "dns_v2"}, {"target", "a"}, {"target", "b"}}, "target is given twice"},
        bad_case{
            "UnknownSetting", {{"kind", "dns_v2"}, {"target", "h"}, {"colour", "x"}}, "\"colour\" is not a setting"},
        bad_case{"SettingTwiceUnderTwoNames",
                 {{"kind", "dns_v2"}, {"target", "h"}, {"domain", "a"}, {domain_key, "b"}},
                 "which is already set"},
        bad_case{
            "NotAnOption", {{"kind", "dns_v2"}, {"target", "h"}, {"record_type", "AXFR"}}, "must be one of \"A\", \"AAAA\""},
        bad_case{"NotANumber", {{"kind", "dns_v2"}, {"target", "h"}, {"port", "53x"}}, "must be a whole number"},
        bad_case{"OutOfRange", {{"kind", "dns_v2"}, {"target", "h"}, {"port", "70000"}}, "from 1 to 65535"},
        bad_case{"RequiredLeftEmpty", {{"kind", "dns_v2"}, {"target", "h"}}, "needs a value for"},
        bad_case{"BadDebug", {{"kind", "dns_v2"}, {"target", "h"}, {"debug", "yes"}}, "debug must be true or false"}),
    [](const auto& info) { return info.param.name; });

TEST(DeploySample, IsAConfigurationTheServiceAccepts) {
    const auto config = load_config(WEXO_SAMPLE_CONFIG, manifest());
    EXPECT_EQ(config.sensors.size(), 2u);
    EXPECT_EQ(config.modules.count("dns_a"), 1u);
    // Its presets serve /probe as they stand.
    EXPECT_EQ(
        parse({{"module", "dns_a"}, {"target", "h"}, {"domain", "www.example"}}, std::nullopt, config.modules).kind,
        "dns_v2");
}

} // namespace
} // namespace vantrel::kelvane::probe::service
