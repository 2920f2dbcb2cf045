#pragma once

// The DNS client on c-ares. Every query builds its own channel (with c-ares'
// own event thread), sends one query, blocks until c-ares has finished and
// destroys the channel. Only the server list text of a server given as an
// address literal is kept between queries, since it can never change.

#include <dns/cares/cares_library_guard.hpp>
#include <dns/cares/channel_setup.hpp>
#include <dns/dns_client_interface.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace vantrel::kelvane::cares {

class dns_client final : public dns::dns_client_interface {
public:
    // Copies the values, then initialises the c-ares library if needed
    // (throws an exceptions::query_failed subclass when that fails).
    dns_client(std::string server, std::uint32_t ip_version, std::uint16_t port, std::int64_t timeout_ms);
    ~dns_client() override;

    // See dns_client_interface::query. Besides the status errors this throws
    // exceptions::resolve_failed and unsupported_address_family for a server
    // host name that yields no usable address. The wait for the answer is
    // bounded by the low 32 bits of timeout_ms read as a signed number
    // (negative: unbounded; 0: the answer must already be there).
    dns::dns_query_result query(const std::string& name, const std::string& record_type,
                                liblog::log_interface& log) override;

    // "4.3.2.1.in-addr.arpa" for 1.2.3.4; the 32 nibbles of an IPv6 address,
    // lowest first, then "ip6.arpa". Throws exceptions::ip_parse_failed for any
    // other text. Thread-safe.
    static std::string reverse_lookup_name(const std::string& ip);

    // A server given as an address literal, prepared once.
    struct literal_server {
        server_address address;
        std::string list_text; // as ares_set_servers_ports_csv takes it
    };

private:
    std::optional<literal_server> literal_;
    cares_library_guard library_;
};

} // namespace vantrel::kelvane::cares
