#pragma once

#include <dns/settings/enumerations.hpp>
#include <dns/settings/setting_readers.hpp>

#include <cstdint>
#include <string>

namespace vantrel::kelvane::dns::settings {

// The settings every sensor and check of the module reads first. The common
// keys carry no section prefix.
struct common_settings {
    std::string host;
    settings::logging logging = settings::logging::disabled;
    std::int64_t interval = 60;
    std::int64_t timeout = 0; // seconds
    std::string vantrelcloudapikey; // secret: never logged
    settings::ipversion ipversion = settings::ipversion::ipv4;

    // Reads "host", "logging", "timeout" (at least 0), "vantrelcloudapikey"
    // (may be absent), "ipversion" and "interval" (at least 1), in this order,
    // and stops at the first that fails.
    static common_settings read(const sensor_data_wrapper& settings);

    bool logging_enabled() const noexcept { return logging == settings::logging::enabled; }
    // 4 or 6, as the DNS client takes an IP version.
    std::uint32_t ip_version_number() const noexcept { return ipversion == settings::ipversion::ipv6 ? 6u : 4u; }
};

} // namespace vantrel::kelvane::dns::settings
