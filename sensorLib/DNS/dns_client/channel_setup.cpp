#include <dns/cares/channel_setup.hpp>
#include <dns/cares/host_name_lookup.hpp>

#include <dns/exceptions.hpp>
#include <dns/make_record.hpp>
#include <libstringutils/utf8.hpp>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace vantrel::kelvane::cares {
namespace {

void log_detail(liblog::log_interface& log, std::string_view prefix, std::string_view text) {
    if (!log.enabled()) {
        return;
    }
    std::string line;
    line.reserve(prefix.size() + text.size());
    line += prefix;
    line += text;
    log.log(liblog::level_detail, line);
}

std::string address_text(const server_address& address) {
    char buffer[INET6_ADDRSTRLEN + 1];
    if (ares_inet_ntop(address.family, address.bytes.data(), buffer, sizeof buffer) == nullptr) {
        throw dns::exceptions::ip_conversion_failed();
    }
    return buffer;
}

void append_section(std::vector<std::shared_ptr<dns::dns_result_record>>& target, const ares_dns_record_t* record,
                    ares_dns_section_t section) {
    const std::size_t count = ares_dns_record_rr_cnt(record, section);
    target.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        if (auto copy = dns::make_record(ares_dns_record_rr_get_const(record, section, index))) {
            target.push_back(std::move(copy));
        }
    }
}

} // namespace

channel_options make_channel_options(std::int64_t timeout_ms, std::uint16_t port) {
    channel_options result{};
    result.options.flags = ARES_FLAG_NOCHECKRESP;
    result.options.tries = 1;
    result.options.evsys = ARES_EVSYS_DEFAULT;
    result.mask = ARES_OPT_FLAGS | ARES_OPT_TRIES | ARES_OPT_EVENT_THREAD;
    if (timeout_ms != 0) {
        result.options.timeout = static_cast<int>(timeout_ms);
        // Since 1.32 c-ares ends a try after 5 s unless told otherwise; the
        // ceiling makes a configured 7 s or 10 s mean what it says.
        result.options.maxtimeout = static_cast<int>(timeout_ms);
        result.mask |= ARES_OPT_TIMEOUTMS | ARES_OPT_MAXTIMEOUTMS;
    }
    if (port != 0) {
        result.options.udp_port = port;
        result.options.tcp_port = port;
        result.mask |= ARES_OPT_UDP_PORT | ARES_OPT_TCP_PORT;
    }
    return result;
}

void throw_on_status(int status) {
    using namespace dns::exceptions;
    if (status == ARES_SUCCESS) {
        return;
    }
    std::string text = ares_strerror(status);
    switch (status) {
    case ARES_ENODATA:
        throw dns_nodata(status, std::move(text));
    case ARES_EFORMERR:
        throw dns_formerr(status, std::move(text));
    case ARES_ESERVFAIL:
        throw dns_servfail(status, std::move(text));
    case ARES_ENOTFOUND:
        throw dns_notfound(status, std::move(text));
    case ARES_EREFUSED:
        throw dns_refused(status, std::move(text));
    case ARES_ETIMEOUT:
        throw dns_timeout(status, std::move(text));
    default:
        throw query_failed(status, std::move(text));
    }
}

bool accept_address(const struct sockaddr* address, std::uint32_t ip_version, liblog::log_interface& log,
                    std::vector<server_address>& accepted) {
    server_address entry{};
    std::uint32_t wanted = 0;
    const char* family_name = nullptr;
    if (address->sa_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
        entry.family = AF_INET;
        std::memcpy(entry.bytes.data(), &v4->sin_addr, 4);
        wanted = 4;
        family_name = "IPv4";
    } else if (address->sa_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
        entry.family = AF_INET6;
        std::memcpy(entry.bytes.data(), &v6->sin6_addr, 16);
        wanted = 6;
        family_name = "IPv6";
    } else {
        return false;
    }
    const std::string text = address_text(entry);
    const bool accept = ip_version == 0 || ip_version == wanted;
    if (log.enabled()) {
        std::string line = accept ? "Using " : "Skipping ";
        line += family_name;
        line += " address: ";
        line += text;
        log.log(liblog::level_detail, line);
    }
    if (accept) {
        accepted.push_back(entry);
    }
    return accept;
}

std::optional<server_address> literal_server_address(const std::string& server) {
    server_address literal{};
    if (ares_inet_pton(AF_INET, server.c_str(), literal.bytes.data()) == 1) {
        literal.family = AF_INET;
        return literal;
    }
    if (ares_inet_pton(AF_INET6, server.c_str(), literal.bytes.data()) == 1) {
        literal.family = AF_INET6;
        return literal;
    }
    return std::nullopt;
}

void log_literal_server(const server_address& literal, const std::string& server, liblog::log_interface& log) {
    log_detail(log, literal.family == AF_INET ? "Using IPv4 address: " : "Using IPv6 address: ", server);
}

std::vector<server_address> resolve_server_addresses(const std::string& server, std::uint32_t ip_version,
                                                     liblog::log_interface& log,
                                                     std::chrono::steady_clock::time_point deadline) {
    if (const auto literal = literal_server_address(server)) {
        log_literal_server(*literal, server, log);
        return {*literal};
    }

    log_detail(log, "Trying to resolve DNS server ", server);
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    // 0x0900 with the Windows values; with AF_UNSPEC glibc ignores both.
    hints.ai_flags = AI_ALL | AI_V4MAPPED;
    const host_name_lookup lookup = look_up_host_name(server, hints, deadline);
    if (lookup.timed_out) {
        log_detail(log, "The system resolver did not answer in time for ", server);
    }
    if (lookup.status != 0 || lookup.list == nullptr) {
        throw dns::exceptions::resolve_failed(server);
    }
    const addrinfo_list& list = lookup.list;

    std::vector<server_address> accepted;
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_addr != nullptr) {
            accept_address(entry->ai_addr, ip_version, log, accepted);
        }
    }
    if (accepted.empty()) {
        if (log.enabled()) {
            log.log(liblog::level_warning, "No suitable addresses found.");
        }
        throw dns::exceptions::unsupported_address_family(server);
    }
    return accepted;
}

std::string server_list_text(const std::vector<server_address>& addresses, std::uint16_t port) {
    try {
        const std::string port_text = std::to_string(port);
        std::string list;
        for (const auto& address : addresses) {
            if (!list.empty()) {
                list += ',';
            }
            if (address.family == AF_INET6) {
                list += '[';
                list += address_text(address);
                list += ']';
            } else {
                list += address_text(address);
            }
            list += ':';
            list += port_text;
        }
        return list;
    } catch (const std::bad_alloc&) {
        throw dns::exceptions::memory_allocation_failed();
    }
}

void parse_response(dns::dns_query_result& result, int status, const ares_dns_record_t* record) {
    try {
        throw_on_status(status);
    } catch (const dns::exceptions::dns_nodata&) {
        // A name without records of the asked type is a valid, empty answer.
    }
    if (record == nullptr) {
        throw dns::exceptions::invalid_answer();
    }

    result.id = ares_dns_record_get_id(record);
    result.opcode = static_cast<std::uint32_t>(ares_dns_record_get_opcode(record));
    result.rcode = static_cast<std::uint32_t>(ares_dns_record_get_rcode(record));
    const unsigned short flags = ares_dns_record_get_flags(record);
    result.aa = (flags & ARES_FLAG_AA) != 0;
    result.tc = (flags & ARES_FLAG_TC) != 0;
    result.rd = (flags & ARES_FLAG_RD) != 0;
    result.ra = (flags & ARES_FLAG_RA) != 0;
    result.ad = (flags & ARES_FLAG_AD) != 0;
    result.cd = (flags & ARES_FLAG_CD) != 0;

    const std::size_t questions = ares_dns_record_query_cnt(record);
    result.questions.reserve(questions);
    for (std::size_t index = 0; index < questions; ++index) {
        const char* name = nullptr;
        ares_dns_rec_type_t type{};
        ares_dns_class_t dns_class{};
        if (ares_dns_record_query_get(record, index, &name, &type, &dns_class) == ARES_SUCCESS && name != nullptr) {
            result.questions.emplace_back(libstringutils::escape_invalid_utf8(name), static_cast<std::uint32_t>(type),
                                          static_cast<std::uint32_t>(dns_class));
        }
    }

    append_section(result.answers, record, ARES_SECTION_ANSWER);
    append_section(result.authorities, record, ARES_SECTION_AUTHORITY);
    append_section(result.additionals, record, ARES_SECTION_ADDITIONAL);
}

} // namespace vantrel::kelvane::cares
