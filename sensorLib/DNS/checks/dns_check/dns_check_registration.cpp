#include <dns/dns_check.hpp>
#include <dns/dns_check_registration.hpp>
#include <dns/manifest.hpp>

namespace vantrel::kelvane::dns {

void register_dns_check(libwexohelper::module::sensor_dispatcher& dispatcher) {
    dispatcher.register_check_as<dns_check>(std::string(manifest_names::dns_check));
}

} // namespace vantrel::kelvane::dns
