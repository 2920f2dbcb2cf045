#include <dns/dns_check.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/exceptions.hpp>

#include <testing/fake_dns_client.hpp>
#include <testing/recording_host.hpp>
#include <testing/sensor_data.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace vantrel::kelvane::dns {
namespace {

namespace wire = vantrel::kelvane::wire;

using testing::fake_dns;

class DnsCheck : public ::testing::Test {
protected:
    void register_fake() { host.container->add_factory<dns_helper_factory>(testing::fake_dns_factory(dns)); }

    // The success flag of the one check result sent.
    bool run(const std::string& ipversion = "IPv6") {
        // A sensor port of its own must not move the check off port 53.
        const auto wrapper = libwexohelper::testing::wrap(libwexohelper::testing::sensor_data_bytes(
            "dns_check", {{"host", "192.0.2.1"},
                          {"logging", "disabled"},
                          {"timeout", "3"},
                          {"ipversion", ipversion},
                          {"interval", "60"},
                          {"dns_sensor_section.dns_sensor_group.port", "5353"}}));
        dns_check check(host.container, 4, wrapper);
        host.take();
        static_cast<libwexohelper::checks::check_interface&>(check).check();
        const auto results = host.take_if([](const wire::Envelope& e) { return e.has_check_result(); });
        EXPECT_EQ(results.size(), 1u);
        return !results.empty() && results[0].check_result().check_id() == 4 && results[0].check_result().success();
    }

    libwexohelper::testing::recording_host host;
    std::shared_ptr<fake_dns> dns = std::make_shared<fake_dns>();
};

TEST_F(DnsCheck, AsksTheDeviceForTheRootNameServersOnPort53) {
    register_fake();
    EXPECT_TRUE(run());
    ASSERT_EQ(dns->made.size(), 1u);
    EXPECT_EQ(dns->made[0].server, "192.0.2.1");
    EXPECT_EQ(dns->made[0].ip_version, 6u);
    EXPECT_EQ(dns->made[0].port, 53);
    EXPECT_EQ(dns->made[0].timeout_ms, 10000);
    EXPECT_EQ(dns->asked, std::vector<std::string>{"NS ."});
}

TEST_F(DnsCheck, EveryFailureIsAFailedCheck) {
    EXPECT_FALSE(run()) << "no client factory";
    register_fake();
    dns->error = std::make_exception_ptr(exceptions::dns_refused(6, "Operation refused"));
    EXPECT_FALSE(run());
    dns->error = std::make_exception_ptr(exceptions::resolve_failed("device.test"));
    EXPECT_FALSE(run());
    dns->error = nullptr;
    EXPECT_TRUE(run("IPv4"));
    EXPECT_EQ(dns->made.back().ip_version, 4u);
}

} // namespace
} // namespace vantrel::kelvane::dns
