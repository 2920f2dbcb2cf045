#include <dns/device_address.hpp>

#include <dns/exceptions.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::dns {
namespace {

TEST(DeviceAddress, ReversedByOctetsOrNibbles) {
    EXPECT_EQ(reversed_address("192.0.2.10"), "10.2.0.192");
    EXPECT_EQ(reversed_address("::1"), "1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0");
    EXPECT_EQ(reversed_address("2001:DB8::FE"), "e.f.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2");
    for (const char* bad : {"", "192.0.2", "1.2.3.4.5", "192.0.2.256", "host.example", "1.2.3.4.in-addr.arpa"}) {
        EXPECT_THROW(reversed_address(bad), exceptions::ip_parse_failed) << bad;
    }
}

TEST(DeviceAddress, LiteralsStayAsGivenNamesResolveForTheVersion) {
    EXPECT_EQ(resolve_device_address("192.0.2.10", 6), "192.0.2.10");
    EXPECT_EQ(resolve_device_address("2001:db8::1", 4), "2001:db8::1");
    // /etc/hosts answers "localhost"; no resolver is asked.
    EXPECT_EQ(resolve_device_address("localhost", 4), "127.0.0.1");
}

} // namespace
} // namespace vantrel::kelvane::dns
