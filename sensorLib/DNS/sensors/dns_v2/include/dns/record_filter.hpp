#pragma once

// The "enabled" filter of the dns_v2 sensor: a comma-separated list of
// wildcard texts, of which a record value must match one as a whole.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace vantrel::kelvane::dns {

// One wildcard text in which "*" stands for any run of characters other than
// a line feed or a carriage return, and every other character for itself. It
// decides exactly what the ECMAScript expression "^" + wildcard_to_regex(text,
// star_only) + "$" decides with std::regex_search, but in time linear in the
// value and without recursion, so that no value can exhaust a thread's stack.
class wildcard_pattern {
public:
    explicit wildcard_pattern(std::string_view text);

    // True when the whole of `value` matches. Thread-safe.
    bool matches(std::string_view value) const;

private:
    // A literal between two stars, with its KMP failure table.
    struct segment {
        std::string text;
        std::vector<std::size_t> fallback;
    };

    // The leftmost start at or after `from`, and before `last`, of `s` in
    // `value` that leaves no line terminator between `from` and the start.
    std::size_t find(const segment& s, std::string_view value, std::size_t from, std::size_t last) const;

    bool has_star_ = false;
    std::string head_;
    std::vector<segment> middle_;
    std::string tail_;
};

// A wildcard list such as "127.*.1, 10.0.0.1": the pieces between commas,
// trimmed of blanks and control characters, without duplicates. Pieces that
// are empty after trimming are left out; a filter without any piece matches
// every value. The expression this stands for is the pieces' wildcard
// expressions, each anchored, joined as alternatives; no filter text is too
// long or too complex to use.
class record_filter {
public:
    explicit record_filter(std::string_view filter);

    // True when the whole of `value` matches one piece. The caller trims.
    // Thread-safe.
    bool matches(std::string_view value) const;

private:
    struct text_hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
    };

    bool match_all_ = false;
    // Pieces without a star only ever match themselves.
    std::unordered_set<std::string, text_hash, std::equal_to<>> literals_;
    std::vector<wildcard_pattern> wildcards_;
};

} // namespace vantrel::kelvane::dns
