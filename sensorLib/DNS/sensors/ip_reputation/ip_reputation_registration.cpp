#include <dns/ip_reputation_registration.hpp>

#include <dns/ip_reputation_score_sensor.hpp>
#include <dns/manifest.hpp>

#include <string>

namespace vantrel::kelvane::dns {

void register_ip_reputation_score_sensor(libwexohelper::module::sensor_dispatcher& dispatcher) {
    dispatcher.register_sensor_as<ip_reputation_score_sensor>(std::string(manifest_names::ip_reputation_sensor));
}

} // namespace vantrel::kelvane::dns
