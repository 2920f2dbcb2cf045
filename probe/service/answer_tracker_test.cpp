#include "answer_tracker.hpp"

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

host_wire::SensorScanResult ok(const std::string& records) {
    host_wire::SensorScanResult r;
    r.set_response_code(host_wire::SCAN_OK);
    r.mutable_message()->set_english("OK: " + records);
    return r;
}

host_wire::SensorScanResult no_records() {
    host_wire::SensorScanResult r;
    r.set_response_code(host_wire::SCAN_OK);
    r.mutable_message()->set_key("error.empty_result");
    r.mutable_message()->set_english("DNS query returned no records.");
    return r;
}

host_wire::SensorScanResult failed() {
    host_wire::SensorScanResult r;
    r.set_response_code(host_wire::SCAN_ERROR);
    r.mutable_message()->set_key("error.query_timeout");
    return r;
}

TEST(AnswerOf, ReadsEveryGroupWithItsType) {
    EXPECT_EQ(answer_of(ok("A=10.0.0.10, 10.0.0.2, AAAA=::1, TXT=\"v=spf1 -all\"")),
              (answer_set{"A=10.0.0.10", "A=10.0.0.2", "AAAA=::1", "TXT=\"v=spf1 -all\""}));
    EXPECT_EQ(answer_of(ok("MX=10 mx1.example., 20 mx2.example.")),
              (answer_set{"MX=10 mx1.example.", "MX=20 mx2.example."}));
}

TEST(AnswerOf, OrderOfTheRecordsDoesNotMatter) {
    EXPECT_EQ(answer_of(ok("A=10.0.0.2, 10.0.0.10")), answer_of(ok("A=10.0.0.10, 10.0.0.2")));
    EXPECT_NE(answer_of(ok("A=10.0.0.2, TXT=x")), answer_of(ok("A=x, TXT=10.0.0.2")))
        << "a value keeps its type when the items are sorted";
}

TEST(AnswerOf, NoRecordsIsAnAnswerAndAFailureIsNone) {
    EXPECT_EQ(answer_of(no_records()), answer_set{});
    EXPECT_FALSE(answer_of(failed()));
    auto warning = ok("A=1.2.3.4");
    warning.set_response_code(host_wire::SCAN_WARNING);
    EXPECT_FALSE(answer_of(warning));
}

TEST(AnswerTracker, CountsOnlyChangesBetweenAnswers) {
    answer_tracker t;
    EXPECT_FALSE(t.observe({"A=192.0.2.1"})) << "the first answer is not a change";
    EXPECT_FALSE(t.observe({"A=192.0.2.1"}));
    const auto c = t.observe({"A=192.0.2.66"});
    ASSERT_TRUE(c);
    EXPECT_EQ(c->before, answer_set{"A=192.0.2.1"});
    EXPECT_EQ(c->after, answer_set{"A=192.0.2.66"});
    EXPECT_TRUE(t.observe({})) << "records that disappear are a change";
    EXPECT_FALSE(t.observe({}));
    EXPECT_TRUE(t.observe({"A=192.0.2.1"}));
    EXPECT_EQ(answer_text(*t.last()), "A=192.0.2.1");
    EXPECT_EQ(answer_text({}), "(no records)");
}

} // namespace
} // namespace vantrel::kelvane::probe::service
