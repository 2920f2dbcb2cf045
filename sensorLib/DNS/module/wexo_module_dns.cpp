#include <wexo_module_dns.hpp>

#include <dns/dns_check_registration.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/dns_v2_registration.hpp>
#include <dns/english_texts.hpp>
#include <dns/ip_reputation_registration.hpp>
#include <dns/manifest.hpp>

namespace vantrel::kelvane::dns {

WexoModuleDNS::WexoModuleDNS(std::uint64_t context, libwexohelper::module::host_callback callback)
    : module_instance(context, callback) {
    register_english_texts();
    // Explicitly and in this order: the check, the two sensors, then the DNS
    // client factory through which they all reach the network (tests put a
    // fake in its place).
    register_dns_check(*dispatcher());
    register_dns_v2(*dispatcher());
    register_ip_reputation_score_sensor(*dispatcher());
    container()->add_factory<dns_helper_factory>(get_dns_helper_factory());
}

WexoModuleDNS::~WexoModuleDNS() = default;

std::string WexoModuleDNS::module_information() const { return std::string(manifest_json()); }

} // namespace vantrel::kelvane::dns
