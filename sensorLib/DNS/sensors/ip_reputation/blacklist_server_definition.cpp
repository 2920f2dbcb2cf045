#include <dns/blacklist_server_definition.hpp>

#include <dns/blacklist_patterns.hpp>
#include <dns/exceptions.hpp>

#include <charconv>

namespace vantrel::kelvane::dns {
std::int32_t blacklist_server_definition::score_for(std::string_view answer) const {
    return !filter || filter->matches(answer) ? score : 0;
}

blacklist_server_definition parse_blacklist_server_definition(std::string_view line,
                                                              std::string_view reversed_address) {
    const auto parts = split_definition_line(line);
    if (!parts) {
        throw exceptions::dns_server_definition_invalid(std::string(line));
    }

    blacklist_server_definition definition;
    definition.server = parts->zone;
    if (parts->filter) {
        definition.filter = parse_address_filter(*parts->filter);
    }
    if (parts->score) {
        // At most nine digits, so the value always fits and the conversion cannot fail.
        std::from_chars(parts->score->data(), parts->score->data() + parts->score->size(), definition.score);
    }
    definition.query_name.reserve(reversed_address.size() + 1 + definition.server.size());
    definition.query_name.append(reversed_address).append(".").append(definition.server);
    return definition;
}

} // namespace vantrel::kelvane::dns
