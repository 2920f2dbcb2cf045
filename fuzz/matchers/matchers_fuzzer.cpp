// The hand-written matchers against std::regex on short inputs: the dns_v2
// wildcard filter (the expression its description builds, searched in each
// value as given and trimmed), the blacklist line pattern and the address
// filter pattern (whole match and every group). Any difference aborts.
//
// Input: one byte choosing the matcher, then its text. For the wildcard
// filter the text is the filter, then values, separated by 0xff bytes.

#include <dns/blacklist_patterns.hpp>
#include <dns/record_filter.hpp>
#include <dns/record_listing.hpp>
#include <dns/wildcard_to_regex.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace {

using namespace vantrel::kelvane::dns;

// Long enough for every shape, short enough for std::regex's recursion.
constexpr std::size_t longest_input = 300;

[[noreturn]] void differ(const char* what, std::string_view text) {
    std::fprintf(stderr, "%s differs for \"%.*s\"\n", what, static_cast<int>(text.size()), text.data());
    std::abort();
}

// Every star more makes std::regex's backtracking slower by a factor of the
// value's length; three leave room for two literals between stars.
constexpr std::size_t most_stars_per_piece = 3;

// The filter's expression exactly as the sensor's description builds it;
// nothing when std::regex cannot compile it or it has too many stars.
std::optional<std::regex> filter_expression(std::string_view filter) {
    std::unordered_set<std::string> pieces;
    std::size_t start = 0;
    while (true) {
        const auto comma = filter.find(',', start);
        const auto piece = trim_blank(filter.substr(start, comma == std::string_view::npos ? comma : comma - start));
        if (static_cast<std::size_t>(std::count(piece.begin(), piece.end(), '*')) > most_stars_per_piece) {
            return std::nullopt;
        }
        if (!piece.empty()) {
            pieces.emplace(piece);
        }
        if (comma == std::string_view::npos) {
            break;
        }
        start = comma + 1;
    }
    std::string pattern;
    for (const auto& piece : pieces) {
        pattern += (pattern.empty() ? "^" : "|^") + wildcard_to_regex(piece, wildcard_mode::star_only) + "$";
    }
    try {
        return std::regex(pattern.empty() ? ".*" : pattern, std::regex::ECMAScript);
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

void compare_filter(std::string_view text) {
    std::vector<std::string_view> parts;
    for (auto end = text.find('\xff'); end != std::string_view::npos; end = text.find('\xff')) {
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    parts.push_back(text);
    const auto expression = filter_expression(parts[0]);
    if (!expression) {
        return;
    }
    const record_filter filter(parts[0]);
    for (std::size_t i = 1; i < parts.size(); ++i) {
        for (const auto value : {parts[i], trim_blank(parts[i])}) {
            if (filter.matches(value) != std::regex_search(value.begin(), value.end(), *expression)) {
                differ("wildcard filter", std::string(parts[0]) + " / " + std::string(value));
            }
        }
    }
}

bool same_group(const std::csub_match& group, const std::optional<std::string_view>& part) {
    return group.matched == part.has_value() &&
           (!group.matched || std::string_view(group.first, static_cast<std::size_t>(group.length())) == *part);
}

void compare_line(std::string_view line) {
    static const std::regex pattern(std::string(definition_line_pattern), std::regex::ECMAScript);
    std::cmatch groups;
    const bool matched = std::regex_match(line.begin(), line.end(), groups, pattern);
    const auto parts = split_definition_line(line);
    if (matched != parts.has_value() ||
        (matched && !(same_group(groups[1], parts->zone) && same_group(groups[2], parts->filter) &&
                      same_group(groups[3], parts->score)))) {
        differ("definition line", line);
    }
}

void compare_address_filter(std::string_view text) {
    static const std::regex pattern = [] {
        const std::string octet(address_octet_pattern);
        return std::regex("^" + octet + R"(\.)" + octet + R"(\.)" + octet + R"(\.)" + octet + "$",
                          std::regex::ECMAScript);
    }();
    std::cmatch groups;
    const bool matched = std::regex_match(text.begin(), text.end(), groups, pattern);
    const auto octets = split_address_filter(text);
    if (matched != octets.has_value()) {
        differ("address filter", text);
    }
    for (std::size_t i = 0; matched && i < octets->size(); ++i) {
        if (!same_group(groups[static_cast<int>(i) + 1], (*octets)[i])) {
            differ("address filter group", text);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > longest_input) {
        return 0;
    }
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
    case 0:
        compare_filter(text);
        break;
    case 1:
        compare_line(text);
        break;
    default:
        compare_address_filter(text);
        break;
    }
    return 0;
}
