#pragma once

#include <dns/dns_helper_settings.hpp>
#include <dns/settings/common_settings.hpp>

#include <cstdint>

namespace vantrel::kelvane::dns {

// The DNS client's IP version for the common "ipversion" setting: 4 for IPv4,
// 6 for IPv6. Throws std::out_of_range for any other value. Thread-safe.
std::uint32_t client_ip_version(settings::ipversion version);

// Settings of a client that asks the device (`host`) on `port`, with the IP
// version of `common`. Throws as client_ip_version.
dns_helper_settings device_client_settings(const settings::common_settings& common, std::uint16_t port,
                                           std::int64_t timeout_ms);

} // namespace vantrel::kelvane::dns
