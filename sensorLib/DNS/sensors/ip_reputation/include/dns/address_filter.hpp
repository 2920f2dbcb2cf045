#pragma once

#include <dns/octet_filter.hpp>

#include <array>
#include <string_view>

namespace vantrel::kelvane::dns {

// Which DNSBL answer addresses count as a listing: one condition per octet of
// an IPv4 address, first octet first.
struct address_filter {
    std::array<octet_filter, 4> octets;

    // True when `answer` is a dotted IPv4 address (four decimal numbers 0..255
    // of one to three digits) and every octet satisfies its filter, tested from
    // the first octet on. Any other text, an IPv6 address included, gives false.
    // Thread-safe.
    bool matches(std::string_view answer) const;

    friend bool operator==(const address_filter&, const address_filter&) = default;
};

// Parses a filter such as "127.0.[0..9].[2;4]": four octet filters (see
// parse_octet_filter) joined by ".", nothing before or after, no blanks.
// Throws exceptions::dns_server_filter_invalid with `text` when the text does
// not have that shape; otherwise the first error of parse_octet_filter over
// the octets in order. No length is too long. Thread-safe.
address_filter parse_address_filter(std::string_view text);

} // namespace vantrel::kelvane::dns
