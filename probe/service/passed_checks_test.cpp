#include "passed_checks.hpp"

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

using namespace std::chrono_literals;

host_wire::SensorData check(const std::string& host, const std::string& kind = "dns_check") {
    host_wire::SensorData data;
    data.set_kind(kind);
    (*data.mutable_settings())["host"] = host;
    (*data.mutable_settings())["timeout"] = "10";
    return data;
}

const time_point start{std::chrono::hours(1)};

TEST(PassedChecks, APassedCheckCountsForItsTimeOnly) {
    passed_checks checks(60s, 10);
    EXPECT_FALSE(checks.passed(check("a"), start));
    checks.remember(check("a"), start);
    EXPECT_TRUE(checks.passed(check("a"), start + 59s));
    EXPECT_FALSE(checks.passed(check("a"), start + 60s));
    checks.remember(check("a"), start + 60s);
    EXPECT_TRUE(checks.passed(check("a"), start + 119s)) << "a check run again counts from then";
}

TEST(PassedChecks, OnlyTheSameCheckWithTheSameSettingsCounts) {
    passed_checks checks(60s, 10);
    checks.remember(check("a"), start);
    EXPECT_FALSE(checks.passed(check("b"), start));
    EXPECT_FALSE(checks.passed(check("a", "true_check"), start));
    auto longer = check("a");
    (*longer.mutable_settings())["timeout"] = "11";
    EXPECT_FALSE(checks.passed(longer, start));
    auto more = check("a");
    (*more.mutable_settings())["domain"] = "example.org";
    EXPECT_FALSE(checks.passed(more, start));
    // The same settings given in another order are the same check.
    host_wire::SensorData reordered;
    reordered.set_kind("dns_check");
    (*reordered.mutable_settings())["timeout"] = "10";
    (*reordered.mutable_settings())["host"] = "a";
    EXPECT_TRUE(checks.passed(reordered, start));
}

TEST(PassedChecks, HoldsAtMostItsCapacityAndMakesRoomFromExpiredChecks) {
    passed_checks checks(60s, 2);
    checks.remember(check("a"), start);
    checks.remember(check("b"), start + 30s);
    checks.remember(check("c"), start + 30s);
    EXPECT_FALSE(checks.passed(check("c"), start + 30s)) << "full: not remembered";
    EXPECT_TRUE(checks.passed(check("a"), start + 30s));
    checks.remember(check("c"), start + 61s);
    EXPECT_TRUE(checks.passed(check("c"), start + 61s)) << "a's place was free again";
    EXPECT_FALSE(checks.passed(check("a"), start + 61s));
    EXPECT_TRUE(checks.passed(check("b"), start + 61s));
}

TEST(PassedChecks, NothingIsRememberedWithoutATime) {
    passed_checks checks(0s, 10);
    checks.remember(check("a"), start);
    EXPECT_FALSE(checks.passed(check("a"), start));
}

} // namespace
} // namespace vantrel::kelvane::probe::service
