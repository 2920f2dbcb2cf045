#include <dns/address_filter.hpp>

#include <dns/blacklist_patterns.hpp>
#include <dns/exceptions.hpp>

#include <optional>
#include <string>

namespace vantrel::kelvane::dns {
namespace {

std::optional<std::array<std::uint8_t, 4>> parse_ipv4(std::string_view text) {
    std::array<std::uint8_t, 4> octets{};
    for (std::size_t i = 0; i < octets.size(); ++i) {
        const auto end = i + 1 < octets.size() ? text.find('.') : text.size();
        if (end == std::string_view::npos || end == 0 || end > 3) {
            return std::nullopt;
        }
        unsigned value = 0;
        for (const char c : text.substr(0, end)) {
            if (c < '0' || c > '9') {
                return std::nullopt;
            }
            value = value * 10 + static_cast<unsigned>(c - '0');
        }
        if (value > 255) {
            return std::nullopt;
        }
        octets[i] = static_cast<std::uint8_t>(value);
        text.remove_prefix(end == text.size() ? end : end + 1);
    }
    return octets;
}

} // namespace

bool address_filter::matches(std::string_view answer) const {
    const auto address = parse_ipv4(answer);
    if (!address) {
        return false;
    }
    for (std::size_t i = 0; i < octets.size(); ++i) {
        if (!dns::matches(octets[i], (*address)[i])) {
            return false;
        }
    }
    return true;
}

address_filter parse_address_filter(std::string_view text) {
    const auto octet_texts = split_address_filter(text);
    if (!octet_texts) {
        throw exceptions::dns_server_filter_invalid(std::string(text));
    }
    address_filter filter;
    for (std::size_t i = 0; i < filter.octets.size(); ++i) {
        filter.octets[i] = parse_octet_filter((*octet_texts)[i]);
    }
    return filter;
}

} // namespace vantrel::kelvane::dns
