#pragma once

// The steps of a query that can be checked without sending anything: the
// channel options, choosing the resolver's addresses, the server list text,
// status translation and copying a parsed response. dns_client composes them;
// they are exposed for its tests. All are thread-safe.

#include <dns/dns_query_result.hpp>
#include <liblog/log_interface.hpp>

#include <ares.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantrel::kelvane::cares {

struct server_address {
    int family;                          // AF_INET or AF_INET6
    std::array<unsigned char, 16> bytes; // network order; 4 used for AF_INET
};

struct channel_options {
    ares_options options;
    int mask;
};

// Flags ARES_FLAG_NOCHECKRESP (SERVFAIL, NOTIMP and REFUSED come back instead
// of being retried elsewhere), one try, c-ares' event thread; a timeout (and
// the same value as c-ares' ceiling for one try) only when timeout_ms is not
// 0, UDP and TCP ports only when port is not 0.
channel_options make_channel_options(std::int64_t timeout_ms, std::uint16_t port);

// Returns for 0; throws dns_nodata, dns_formerr, dns_servfail, dns_notfound,
// dns_refused, dns_timeout for statuses 1, 2, 3, 4, 6, 12 and query_failed for
// any other, each with ares_strerror's text.
void throw_on_status(int status);

// The address of an IPv4 or IPv6 literal; nullopt for anything else.
std::optional<server_address> literal_server_address(const std::string& server);

// "Using IPv4 address: SERVER" or "Using IPv6 address: SERVER" at level 7.
void log_literal_server(const server_address& literal, const std::string& server, liblog::log_interface& log);

// An IPv4 or IPv6 literal is used as given (ip_version is not applied);
// anything else is resolved with getaddrinfo, waiting no later than
// `deadline`, and filtered by accept_address. Logs each decision at level 7
// and "No suitable addresses found." at level 3. Throws
// exceptions::resolve_failed (also when the deadline passes first) or
// unsupported_address_family.
std::vector<server_address> resolve_server_addresses(const std::string& server, std::uint32_t ip_version,
                                                     liblog::log_interface& log,
                                                     std::chrono::steady_clock::time_point deadline);

// Appends `address` to `accepted` when its family suits ip_version (0 accepts
// both), logging "Using ..." or "Skipping ..."; other families are ignored.
// Returns whether it was accepted. Throws exceptions::ip_conversion_failed.
bool accept_address(const struct sockaddr* address, std::uint32_t ip_version, liblog::log_interface& log,
                    std::vector<server_address>& accepted);

// "a.b.c.d:port" and "[v6]:port" entries joined by ",", in order; the port is
// written also when it is 0. Throws exceptions::ip_conversion_failed.
std::string server_list_text(const std::vector<server_address>& addresses, std::uint16_t port);

// Fills `result` from a completed query's status and parsed response. A NODATA
// status is a valid empty answer; any other failed status throws as
// throw_on_status does, and a missing record throws exceptions::invalid_answer.
// Records the model cannot represent are left out.
void parse_response(dns::dns_query_result& result, int status, const ares_dns_record_t* record);

} // namespace vantrel::kelvane::cares
