// The dns_check through the module's exports. The check always asks port 53,
// so the fake server binds a loopback address of its own on that port.

#include "module_session.hpp"

#include <test_support/fake_dns_server.hpp>

#include <chrono>
#include <optional>
#include <system_error>

namespace vantrel::kelvane::tests {
namespace {

using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;

// Each case has a loopback address of its own, so that cases running in
// parallel processes never compete for the same port 53.
struct check_case {
    const char* name;
    std::string device;
    std::function<dns_action(const dns_request&)> answer;
    bool success;
};
// Cases print as their name in test output.
void PrintTo(const check_case& c, std::ostream* out) {
    *out << c.name;
}

class DnsCheckModule : public module_session, public ::testing::WithParamInterface<check_case> {
protected:
    // Success flag of the one check result, or nothing when none arrived.
    std::optional<bool> run_check(const std::string& host) {
        auto settings = common_settings(host);
        // The sensor's own port must not move the check off port 53.
        settings[dns_v2_key + "port"] = "5353";
        const auto bytes = sensor_data("dns_check", settings);
        message_log::instance().take();
        EXPECT_EQ(module.execute_check(11, bytes_of(bytes), size_of(bytes)), 0);
        const auto results = take_if(&wire::Envelope::has_check_result);
        EXPECT_EQ(results.size(), 1u);
        if (results.empty()) {
            return std::nullopt;
        }
        EXPECT_EQ(results[0].check_result().check_id(), 11);
        return results[0].check_result().success();
    }
};

TEST_P(DnsCheckModule, Outcome) {
    std::optional<fake_dns_server> server;
    const auto& device = GetParam().device;
    try {
        server.emplace(fake_dns_server::options{device, 53});
    } catch (const std::system_error& e) {
        if (e.code() == std::errc::permission_denied || e.code() == std::errc::operation_not_permitted) {
            GTEST_SKIP() << "not allowed to bind " << device << ":53 (" << e.what()
                         << "); the check only asks port 53, so it cannot be tested here";
        }
        FAIL() << "cannot bind " << device << ":53: " << e.what();
    }
    server->on_request(GetParam().answer);

    const auto start = std::chrono::steady_clock::now();
    const auto success = run_check(device);
    const auto elapsed = std::chrono::steady_clock::now() - start;

    ASSERT_TRUE(success.has_value());
    EXPECT_EQ(*success, GetParam().success);
    const auto requests = server->requests();
    ASSERT_FALSE(requests.empty());
    // c-ares parses the root name back as the empty text.
    EXPECT_TRUE(requests[0].name.empty() || requests[0].name == ".") << requests[0].name;
    EXPECT_EQ(requests[0].type, ARES_REC_TYPE_NS);
    if (std::string(GetParam().name) == "Silence") {
        // The check's 10 s hold in full: c-ares' 5 s ceiling for one try
        // would end it halfway if the client did not raise it.
        EXPECT_GE(elapsed, std::chrono::milliseconds(9000));
        EXPECT_LE(elapsed, std::chrono::milliseconds(11000));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Answers, DnsCheckModule,
    ::testing::Values(check_case{"RootNameServers", "127.53.0.1",
                                 [](const dns_request&) {
                                     return dns_action::answer().ns(".", "a.root.test").ns(".", "b.root.test");
                                 },
                                 true},
                      check_case{"NoData", "127.53.0.2", [](const dns_request&) { return dns_action::answer(); }, true},
                      check_case{"Refused", "127.53.0.3",
                                 [](const dns_request&) { return dns_action::answer(ARES_RCODE_REFUSED); }, false},
                      check_case{"ServerFailure", "127.53.0.4",
                                 [](const dns_request&) { return dns_action::answer(ARES_RCODE_SERVFAIL); }, false},
                      check_case{"Silence", "127.53.0.5", [](const dns_request&) { return dns_action::silence(); },
                                 false}),
    [](const auto& info) { return info.param.name; });

class DnsCheckWithoutServer : public module_session {};

TEST_F(DnsCheckWithoutServer, NothingListeningOnPort53FailsTheCheck) {
    // A loopback address on which no test binds anything.
    auto settings = common_settings("127.53.0.99");
    const auto bytes = sensor_data("dns_check", settings);
    message_log::instance().take();
    ASSERT_EQ(module.execute_check(12, bytes_of(bytes), size_of(bytes)), 0);
    const auto results = take_if(&wire::Envelope::has_check_result);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_FALSE(results[0].check_result().success());
}

} // namespace
} // namespace vantrel::kelvane::tests
