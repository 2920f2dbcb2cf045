#pragma once

#include <dns/settings/common_settings.hpp>
#include <dns/settings/enumerations.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace vantrel::kelvane::dns::settings {

// Settings of a dns_v2 sensor: the common record, then the sensor's own six
// fields, which the host sends as "dns_sensor_section.dns_sensor_group.<name>".
struct dns_v2 : common_settings {
    std::string domain;
    settings::record_type record_type = settings::record_type::A;
    std::int64_t query_timeout = 30; // seconds, 0 to 900
    settings::apply_filter apply_filter = settings::apply_filter::disabled;
    std::string filter;
    std::int64_t port = 53; // 1 to 65535

    // The common record, then read_fields() with the sensor's section. Throws
    // whatever the first failing setting throws (see read_fields).
    static dns_v2 read(const sensor_data_wrapper& settings);

    // Reads domain, record_type, query_timeout, apply_filter, filter and port,
    // in this order, from `section` and the sensor's group; stops at the first
    // failure: setting_not_available for a missing key, the range errors of
    // the integer kind, std::bad_optional_access for a non-numeric integer and
    // setting_selection_parse_error for an unknown selection word.
    void read_fields(const sensor_data_wrapper& settings, std::string_view section);
};

} // namespace vantrel::kelvane::dns::settings
