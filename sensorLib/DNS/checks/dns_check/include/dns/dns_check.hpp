#pragma once

// The "dns_check" precondition of the dns_v2 sensor: does the device answer a
// DNS query on port 53? It asks for the name servers of the root zone and
// succeeds on any answer the DNS client returns, whatever records it holds.

#include <dns/settings/common_settings.hpp>

#include <libwexohelper/checks/check_base.hpp>

#include <cstdint>
#include <memory>

namespace vantrel::kelvane::dns {

namespace settings {

// The check has no settings of its own: only the common record.
struct dns_check : common_settings {
    // Throws as common_settings::read.
    static dns_check read(const sensor_data_wrapper& settings);
};

} // namespace settings

class dns_check final : public libwexohelper::checks::check_base<settings::dns_check> {
public:
    // Deliberately fixed, whatever the sensor's port and timeout settings say:
    // the check asks whether the device serves DNS on the standard port.
    static constexpr std::uint16_t port = 53;
    static constexpr std::int64_t timeout_ms = 10000;

    // Reads the settings (throws as settings::dns_check::read) and logs the version.
    dns_check(std::shared_ptr<libwexohelper::utils::service_container> container, int id,
              const libwexohelper::settings::sensor_data_wrapper& settings);
    ~dns_check() override;

    // Queries the device for "." NS with a client from the container's
    // dns_helper_factory and sends a check result: success when the client
    // returns, failure (with the reason in the check's log) on any error,
    // a missing factory or an unknown IP version included. Nothing is kept.
    void check() override;
};

} // namespace vantrel::kelvane::dns
