#include <dns/client_settings.hpp>

#include <map>

namespace vantrel::kelvane::dns {

std::uint32_t client_ip_version(settings::ipversion version) {
    static const std::map<settings::ipversion, std::uint32_t> versions{
        {settings::ipversion::ipv4, 4},
        {settings::ipversion::ipv6, 6},
    };
    return versions.at(version);
}

dns_helper_settings device_client_settings(const settings::common_settings& common, std::uint16_t port,
                                           std::int64_t timeout_ms) {
    dns_helper_settings client;
    client.server = common.host;
    client.ip_version = client_ip_version(common.ipversion);
    client.port = port;
    client.timeout_ms = timeout_ms;
    return client;
}

} // namespace vantrel::kelvane::dns
