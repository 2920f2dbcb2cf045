#include "setting_check.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe {
namespace {

const kind_description& dns_v2() {
    static const manifest_model m{std::string(dns::manifest_json())};
    return *m.find_kind("dns_v2");
}

const setting_description& setting(const std::string& name) {
    for (const auto& s : dns_v2().settings) {
        if (s.name == name) {
            return s;
        }
    }
    throw std::runtime_error("no setting " + name);
}

struct value_case {
    const char* name;
    std::string setting;
    std::string value;
    std::string error; // empty: accepted
};

void PrintTo(const value_case& c, std::ostream* out) {
    *out << c.name;
}

class SettingValue : public ::testing::TestWithParam<value_case> {};

TEST_P(SettingValue, IsCheckedAgainstTheManifest) {
    const auto error = check_setting_value(setting(GetParam().setting), GetParam().value);
    EXPECT_EQ(error.value_or(""), GetParam().error);
}

const std::string port_rule =
    "The setting \"dns_sensor_section.dns_sensor_group.port\" must be a whole number from 1 to 65535; ";

INSTANTIATE_TEST_SUITE_P(
    Values, SettingValue,
    ::testing::Values(
        value_case{"port_lowest", "port", "1", ""}, value_case{"port_highest", "port", "65535", ""},
        value_case{"port_with_plus", "port", "+53", ""},
        value_case{"port_zero", "port", "0", port_rule + "\"0\" is not."},
        value_case{"port_above", "port", "65536", port_rule + "\"65536\" is not."},
        value_case{"port_word", "port", "fifty", port_rule + "\"fifty\" is not."},
        value_case{"port_fraction", "port", "53.5", port_rule + "\"53.5\" is not."},
        value_case{"port_empty", "port", "", port_rule + "\"\" is not."},
        value_case{"port_beyond_64_bits", "port", "99999999999999999999",
                   port_rule + "\"99999999999999999999\" is not."},
        value_case{"port_with_escape", "port", "5\x1b[2J", port_rule + "\"5\\027[2J\" is not."},
        value_case{"timeout_unbounded_above", "timeout", "100000", ""},
        value_case{"timeout_below_zero", "timeout", "-1",
                   "The setting \"timeout\" must be a whole number of at least 0; \"-1\" is not."},
        value_case{"interval_zero", "interval", "0",
                   "The setting \"interval\" must be a whole number of at least 1; \"0\" is not."},
        value_case{"record_type_known", "record_type", "TXT", ""},
        value_case{"record_type_lower_case", "record_type", "txt",
                   "The setting \"dns_sensor_section.dns_sensor_group.record_type\" must be one of \"A\", \"AAAA\", "
                   "\"CNAME\", \"MX\", \"NAPTR\", \"NS\", \"PTR\", \"SOA\", \"TXT\", \"ANY\"; \"txt\" is not."},
        value_case{"ipversion_digit", "ipversion", "1", ""},
        value_case{"text_anything", "domain", "\x01 anything \xff", ""},
        value_case{"long_value_cut", "port", std::string(200, '7'),
                   port_rule + "\"" + std::string(80, '7') + "\"... is not."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SettingValue, ASecureValueIsNeverQuoted) {
    setting_description secret;
    secret.key = secret.name = "pin";
    secret.type = "integer";
    secret.secure = true;
    const auto error = check_setting_value(secret, "12x4");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->find("12x4"), std::string::npos) << *error;
    EXPECT_NE(error->find("\"pin\" must be a whole number"), std::string::npos) << *error;
}

} // namespace
} // namespace vantrel::kelvane::probe
