#pragma once

#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

namespace vantrel::kelvane::dns {

// Matches exactly one octet value.
struct octet_value {
    std::uint8_t value = 0;
    friend bool operator==(const octet_value&, const octet_value&) = default;
};

// Matches low..high, both ends included; low < high always holds for a parsed range.
struct octet_range {
    std::uint8_t low = 0;
    std::uint8_t high = 0;
    friend bool operator==(const octet_range&, const octet_range&) = default;
};

// Matches any of its values, kept in written order with duplicates. A parsed
// address filter always has at least two; parse_octet_filter alone accepts one.
struct octet_list {
    std::vector<std::uint8_t> values;
    friend bool operator==(const octet_list&, const octet_list&) = default;
};

// The condition on one octet of an IPv4 answer. The alternatives' order is
// part of the contract (index 0 value, 1 range, 2 list).
using octet_filter = std::variant<octet_value, octet_range, octet_list>;

// Parses one octet's filter text: "n", "[low..high]" or "[a;b;...]" where every
// number is one to three decimal digits.
// Throws exceptions::dns_server_filter_invalid_value (argument: the number in
// decimal) for a number above 255, exceptions::dns_server_filter_invalid_range
// (argument: the text between the brackets) when low >= high, and
// exceptions::dns_server_filter_invalid (argument: `text`) for any other text.
// "[n]" is a list of one value. Numbers are checked left to right and the
// first failure is thrown. Thread-safe.
octet_filter parse_octet_filter(std::string_view text);

// True when `octet` satisfies `filter`. Throws std::bad_variant_access only for
// a variant left valueless by a failed assignment. Thread-safe.
bool matches(const octet_filter& filter, std::uint8_t octet);

} // namespace vantrel::kelvane::dns
