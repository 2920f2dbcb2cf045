#include <dns/dns_helper_factory.hpp>

#include <dns/cares/dns_client.hpp>

namespace vantrel::kelvane::dns {

dns_helper_factory get_dns_helper_factory() {
    return [](dns_helper_settings settings) -> std::unique_ptr<dns_client_interface> {
        return std::make_unique<cares::dns_client>(std::move(settings.server), settings.ip_version, settings.port,
                                                   settings.timeout_ms);
    };
}

} // namespace vantrel::kelvane::dns
