#include "passed_checks.hpp"

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

using namespace std::chrono_literals;

// The settings of a sensor that the check comes before.
host_wire::SensorData settings(const std::string& host, const std::string& sensor_kind = "dns_v2") {
    host_wire::SensorData data;
    data.set_kind(sensor_kind);
    (*data.mutable_settings())["host"] = host;
    (*data.mutable_settings())["timeout"] = "10";
    return data;
}

constexpr const char* dns_check = "dns_check";

const time_point start{std::chrono::hours(1)};

TEST(PassedChecks, APassedCheckCountsForItsTimeOnly) {
    passed_checks checks(60s, 10);
    EXPECT_FALSE(checks.passed(dns_check, settings("a"), start));
    checks.remember(dns_check, settings("a"), start);
    EXPECT_TRUE(checks.passed(dns_check, settings("a"), start + 59s));
    EXPECT_FALSE(checks.passed(dns_check, settings("a"), start + 60s));
    checks.remember(dns_check, settings("a"), start + 60s);
    EXPECT_TRUE(checks.passed(dns_check, settings("a"), start + 119s)) << "a check run again counts from then";
}

TEST(PassedChecks, OnlyTheSameCheckWithTheSameSettingsCounts) {
    passed_checks checks(60s, 10);
    checks.remember(dns_check, settings("a"), start);
    EXPECT_FALSE(checks.passed(dns_check, settings("b"), start));
    EXPECT_FALSE(checks.passed("true_check", settings("a"), start));
    EXPECT_TRUE(checks.passed(dns_check, settings("a", "other_sensor"), start)) << "the sensor's kind does not count";
    auto longer = settings("a");
    (*longer.mutable_settings())["timeout"] = "11";
    EXPECT_FALSE(checks.passed(dns_check, longer, start));
    auto more = settings("a");
    (*more.mutable_settings())["domain"] = "example.org";
    EXPECT_FALSE(checks.passed(dns_check, more, start));
    auto with_channel = settings("a");
    (*with_channel.mutable_channels())[1] = "x";
    EXPECT_FALSE(checks.passed(dns_check, with_channel, start));
    auto with_data = settings("a");
    (*with_data.mutable_persistent_data())["host"] = "a";
    EXPECT_FALSE(checks.passed(dns_check, with_data, start));
    // The same settings given in another order are the same check.
    host_wire::SensorData reordered;
    reordered.set_kind("dns_v2");
    (*reordered.mutable_settings())["timeout"] = "10";
    (*reordered.mutable_settings())["host"] = "a";
    EXPECT_TRUE(checks.passed(dns_check, reordered, start));
}

TEST(PassedChecks, TextsAreNotRunTogether) {
    passed_checks checks(60s, 10);
    host_wire::SensorData remembered;
    (*remembered.mutable_settings())["ab"] = "c";
    checks.remember(dns_check, remembered, start);
    for (const auto& [key, value] : {std::pair<std::string, std::string>{"a", "bc"}, {"abc", ""}, {"", "abc"}}) {
        host_wire::SensorData other;
        (*other.mutable_settings())[key] = value;
        EXPECT_FALSE(checks.passed(dns_check, other, start)) << key << "=" << value;
    }
    EXPECT_FALSE(checks.passed("dns_checkab", host_wire::SensorData(), start));
}

TEST(PassedChecks, HoldsAtMostItsCapacityAndMakesRoomFromExpiredChecks) {
    passed_checks checks(60s, 2);
    checks.remember(dns_check, settings("a"), start);
    checks.remember(dns_check, settings("b"), start + 30s);
    checks.remember(dns_check, settings("c"), start + 30s);
    EXPECT_FALSE(checks.passed(dns_check, settings("c"), start + 30s)) << "full: not remembered";
    EXPECT_TRUE(checks.passed(dns_check, settings("a"), start + 30s));
    checks.remember(dns_check, settings("c"), start + 61s);
    EXPECT_TRUE(checks.passed(dns_check, settings("c"), start + 61s)) << "a's place was free again";
    EXPECT_FALSE(checks.passed(dns_check, settings("a"), start + 61s));
    EXPECT_TRUE(checks.passed(dns_check, settings("b"), start + 61s));
}

TEST(PassedChecks, NothingIsRememberedWithoutATime) {
    passed_checks checks(0s, 10);
    checks.remember(dns_check, settings("a"), start);
    EXPECT_FALSE(checks.passed(dns_check, settings("a"), start));
}

} // namespace
} // namespace vantrel::kelvane::probe::service
