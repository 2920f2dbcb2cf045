#pragma once

// How a dns_v2 scan turns a response into its message and its filter count.
// All functions are pure and thread-safe.

#include <dns/dns_query_result.hpp>
#include <dns/record_filter.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::dns {

// One collected record with its type name and value text, each computed once.
// `record` points into the dns_query_result it was collected from, which must
// outlive the listing.
struct listed_record {
    const dns_result_record* record;
    std::string_view type_name;
    std::string value;
};

// The records of the answer section, then those of the authority section (the
// additional section is not used): all of them when `type_text` is empty or
// "ANY", otherwise those whose type name equals `type_text`, in their order.
// Throws exceptions::invalid_ns_type for a record whose type has no name.
std::vector<listed_record> collect_records(const dns_query_result& result, std::string_view type_text);

// Sorts `records` by type code, then by value text byte-wise, and lists them
// with each type name written once per group: "A=10.0.0.10, 10.0.0.2, NS=ns1.example",
// after `prefix`.
std::string list_records(std::vector<listed_record>& records, std::string_view prefix = {});

// `text` without the characters at either end for which isspace or iscntrl holds.
std::string_view trim_blank(std::string_view text) noexcept;

// How many of `records` have a trimmed value text that `filter` matches.
std::int64_t count_matching(const std::vector<listed_record>& records, const record_filter& filter);

// 1 when the trimmed `message` equals `filter` exactly (the filter is not trimmed), else 0.
std::int64_t count_exact_match(std::string_view message, std::string_view filter);

} // namespace vantrel::kelvane::dns
