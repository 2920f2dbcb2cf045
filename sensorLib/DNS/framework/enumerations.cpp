#include <dns/settings/enumerations.hpp>

#include <libwexohelper/utils/exceptions.hpp>

#include <array>
#include <utility>
#include <vector>

namespace vantrel::kelvane::dns::settings {
namespace {

template <class E, std::size_t N>
E parse(std::string_view text, const std::array<std::pair<std::string_view, E>, N>& table, const char* name) {
    for (const auto& [word, value] : table) {
        if (text == word) {
            return value;
        }
    }
    throw libwexohelper::utils::exceptions::setting_selection_parse_error(
        std::vector<std::string>{std::string(text), name});
}

constexpr std::array<std::pair<std::string_view, record_type>, 10> record_types{{
    {"A", record_type::A},
    {"AAAA", record_type::AAAA},
    {"CNAME", record_type::CNAME},
    {"MX", record_type::MX},
    {"NAPTR", record_type::NAPTR},
    {"NS", record_type::NS},
    {"PTR", record_type::PTR},
    {"SOA", record_type::SOA},
    {"TXT", record_type::TXT},
    {"ANY", record_type::ANY},
}};

} // namespace

apply_filter parse_apply_filter(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, apply_filter>, 3> table{{
        {"disabled", apply_filter::disabled},
        {"enabled", apply_filter::enabled},
        {"enabled_match_exact", apply_filter::enabled_match_exact},
    }};
    return parse(text, table, "apply_filter");
}

dns_resolver parse_dns_resolver(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, dns_resolver>, 2> table{{
        {"system", dns_resolver::system},
        {"custom", dns_resolver::custom},
    }};
    return parse(text, table, "dns_resolver");
}

ipversion parse_ipversion(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, ipversion>, 4> table{{
        {"IPv4", ipversion::ipv4},
        {"0", ipversion::ipv4},
        {"IPv6", ipversion::ipv6},
        {"1", ipversion::ipv6},
    }};
    return parse(text, table, "ipversion");
}

logging parse_logging(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, logging>, 2> table{{
        {"disabled", logging::disabled},
        {"enabled", logging::enabled},
    }};
    return parse(text, table, "logging");
}

record_type parse_record_type(std::string_view text) { return parse(text, record_types, "record_type"); }

std::string_view record_type_name(record_type type) noexcept {
    const auto index = static_cast<std::size_t>(type);
    return index < record_types.size() ? record_types[index].first : std::string_view();
}

} // namespace vantrel::kelvane::dns::settings
