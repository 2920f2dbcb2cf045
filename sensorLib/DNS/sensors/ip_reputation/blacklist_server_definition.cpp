#include <dns/blacklist_server_definition.hpp>

#include <dns/exceptions.hpp>

#include <charconv>
#include <regex>

namespace vantrel::kelvane::dns {
namespace {

const std::regex& line_pattern() {
    static const std::regex pattern(R"(^([a-zA-Z0-9._\-]+)(?:=([^*]+))?(?:\*(-?\d{1,9}))?$)", std::regex::ECMAScript);
    return pattern;
}

std::string_view view_of(const std::csub_match& group) {
    return {group.first, static_cast<std::size_t>(group.length())};
}

} // namespace

std::int32_t blacklist_server_definition::score_for(std::string_view answer) const {
    return !filter || filter->matches(answer) ? score : 0;
}

blacklist_server_definition parse_blacklist_server_definition(std::string_view line,
                                                              std::string_view reversed_address) {
    std::cmatch groups;
    if (line.size() > max_definition_length ||
        !std::regex_match(line.data(), line.data() + line.size(), groups, line_pattern())) {
        throw exceptions::dns_server_definition_invalid(std::string(line));
    }

    blacklist_server_definition definition;
    definition.server = groups[1].str();
    if (groups[2].matched) {
        definition.filter = parse_address_filter(view_of(groups[2]));
    }
    if (groups[3].matched) {
        // At most nine digits, so the value always fits and the conversion cannot fail.
        const auto score = view_of(groups[3]);
        std::from_chars(score.data(), score.data() + score.size(), definition.score);
    }
    definition.query_name.reserve(reversed_address.size() + 1 + definition.server.size());
    definition.query_name.append(reversed_address).append(".").append(definition.server);
    return definition;
}

} // namespace vantrel::kelvane::dns
