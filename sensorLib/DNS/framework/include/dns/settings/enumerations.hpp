#pragma once

// The selection settings of the module. Each is read from its text by exact,
// case-sensitive comparison; any other text throws
// setting_selection_parse_error with the text and the enumeration's name.

#include <cstdint>
#include <string>
#include <string_view>

namespace vantrel::kelvane::dns::settings {

enum class apply_filter : std::int32_t { disabled = 0, enabled = 1, enabled_match_exact = 2 };
enum class dns_resolver : std::int32_t { system = 0, custom = 1 };
enum class ipversion : std::int32_t { ipv4 = 0, ipv6 = 1 };
enum class logging : std::int32_t { disabled = 0, enabled = 1 };
enum class record_type : std::int32_t { A = 0, AAAA, CNAME, MX, NAPTR, NS, PTR, SOA, TXT, ANY };

// "disabled", "enabled", "enabled_match_exact".
apply_filter parse_apply_filter(std::string_view text);
// "system", "custom".
dns_resolver parse_dns_resolver(std::string_view text);
// "IPv4" or "0", "IPv6" or "1": the only selection that also takes digits.
ipversion parse_ipversion(std::string_view text);
// "disabled", "enabled".
logging parse_logging(std::string_view text);
// "A", "AAAA", "CNAME", "MX", "NAPTR", "NS", "PTR", "SOA", "TXT", "ANY".
record_type parse_record_type(std::string_view text);

// The record type's name as the DNS client takes it; "" outside the ten values.
std::string_view record_type_name(record_type type) noexcept;

} // namespace vantrel::kelvane::dns::settings
