#include <dns/record_filter.hpp>
#include <dns/record_listing.hpp>

#include <algorithm>
#include <unordered_set>

namespace vantrel::kelvane::dns {
namespace {

// What "." of an ECMAScript expression refuses in libstdc++ for char input
// (U+2028 and U+2029 are several bytes in UTF-8 and so never one char).
constexpr std::string_view line_terminators = "\n\r";

bool free_of_terminators(std::string_view text) noexcept {
    return text.find_first_of(line_terminators) == std::string_view::npos;
}

} // namespace

wildcard_pattern::wildcard_pattern(std::string_view text) {
    auto star = text.find('*');
    if (star == std::string_view::npos) {
        head_ = text;
        return;
    }
    has_star_ = true;
    head_ = text.substr(0, star);
    const auto last_star = text.rfind('*');
    tail_ = text.substr(last_star + 1);
    while (star != last_star) {
        const auto next = text.find('*', star + 1);
        // "**" stands for ".*.*", which is ".*": an empty segment adds nothing.
        if (next > star + 1) {
            segment s{std::string(text.substr(star + 1, next - star - 1)), {}};
            s.fallback.assign(s.text.size(), 0);
            for (std::size_t i = 1, border = 0; i < s.text.size(); ++i) {
                while (border > 0 && s.text[i] != s.text[border]) {
                    border = s.fallback[border - 1];
                }
                if (s.text[i] == s.text[border]) {
                    ++border;
                }
                s.fallback[i] = border;
            }
            middle_.push_back(std::move(s));
        }
        star = next;
    }
}

// Taking the leftmost reachable occurrence of every segment is enough: a later
// one can only leave less text, and no more line-terminator-free room, to the
// segments after it. KMP keeps the search linear in the value.
std::size_t wildcard_pattern::find(const segment& s, std::string_view value, std::size_t from, std::size_t last) const {
    const auto terminator = value.find_first_of(line_terminators, from);
    // The star before the segment cannot cross a terminator, so the segment
    // starts at the first terminator at the latest.
    const auto limit = std::min(last, terminator == std::string_view::npos ? value.size() : terminator + s.text.size());
    std::size_t matched = 0;
    for (std::size_t i = from; i < limit; ++i) {
        while (matched > 0 && value[i] != s.text[matched]) {
            matched = s.fallback[matched - 1];
        }
        if (value[i] == s.text[matched]) {
            ++matched;
        }
        if (matched == s.text.size()) {
            return i + 1 - matched;
        }
    }
    return std::string_view::npos;
}

bool wildcard_pattern::matches(std::string_view value) const {
    if (!has_star_) {
        return value == head_;
    }
    if (value.size() < head_.size() + tail_.size() || !value.starts_with(head_) || !value.ends_with(tail_)) {
        return false;
    }
    std::size_t at = head_.size();
    const std::size_t end = value.size() - tail_.size();
    for (const auto& s : middle_) {
        const auto start = find(s, value, at, end);
        if (start == std::string_view::npos) {
            return false;
        }
        at = start + s.text.size();
    }
    return free_of_terminators(value.substr(at, end - at));
}

record_filter::record_filter(std::string_view filter) {
    std::unordered_set<std::string_view> pieces;
    while (true) {
        const auto comma = filter.find(',');
        const auto piece = trim_blank(filter.substr(0, comma));
        // A stray comma or a blank entry must not turn into "^$", which would
        // quietly match nothing the user asked for.
        if (!piece.empty()) {
            pieces.insert(piece);
        }
        if (comma == std::string_view::npos) {
            break;
        }
        filter.remove_prefix(comma + 1);
    }
    match_all_ = pieces.empty();
    for (const auto piece : pieces) {
        if (piece.find('*') == std::string_view::npos) {
            literals_.emplace(piece);
        } else {
            wildcards_.emplace_back(piece);
        }
    }
}

bool record_filter::matches(std::string_view value) const {
    if (match_all_ || literals_.contains(value)) {
        return true;
    }
    return std::any_of(wildcards_.begin(), wildcards_.end(), [value](const auto& w) { return w.matches(value); });
}

} // namespace vantrel::kelvane::dns
