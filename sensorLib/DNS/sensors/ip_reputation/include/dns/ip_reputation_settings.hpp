#pragma once

#include <dns/settings/common_settings.hpp>
#include <dns/settings/enumerations.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace vantrel::kelvane::dns::settings {

// The settings of the IP reputation score sensor: the common device settings,
// then its own, each sent under "ip_reputation_score_section.ip_reputation_score_group.<name>".
struct ip_reputation_score_sensor : common_settings {
    static constexpr std::string_view section = "ip_reputation_score_section";
    static constexpr std::string_view group = "ip_reputation_score_group";

    settings::dns_resolver dns_resolver = settings::dns_resolver::system;
    // Address or host name; used only with dns_resolver::custom.
    std::string custom_resolver;
    std::uint16_t custom_resolver_port = 53;
    // One "zone[=filter][*score]" per line; lines end at CR or LF.
    std::string blacklist_servers;

    // The full key of one of the sensor's own settings.
    static std::string key(std::string_view name);

    // Reads the common settings, then "dns_resolver", "custom_resolver",
    // "custom_resolver_port" (1..65535) and "blacklist_servers", in this order,
    // and stops at the first that fails: setting_not_available for a missing
    // key, setting_selection_parse_error for a resolver other than "system" or
    // "custom", the range errors for the port, std::bad_optional_access for a
    // port that is not a number, string_too_long for an over-long text.
    static ip_reputation_score_sensor read(const sensor_data_wrapper& wrapper);
};

} // namespace vantrel::kelvane::dns::settings
