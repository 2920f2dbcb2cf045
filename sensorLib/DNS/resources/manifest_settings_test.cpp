#include <dns/manifest_settings.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::dns {
namespace {

using strings = std::vector<std::string>;

TEST(manifest_settings, dns_v2_keys_are_the_ones_its_settings_reader_uses) {
    EXPECT_EQ(manifest_setting_keys("dns_v2"),
              (strings{"dns_sensor_section.dns_sensor_group.domain", "dns_sensor_section.dns_sensor_group.record_type",
                       "dns_sensor_section.dns_sensor_group.query_timeout",
                       "dns_sensor_section.dns_sensor_group.apply_filter", "dns_sensor_section.dns_sensor_group.filter",
                       "dns_sensor_section.dns_sensor_group.port"}));
}

TEST(manifest_settings, ip_reputation_keys_defaults_and_flags) {
    const auto settings = manifest_settings("ip_reputation_score_sensor");
    ASSERT_EQ(settings.size(), 4u);
    const std::string prefix = "ip_reputation_score_section.ip_reputation_score_group.";
    EXPECT_EQ(settings[0].key, prefix + "dns_resolver");
    EXPECT_EQ(settings[0].default_value, "system");
    EXPECT_FALSE(settings[0].required);
    EXPECT_EQ(settings[1].key, prefix + "custom_resolver");
    EXPECT_TRUE(settings[1].required);
    EXPECT_EQ(settings[2].key, prefix + "custom_resolver_port");
    EXPECT_EQ(settings[2].default_value, "53");
    EXPECT_EQ(settings[3].key, prefix + "blacklist_servers");
    EXPECT_EQ(settings[3].default_value, "bl.spamcop.net");
    EXPECT_TRUE(settings[3].required);
}

TEST(manifest_settings, kinds_without_sections_have_no_settings) {
    EXPECT_TRUE(manifest_settings("dns_check").empty());
    EXPECT_TRUE(manifest_settings("true_check").empty());
    EXPECT_TRUE(manifest_settings("no_such_sensor").empty());
}

} // namespace
} // namespace vantrel::kelvane::dns
