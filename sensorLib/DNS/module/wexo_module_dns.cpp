#include <wexo_module_dns.hpp>

#include <dns/english_texts.hpp>
#include <dns/manifest.hpp>

namespace vantrel::kelvane::dns {

WexoModuleDNS::WexoModuleDNS(std::uint64_t context, libwexohelper::module::host_callback callback)
    : module_instance(context, callback) {
    register_english_texts();
    // Each sensor, check and service registers here, explicitly, in this order:
    // the check "dns_check", the sensors "dns_v2" and "ip_reputation_score_sensor",
    // then the DNS client factory.
}

WexoModuleDNS::~WexoModuleDNS() = default;

std::string WexoModuleDNS::module_information() const { return std::string(manifest_json()); }

} // namespace vantrel::kelvane::dns
