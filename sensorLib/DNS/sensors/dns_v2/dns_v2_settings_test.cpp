#include <dns/dns_v2_settings.hpp>
#include <dns/manifest_settings.hpp>

#include <libwexohelper/utils/exceptions.hpp>
#include <testing/sensor_data.hpp>

#include <gtest/gtest.h>

#include <ostream>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace vantrel::kelvane::dns::settings {
namespace {

using settings_map = std::map<std::string, std::string>;

const std::string prefix = "dns_sensor_section.dns_sensor_group.";

settings_map valid_settings() {
    return {{"host", "192.0.2.7"},
            {"logging", "disabled"},
            {"timeout", "10"},
            {"ipversion", "IPv6"},
            {"interval", "60"},
            {prefix + "domain", "example.test"},
            {prefix + "record_type", "MX"},
            {prefix + "query_timeout", "45"},
            {prefix + "apply_filter", "enabled_match_exact"},
            {prefix + "filter", "MX=10 mail.example.test"},
            {prefix + "port", "5353"}};
}

std::string bytes_of(const settings_map& settings) {
    return libwexohelper::testing::sensor_data_bytes("dns_v2", settings);
}

// The English text of what reading throws, or "ok".
std::string read_outcome(const settings_map& settings) {
    try {
        dns_v2::read(libwexohelper::testing::wrap(bytes_of(settings)));
    } catch (const std::bad_optional_access&) {
        return "not a number";
    } catch (const std::exception& e) {
        return e.what();
    }
    return "ok";
}

TEST(DnsV2Settings, ReadsCommonAndOwnFieldsIntoTheirPlaces) {
    const auto s = dns_v2::read(libwexohelper::testing::wrap(bytes_of(valid_settings())));
    EXPECT_EQ(s.host, "192.0.2.7");
    EXPECT_EQ(s.ipversion, ipversion::ipv6);
    EXPECT_FALSE(s.logging_enabled());
    EXPECT_EQ(s.domain, "example.test");
    EXPECT_EQ(s.record_type, record_type::MX);
    EXPECT_EQ(s.query_timeout, 45);
    EXPECT_EQ(s.apply_filter, apply_filter::enabled_match_exact);
    EXPECT_EQ(s.filter, "MX=10 mail.example.test");
    EXPECT_EQ(s.port, 5353);
}

struct settings_case {
    const char* name;
    settings_map changes; // a value "<absent>" removes the key
    std::string outcome;
};
// Cases print as their name in test output.
void PrintTo(const settings_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsV2SettingsCase : public ::testing::TestWithParam<settings_case> {};

TEST_P(DnsV2SettingsCase, ReadOutcome) {
    auto settings = valid_settings();
    for (const auto& [key, value] : GetParam().changes) {
        if (value == "<absent>") {
            settings.erase(key);
        } else {
            settings[key] = value;
        }
    }
    EXPECT_EQ(read_outcome(settings), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, DnsV2SettingsCase,
    ::testing::Values(settings_case{"TimeoutNotANumber", {{prefix + "query_timeout", "30s"}}, "not a number"},
                      settings_case{"PortLowest", {{prefix + "port", "1"}}, "ok"},
                      settings_case{"PortHighest", {{prefix + "port", "65535"}}, "ok"},
                      settings_case{"FilterModeEmpty",
                                    {{prefix + "apply_filter", ""}},
                                    "Value \"\" could not be parsed into selection type \"apply_filter\"."},
                      settings_case{"RecordTypeLowerCase",
                                    {{prefix + "record_type", "mx"}},
                                    "Value \"mx\" could not be parsed into selection type \"record_type\"."},
                      settings_case{"DomainMissing",
                                    {{prefix + "domain", "<absent>"}},
                                    "The setting \"dns_sensor_section.dns_sensor_group.domain\" was not available."},
                      settings_case{"FilterMissing",
                                    {{prefix + "filter", "<absent>"}},
                                    "The setting \"dns_sensor_section.dns_sensor_group.filter\" was not available."},
                      settings_case{"CommonSettingsFirst",
                                    {{"ipversion", "IPv5"}, {prefix + "domain", "<absent>"}},
                                    "Value \"IPv5\" could not be parsed into selection type \"ipversion\"."},
                      // Fields are read in order and reading stops at the first failure.
                      settings_case{
                          "RecordTypeBeforeTimeoutBeforePort",
                          {{prefix + "record_type", "SRV"}, {prefix + "query_timeout", "-5"}, {prefix + "port", "0"}},
                          "Value \"SRV\" could not be parsed into selection type \"record_type\"."},
                      settings_case{"TimeoutBeforeFilterMode",
                                    {{prefix + "query_timeout", "1000"}, {prefix + "apply_filter", "on"}},
                                    "Setting value 1000 is bigger than the allowed value of 900."}),
    [](const auto& info) { return info.param.name; });

TEST(DnsV2Settings, EveryKeyOfTheSensorsSectionThatIsReadIsDeclaredInTheManifest) {
    // Start from exactly what the manifest declares, with its defaults.
    settings_map settings{
        {"host", "127.0.0.1"}, {"logging", "disabled"}, {"timeout", "10"}, {"ipversion", "IPv4"}, {"interval", "60"}};
    const auto declared = manifest_settings("dns_v2");
    ASSERT_FALSE(declared.empty());
    for (const auto& setting : declared) {
        settings[setting.key] = setting.default_value;
    }
    settings[prefix + "domain"] = "example.test";

    const auto wrapper = libwexohelper::testing::wrap<libwexohelper::testing::recording_wrapper>(bytes_of(settings));
    const auto read = dns_v2::read(wrapper);
    EXPECT_EQ(read.record_type, record_type::A) << "the manifest's defaults must read";
    EXPECT_EQ(read.port, 53);

    const auto keys = manifest_setting_keys("dns_v2");
    const std::set<std::string> common{"host", "logging", "timeout", "vantrelcloudapikey", "ipversion", "interval"};
    std::size_t own = 0;
    for (const auto& key : std::set<std::string>(wrapper.asked.begin(), wrapper.asked.end())) {
        if (common.contains(key)) {
            continue;
        }
        ++own;
        EXPECT_NE(std::find(keys.begin(), keys.end(), key), keys.end()) << key << " is read but not declared";
    }
    EXPECT_EQ(own, 6u);
}

} // namespace
} // namespace vantrel::kelvane::dns::settings
