#include <dns/ip_reputation_registration.hpp>

namespace vantrel::kelvane::dns {

void register_ip_reputation_score_sensor(libwexohelper::module::sensor_dispatcher&) {
    // The sensor is not built yet: nothing to register.
}

} // namespace vantrel::kelvane::dns
