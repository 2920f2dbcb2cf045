#include <dns/dns_check_registration.hpp>

namespace vantrel::kelvane::dns {

void register_dns_check(libwexohelper::module::sensor_dispatcher&) {
    // The check is not built yet: nothing to register.
}

} // namespace vantrel::kelvane::dns
