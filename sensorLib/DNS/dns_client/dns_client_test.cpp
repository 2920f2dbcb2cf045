#include <dns/cares/dns_client.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/exceptions.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantrel::kelvane::cares {
namespace {

TEST(ReverseLookupName, ReversesOctetsAndNibbles) {
    EXPECT_EQ(dns_client::reverse_lookup_name("1.2.3.4"), "4.3.2.1.in-addr.arpa");
    EXPECT_EQ(dns_client::reverse_lookup_name("2001:db8::567:89ab"),
              "b.a.9.8.7.6.5.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.ip6.arpa");
    EXPECT_THAT(
        [&] { dns_client::reverse_lookup_name("example.com"); },
        ::testing::ThrowsMessage<dns::exceptions::ip_parse_failed>(::testing::StrEq(
            "An error has occurred while parsing the domain: example.com is not a valid IPv4 or IPv6 address.")));
}

TEST(DnsHelperFactory, BuildsACaresClientFromTheSettings) {
    const auto factory = dns::get_dns_helper_factory();
    const auto client = factory(dns::dns_helper_settings{"127.0.0.1", 4, 5353, 2500});
    ASSERT_NE(dynamic_cast<dns_client*>(client.get()), nullptr);
    EXPECT_EQ(client->server(), "127.0.0.1");
    EXPECT_EQ(client->ip_version(), 4u);
    EXPECT_EQ(client->port(), 5353);
    EXPECT_EQ(client->timeout_ms(), 2500);
}

} // namespace
} // namespace vantrel::kelvane::cares
