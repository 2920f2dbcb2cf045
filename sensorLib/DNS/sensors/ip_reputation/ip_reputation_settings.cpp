#include <dns/ip_reputation_settings.hpp>

namespace vantrel::kelvane::dns::settings {

std::string ip_reputation_score_sensor::key(std::string_view name) {
    return setting_key(section, group, name);
}

ip_reputation_score_sensor ip_reputation_score_sensor::read(const sensor_data_wrapper& wrapper) {
    ip_reputation_score_sensor record;
    static_cast<common_settings&>(record) = common_settings::read(wrapper);
    record.dns_resolver = read_selection(wrapper, key("dns_resolver"), parse_dns_resolver);
    record.custom_resolver = read_text(wrapper, key("custom_resolver"));
    record.custom_resolver_port = static_cast<std::uint16_t>(
        read_integer(wrapper, key("custom_resolver_port"), validation_rules::between(1, 65535)));
    record.blacklist_servers = read_text(wrapper, key("blacklist_servers"));
    return record;
}

} // namespace vantrel::kelvane::dns::settings
