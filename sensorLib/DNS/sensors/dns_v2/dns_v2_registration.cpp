#include <dns/dns_sensor.hpp>
#include <dns/dns_v2_registration.hpp>
#include <dns/manifest.hpp>

namespace vantrel::kelvane::dns {

void register_dns_v2(libwexohelper::module::sensor_dispatcher& dispatcher) {
    dispatcher.register_sensor_as<dns_sensor>(std::string(manifest_names::dns_v2_sensor));
}

} // namespace vantrel::kelvane::dns
