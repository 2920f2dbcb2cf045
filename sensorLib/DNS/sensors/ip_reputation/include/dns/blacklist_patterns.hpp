#pragma once

// The two fixed shapes of the "blacklist_servers" setting, checked by hand
// rather than by std::regex: libstdc++'s regex executor recurses once per
// character, so a long line would exhaust a scan thread's stack. Each function
// decides exactly what std::regex_match decides for its ECMAScript pattern
// below, with the same groups, in one pass without recursion; a differential
// fuzz target holds them to that. All functions are pure and thread-safe.

#include <array>
#include <optional>
#include <string_view>

namespace vantrel::kelvane::dns {

inline constexpr std::string_view definition_line_pattern = R"(^([a-zA-Z0-9._\-]+)(?:=([^*]+))?(?:\*(-?\d{1,9}))?$)";

// One octet of an address filter; the whole filter is "^" and this pattern
// four times, joined by "\.", then "$".
inline constexpr std::string_view address_octet_pattern =
    R"((\d{1,3}|\[\d{1,3}\.\.\d{1,3}\]|\[\d{1,3}(?:;\d{1,3})+\]))";

// The groups of definition_line_pattern: the zone, then the filter text after
// "=" and the score after "*" when they are written.
struct definition_line_parts {
    std::string_view zone;
    std::optional<std::string_view> filter;
    std::optional<std::string_view> score;
};

// The parts of `line`, or nothing when it does not have the shape.
std::optional<definition_line_parts> split_definition_line(std::string_view line) noexcept;

// The four octet texts of an address filter, or nothing when `text` does not
// have the shape.
std::optional<std::array<std::string_view, 4>> split_address_filter(std::string_view text) noexcept;

} // namespace vantrel::kelvane::dns
