#include <dns/dns_v2_registration.hpp>

namespace vantrel::kelvane::dns {

void register_dns_v2(libwexohelper::module::sensor_dispatcher&) {
    // The sensor is not built yet: nothing to register.
}

} // namespace vantrel::kelvane::dns
