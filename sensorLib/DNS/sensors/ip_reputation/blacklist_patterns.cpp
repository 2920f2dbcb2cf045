#include <dns/blacklist_patterns.hpp>

#include <cstddef>

namespace vantrel::kelvane::dns {
namespace {

bool is_digit(char c) noexcept {
    return c >= '0' && c <= '9';
}

bool is_zone_char(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '.' || c == '_' || c == '-';
}

// How many characters from `at` on satisfy `accept`.
template <class Accept> std::size_t run(std::string_view text, std::size_t at, Accept accept) noexcept {
    std::size_t end = at;
    while (end < text.size() && accept(text[end])) {
        ++end;
    }
    return end - at;
}

// A greedy "\d{1,max}" that the pattern never needs to take back: what follows
// it is never a digit, so a run of more than `max` digits cannot match.
bool digits(std::string_view text, std::size_t& at, std::size_t max) noexcept {
    const auto n = run(text, at, is_digit);
    if (n == 0 || n > max) {
        return false;
    }
    at += n;
    return true;
}

bool literal(std::string_view text, std::size_t& at, char c) noexcept {
    if (at < text.size() && text[at] == c) {
        ++at;
        return true;
    }
    return false;
}

// One octet at `at`: a number, "[a..b]" or "[a;b;...]". The character after
// the first number inside brackets decides the form, so nothing backtracks.
bool octet(std::string_view text, std::size_t& at) noexcept {
    if (!literal(text, at, '[')) {
        return digits(text, at, 3);
    }
    if (!digits(text, at, 3)) {
        return false;
    }
    if (literal(text, at, '.')) {
        return literal(text, at, '.') && digits(text, at, 3) && literal(text, at, ']');
    }
    if (!literal(text, at, ';')) {
        return false;
    }
    do {
        if (!digits(text, at, 3)) {
            return false;
        }
    } while (literal(text, at, ';'));
    return literal(text, at, ']');
}

} // namespace

// Each part of the line ends where its character class ends, and the next
// part must begin with a character outside that class ("=" or "*" after the
// zone, "*" after the filter), so the first choice is the only one.
std::optional<definition_line_parts> split_definition_line(std::string_view line) noexcept {
    definition_line_parts parts;
    std::size_t at = run(line, 0, is_zone_char);
    if (at == 0) {
        return std::nullopt;
    }
    parts.zone = line.substr(0, at);
    if (at < line.size() && line[at] == '=') {
        const auto n = run(line, at + 1, [](char c) { return c != '*'; });
        if (n == 0) {
            return std::nullopt;
        }
        parts.filter = line.substr(at + 1, n);
        at += 1 + n;
    }
    if (at < line.size() && line[at] == '*') {
        const auto start = at + 1;
        at = start;
        literal(line, at, '-');
        if (!digits(line, at, 9)) {
            return std::nullopt;
        }
        parts.score = line.substr(start, at - start);
    }
    if (at != line.size()) {
        return std::nullopt;
    }
    return parts;
}

std::optional<std::array<std::string_view, 4>> split_address_filter(std::string_view text) noexcept {
    std::array<std::string_view, 4> octets;
    std::size_t at = 0;
    for (std::size_t i = 0; i < octets.size(); ++i) {
        if (i > 0 && !literal(text, at, '.')) {
            return std::nullopt;
        }
        const auto start = at;
        if (!octet(text, at)) {
            return std::nullopt;
        }
        octets[i] = text.substr(start, at - start);
    }
    if (at != text.size()) {
        return std::nullopt;
    }
    return octets;
}

} // namespace vantrel::kelvane::dns
