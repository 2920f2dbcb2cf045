#pragma once

#include <dns/address_filter.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel::kelvane::dns {

// One DNSBL server from the "blacklist_servers" setting, written as
// "zone[=filter][*score]".
struct blacklist_server_definition {
    // The zone name exactly as written.
    std::string server;
    // The reversed device address, ".", then `server`.
    std::string query_name;
    // Absent: every answer counts.
    std::optional<address_filter> filter;
    // Added per counting answer; may be negative.
    std::int32_t score = 1;

    // `score` when there is no filter or the filter matches `answer` (the text
    // of one A record), else 0. Thread-safe.
    std::int32_t score_for(std::string_view answer) const;

    friend bool operator==(const blacklist_server_definition&, const blacklist_server_definition&) = default;
};

// Parses one line of the setting (without its line break). The whole line must
// be a zone of letters, digits, ".", "_" and "-", optionally "=" and a filter
// (anything but "*"), optionally "*" and a score of one to nine digits with an
// optional "-". Nothing is trimmed.
// Throws exceptions::dns_server_definition_invalid with the whole line when the
// line does not have that shape; otherwise whatever parse_address_filter throws
// for the filter text. No length is too long. Thread-safe.
blacklist_server_definition parse_blacklist_server_definition(std::string_view line, std::string_view reversed_address);

} // namespace vantrel::kelvane::dns
