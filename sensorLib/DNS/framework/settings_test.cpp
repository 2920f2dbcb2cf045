#include <dns/settings/common_settings.hpp>
#include <dns/settings/enumerations.hpp>

#include <libwexohelper/utils/exceptions.hpp>

#include <gtest/gtest.h>
#include <testing/sensor_data.hpp>

#include <map>
#include <optional>

namespace vantrel::kelvane::dns::settings {
namespace {

using libwexohelper::utils::exceptions::setting_selection_parse_error;

template <class Parse> std::string parse_error_text(Parse parse, std::string_view text) {
    try {
        parse(text);
    } catch (const setting_selection_parse_error& e) {
        return e.what();
    }
    return "no error";
}

TEST(Enumerations, OnlyIpversionTakesDigits) {
    EXPECT_EQ(parse_ipversion("IPv4"), ipversion::ipv4);
    EXPECT_EQ(parse_ipversion("0"), ipversion::ipv4);
    EXPECT_EQ(parse_ipversion("IPv6"), ipversion::ipv6);
    EXPECT_EQ(parse_ipversion("1"), ipversion::ipv6);
    EXPECT_EQ(parse_error_text(parse_logging, "1"), "Value \"1\" could not be parsed into selection type \"logging\".");
    EXPECT_EQ(parse_error_text(parse_apply_filter, "0"),
              "Value \"0\" could not be parsed into selection type \"apply_filter\".");
    EXPECT_EQ(parse_error_text(parse_record_type, "0"),
              "Value \"0\" could not be parsed into selection type \"record_type\".");
}

TEST(Enumerations, ComparisonIsCaseSensitiveAndNamesTheSelection) {
    EXPECT_EQ(parse_error_text(parse_ipversion, "ipv6"),
              "Value \"ipv6\" could not be parsed into selection type \"ipversion\".");
    EXPECT_EQ(parse_error_text(parse_logging, "Enabled"),
              "Value \"Enabled\" could not be parsed into selection type \"logging\".");
    EXPECT_EQ(parse_error_text(parse_record_type, ""),
              "Value \"\" could not be parsed into selection type \"record_type\".");
    EXPECT_EQ(parse_error_text(parse_record_type, "mx"),
              "Value \"mx\" could not be parsed into selection type \"record_type\".");
    EXPECT_EQ(parse_error_text(parse_dns_resolver, "System"),
              "Value \"System\" could not be parsed into selection type \"dns_resolver\".");
    EXPECT_EQ(parse_error_text(parse_apply_filter, "Enabled"),
              "Value \"Enabled\" could not be parsed into selection type \"apply_filter\".");
    EXPECT_EQ(parse_error_text(parse_ipversion, "IPv4 "),
              "Value \"IPv4 \" could not be parsed into selection type \"ipversion\".");
}

TEST(Enumerations, EveryWordReadsAsItsValueAndRecordTypesNameBack) {
    EXPECT_EQ(parse_apply_filter("enabled_match_exact"), apply_filter::enabled_match_exact);
    EXPECT_EQ(parse_dns_resolver("custom"), dns_resolver::custom);
    EXPECT_EQ(parse_logging("enabled"), logging::enabled);
    int expected = 0;
    for (const char* name : {"A", "AAAA", "CNAME", "MX", "NAPTR", "NS", "PTR", "SOA", "TXT", "ANY"}) {
        const auto type = parse_record_type(name);
        EXPECT_EQ(static_cast<int>(type), expected++) << name;
        EXPECT_EQ(record_type_name(type), name);
    }
    EXPECT_EQ(record_type_name(static_cast<record_type>(10)), "");
    EXPECT_EQ(record_type_name(static_cast<record_type>(-1)), "");
}

class CommonSettings : public ::testing::Test {
protected:
    std::map<std::string, std::string> settings{{"host", "127.0.0.1"}, {"logging", "enabled"},
                                                {"timeout", "10"},     {"vantrelcloudapikey", "key"},
                                                {"ipversion", "IPv4"}, {"interval", "60"}};
    common_settings read() const {
        return common_settings::read(
            libwexohelper::testing::wrap(libwexohelper::testing::sensor_data_bytes("", settings)));
    }
    std::string failure() const {
        try {
            read();
        } catch (const std::exception& e) {
            return e.what();
        }
        return "no error";
    }
};

TEST_F(CommonSettings, ReadsEveryField) {
    settings["ipversion"] = "1";
    settings["interval"] = "300";
    const auto record = read();
    EXPECT_EQ(record.host, "127.0.0.1");
    EXPECT_TRUE(record.logging_enabled());
    EXPECT_EQ(record.timeout, 10);
    EXPECT_EQ(record.vantrelcloudapikey, "key");
    EXPECT_EQ(record.ipversion, ipversion::ipv6);
    EXPECT_EQ(record.ip_version_number(), 6u);
    EXPECT_EQ(record.interval, 300);
}

TEST_F(CommonSettings, ApiKeyMayBeAbsentButOtherKeysMayNot) {
    settings.erase("vantrelcloudapikey");
    EXPECT_EQ(read().vantrelcloudapikey, "");
    settings.erase("interval");
    EXPECT_EQ(failure(), "The setting \"interval\" was not available.");
}

TEST_F(CommonSettings, LimitsAndNumbersAreChecked) {
    settings["timeout"] = "-1";
    EXPECT_EQ(failure(), "Setting value -1 is less than the allowed value of 0.");
    settings["timeout"] = "0";
    settings["interval"] = "0";
    EXPECT_EQ(failure(), "Setting value 0 is less than the allowed value of 1.");
    settings["interval"] = "sixty";
    EXPECT_THROW(read(), std::bad_optional_access);
    EXPECT_EQ(failure(), "Bad optional access");
}

TEST_F(CommonSettings, KeysAreReadInTheirOrderAndTheFirstFailureWins) {
    // timeout comes before ipversion, ipversion before interval.
    settings["timeout"] = "x";
    settings["ipversion"] = "ipv6";
    settings["interval"] = "0";
    EXPECT_EQ(failure(), "Bad optional access");
    settings["timeout"] = "5";
    EXPECT_EQ(failure(), "Value \"ipv6\" could not be parsed into selection type \"ipversion\".");
    settings["logging"] = "Enabled";
    EXPECT_EQ(failure(), "Value \"Enabled\" could not be parsed into selection type \"logging\".");
}

} // namespace
} // namespace vantrel::kelvane::dns::settings
