// Answers whose texts are not UTF-8, through the module's exports: protobuf
// refuses such a string field, so an unescaped byte would cost the host the
// whole result and the log line that quotes it.

#include "module_session.hpp"

#include <test_support/fake_dns_server.hpp>

namespace vantrel::kelvane::tests {
namespace {

using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;

class DnsV2Utf8 : public module_session, public ::testing::WithParamInterface<const char*> {
protected:
    fake_dns_server server;
};

TEST_P(DnsV2Utf8, ResultAndLogArriveWithTheBytesEscaped) {
    server.on_request([](const dns_request& r) { return dns_action::answer().txt(r.name, {"caf\xe9", "ok"}); });
    auto settings = dns_v2_settings("zone.test", server.port());
    settings["logging"] = GetParam();
    settings[dns_v2_key + "record_type"] = "TXT";
    settings[dns_v2_key + "apply_filter"] = "enabled";
    settings[dns_v2_key + "filter"] = "caf*";
    const auto bytes = sensor_data("dns_v2", settings);
    ASSERT_EQ(module.create_sensor_instance(1, bytes_of(bytes), size_of(bytes)), 0);
    message_log::instance().take();
    ASSERT_EQ(module.execute_sensor_scan(1), 0);

    // The recording callback fails the test for any message it cannot decode.
    const auto messages = message_log::instance().take();
    std::vector<wire::SensorScanResult> results;
    bool logged_the_answer = false;
    for (const auto& m : messages) {
        if (m.envelope.has_sensor_scan_result()) {
            results.push_back(m.envelope.sensor_scan_result());
        }
        if (m.envelope.has_log_message() && m.envelope.log_message().text().find("caf\\233ok") != std::string::npos) {
            logged_the_answer = true;
        }
    }
    ASSERT_EQ(results.size(), 1u) << "the scan sent no result";
    EXPECT_EQ(results[0].response_code(), wire::SCAN_OK);
    EXPECT_EQ(results[0].message().english(), "OK: TXT=caf\\233ok");
    ASSERT_GE(results[0].values_size(), 4);
    EXPECT_EQ(results[0].values(3).value(), 1) << "the filter sees the escaped text";
    EXPECT_EQ(logged_the_answer, std::string(GetParam()) == "enabled");
}

INSTANTIATE_TEST_SUITE_P(Logging, DnsV2Utf8, ::testing::Values("enabled", "disabled"),
                         [](const auto& info) { return std::string(info.param); });

} // namespace
} // namespace vantrel::kelvane::tests
