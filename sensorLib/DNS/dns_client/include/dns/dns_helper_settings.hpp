#pragma once

// What a DNS client is made from. A plain value type.

#include <cstdint>
#include <string>

namespace vantrel::kelvane::dns {

struct dns_helper_settings {
    // Empty: the system's resolver configuration. Otherwise an IPv4 literal,
    // an IPv6 literal or a host name (resolved by the operating system).
    std::string server;
    // 0 no preference, 4 IPv4 only, 6 IPv6 only; applies to host names only.
    std::uint32_t ip_version = 0;
    // 0 keeps c-ares' default port.
    std::uint16_t port = 0;
    // 0 sets no timeout option (c-ares' default per-try timeout).
    std::int64_t timeout_ms = 0;
};

} // namespace vantrel::kelvane::dns
