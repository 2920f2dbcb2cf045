#pragma once

// A synchronous DNS client: one query to one resolver, the whole parsed
// response back. Sensors obtain instances from the factory of
// get_dns_helper_factory() (dns_helper_factory.hpp), which tests replace.

#include <dns/dns_query_result.hpp>
#include <liblog/log_interface.hpp>

#include <cstdint>
#include <string>
#include <utility>

namespace vantrel::kelvane::dns {

class dns_client_interface {
public:
    dns_client_interface(std::string server, std::uint32_t ip_version, std::uint16_t port, std::int64_t timeout_ms)
        : server_(std::move(server)), ip_version_(ip_version), port_(port), timeout_ms_(timeout_ms) {}
    virtual ~dns_client_interface() = default;

    dns_client_interface(const dns_client_interface&) = delete;
    dns_client_interface& operator=(const dns_client_interface&) = delete;

    // Sends one query of class IN for `name` (used unchanged) and `record_type`
    // (a name of the type map, any case) and blocks until it has finished.
    // Diagnostic lines go to `log`. Throws the exceptions:: family: a
    // query_failed subclass for a failed status (NXDOMAIN is dns_notfound, a
    // timeout dns_timeout), invalid_ns_type_name for an unknown type, and the
    // resolver errors of the implementation. A NODATA answer is not an error.
    // One thread at a time per client; separate clients may run in parallel.
    virtual dns_query_result query(const std::string& name, const std::string& record_type,
                                   liblog::log_interface& log) = 0;

    const std::string& server() const noexcept { return server_; }
    std::uint32_t ip_version() const noexcept { return ip_version_; }
    std::uint16_t port() const noexcept { return port_; }
    std::int64_t timeout_ms() const noexcept { return timeout_ms_; }

protected:
    std::string server_;
    std::uint32_t ip_version_;
    std::uint16_t port_;
    std::int64_t timeout_ms_;
};

} // namespace vantrel::kelvane::dns
