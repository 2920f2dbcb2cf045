#pragma once

// The "dns_v2" sensor: one DNS query per scan to the device's DNS server,
// reporting whether records of the requested type came back, the response
// time, the record count and how many records pass the user's filter.

#include <dns/dns_client_interface.hpp>
#include <dns/dns_v2_settings.hpp>
#include <dns/record_filter.hpp>

#include <libwexohelper/sensors/sensor_base.hpp>

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace vantrel::kelvane::dns {

class dns_sensor final : public libwexohelper::sensors::sensor_base<settings::dns_v2> {
public:
    // Channel ids.
    static constexpr int records_resolved_channel = 0;
    static constexpr int response_time_channel = 1;
    static constexpr int record_count_channel = 2;
    static constexpr int matched_record_count_channel = 3;

    // Declares channels 0 to 2, and channel 3 when a filter mode is chosen or
    // the host already knows the channel. Throws instance_not_available or
    // factory_not_available when logging is on and the container holds no
    // sensor log. Neither the DNS client nor the filter is built here.
    dns_sensor(std::shared_ptr<libwexohelper::utils::service_container> container, int id, settings::dns_v2 settings,
               std::map<int, std::string> channels, std::map<std::string, std::string> persistent_data);
    ~dns_sensor() override;

    // The channel's name ("records_resolved" ...), "" for an unknown id.
    static std::string channel_name(int channel_id);

private:
    // One query, the message, the filter count and the channel values; sends
    // the result. The client (from the container's dns_helper_factory) and
    // the filter expression are built on first need and kept; a failure to
    // build them is retried on the next scan.
    void scan_work() override;

    dns_client_interface& client();
    const record_filter& filter_regex();

    std::unique_ptr<dns_client_interface> dns_client_;
    std::optional<record_filter> filter_regex_;
};

} // namespace vantrel::kelvane::dns
