#include <dns/device_address.hpp>

#include <dns/cares/dns_client.hpp>
#include <dns/exceptions.hpp>

#include <ares.h>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace vantrel::kelvane::dns {
namespace {

// c-ares also takes network shorthand such as "192.0.2" (192.0.2.0), which
// no one means as a device address; an IPv4 literal needs all four parts.
bool is_literal(const std::string& host) {
    std::array<unsigned char, 16> bytes{};
    if (ares_inet_pton(AF_INET, host.c_str(), bytes.data()) == 1) {
        return std::count(host.begin(), host.end(), '.') == 3;
    }
    return ares_inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1;
}

struct addrinfo_deleter {
    void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};

} // namespace

std::string resolve_device_address(const std::string& host, std::uint32_t ip_version) {
    if (is_literal(host)) {
        return host;
    }
    addrinfo hints{};
    hints.ai_family = ip_version == 6 ? AF_INET6 : AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* raw = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &raw) != 0 || raw == nullptr) {
        throw exceptions::resolve_failed(host);
    }
    const std::unique_ptr<addrinfo, addrinfo_deleter> list(raw);
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_addr == nullptr || entry->ai_family != hints.ai_family) {
            continue;
        }
        char text[INET6_ADDRSTRLEN] = {};
        const void* bytes =
            entry->ai_family == AF_INET6
                ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(entry->ai_addr)->sin6_addr)
                : static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr);
        if (ares_inet_ntop(entry->ai_family, bytes, text, sizeof text) == nullptr) {
            throw exceptions::ip_conversion_failed();
        }
        return text;
    }
    throw exceptions::resolve_failed(host);
}

std::string reversed_address(const std::string& address) {
    if (!is_literal(address)) {
        throw exceptions::ip_parse_failed(address);
    }
    // The reverse-lookup name is exactly the reversed address plus a fixed
    // suffix; reusing it keeps one definition of the nibble and octet order.
    std::string name = cares::dns_client::reverse_lookup_name(address);
    for (const std::string_view suffix : {std::string_view(".in-addr.arpa"), std::string_view(".ip6.arpa")}) {
        if (name.size() > suffix.size() && std::string_view(name).substr(name.size() - suffix.size()) == suffix) {
            name.resize(name.size() - suffix.size());
            return name;
        }
    }
    throw exceptions::ip_parse_failed(address);
}

} // namespace vantrel::kelvane::dns
