#include <dns/dns_v2_settings.hpp>
#include <dns/manifest.hpp>

namespace vantrel::kelvane::dns::settings {

namespace {
std::string key(std::string_view section, std::string_view name) {
    return setting_key(section, manifest_names::dns_sensor_group, name);
}
} // namespace

dns_v2 dns_v2::read(const sensor_data_wrapper& settings) {
    dns_v2 record;
    static_cast<common_settings&>(record) = common_settings::read(settings);
    record.read_fields(settings, manifest_names::dns_sensor_section);
    return record;
}

void dns_v2::read_fields(const sensor_data_wrapper& settings, std::string_view section) {
    domain = read_text(settings, key(section, "domain"));
    record_type = read_selection(settings, key(section, "record_type"), parse_record_type);
    query_timeout = read_integer(settings, key(section, "query_timeout"), validation_rules::between(0, 900));
    apply_filter = read_selection(settings, key(section, "apply_filter"), parse_apply_filter);
    filter = read_text(settings, key(section, "filter"));
    port = read_integer(settings, key(section, "port"), validation_rules::between(1, 65535));
}

} // namespace vantrel::kelvane::dns::settings
