#pragma once

// The device address as DNS blacklists are asked about it.

#include <cstdint>
#include <string>

namespace vantrel::kelvane::dns {

// The address text of `host` for IP version 6, or 4 for any other value. A
// literal IPv4 or IPv6 address is returned as given, whatever the version; a
// name is resolved by the operating system for that version only and its
// first address is taken. Throws exceptions::resolve_failed with `host` when
// the name yields no address of the version, and exceptions::ip_conversion_failed when
// the address cannot be written as text. Thread-safe. On Windows, Winsock
// must already be started (a DNS client does that).
std::string resolve_device_address(const std::string& host, std::uint32_t ip_version);

// The address as a DNSBL zone is asked for it: "10.2.0.192" for 192.0.2.10;
// for IPv6 the 32 nibbles in lower-case hexadecimal, lowest first, joined by
// ".". Throws exceptions::ip_parse_failed for text that is neither address.
// Thread-safe.
std::string reversed_address(const std::string& address);

} // namespace vantrel::kelvane::dns
