#include <dns/cares/dns_client.hpp>

#include <dns/cares/channel_setup.hpp>
#include <dns/exceptions.hpp>
#include <dns/ns_code_maps.hpp>

#include <ares.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <locale>
#include <memory>
#include <utility>

namespace vantrel::kelvane::cares {
namespace {

// State of one query, shared between the waiting thread and c-ares' event
// thread. The callback writes it; the waiting thread reads it only after
// ares_queue_wait_empty has returned, and c-ares' channel lock orders the two.
struct query_context {
    dns::dns_query_result* result;
    std::chrono::steady_clock::time_point start;
    std::exception_ptr error;
};

struct channel_deleter {
    void operator()(ares_channel_t* channel) const noexcept {
        ares_cancel(channel);
        ares_destroy(channel);
    }
};
using channel_ptr = std::unique_ptr<ares_channel_t, channel_deleter>;

void on_query_complete(void* arg, ares_status_t status, std::size_t /*timeouts*/, const ares_dns_record_t* record) {
    // Cancellation and destruction only happen once the caller has stopped waiting.
    if (status == ARES_ECANCELLED || status == ARES_EDESTRUCTION) {
        return;
    }
    auto& context = *static_cast<query_context*>(arg);
    const auto elapsed = std::chrono::steady_clock::now() - context.start;
    context.result->response_time_ms =
        std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count() / 1'000'000;
    try {
        parse_response(*context.result, status, record);
    } catch (...) {
        // Never unwind through c-ares; query() rethrows after the wait.
        context.error = std::current_exception();
    }
}

// Only the low 32 bits of the timeout count; a value that reads as negative
// leaves the end to c-ares' own timeout. A positive wait is cut to what is
// left of the query's budget (rounded up, so that c-ares' own timeout, not
// the wait, decides a query that uses all of it).
int wait_milliseconds(std::int64_t timeout_ms, std::chrono::steady_clock::time_point deadline) {
    const auto wait_ms = static_cast<int>(static_cast<std::int32_t>(static_cast<std::uint32_t>(timeout_ms)));
    if (wait_ms <= 0) {
        return wait_ms;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, wait_ms));
}

channel_ptr build_channel(const std::string& server, const dns_client::literal_server* literal,
                          std::uint32_t ip_version, std::uint16_t port, std::int64_t timeout_ms,
                          std::chrono::steady_clock::time_point deadline, liblog::log_interface& log) {
    channel_options settings = make_channel_options(timeout_ms, port);
    ares_channel_t* raw = nullptr;
    const int status = ares_init_options(&raw, &settings.options, settings.mask);
    channel_ptr channel(raw);
    throw_on_status(status);

    if (server.empty()) {
        if (log.enabled()) {
            log.log(liblog::level_detail, "No DNS server(s) set: Using local resolver instead.");
        }
        return channel;
    }
    if (literal != nullptr) {
        log_literal_server(literal->address, server, log);
        throw_on_status(ares_set_servers_ports_csv(channel.get(), literal->list_text.c_str()));
        return channel;
    }
    const std::string list = server_list_text(resolve_server_addresses(server, ip_version, log, deadline), port);
    throw_on_status(ares_set_servers_ports_csv(channel.get(), list.c_str()));
    return channel;
}

} // namespace

dns_client::dns_client(std::string server, std::uint32_t ip_version, std::uint16_t port, std::int64_t timeout_ms)
    : dns::dns_client_interface(std::move(server), ip_version, port, timeout_ms) {
    if (const auto address = literal_server_address(server_)) {
        literal_ = literal_server{*address, server_list_text({*address}, port_)};
    }
}

dns_client::~dns_client() = default;

dns::dns_query_result dns_client::query(const std::string& name, const std::string& record_type,
                                        liblog::log_interface& log) {
    std::string type_name = record_type;
    // A sensor's names are upper case already; only another spelling goes
    // through the locale.
    const bool upper = std::all_of(type_name.begin(), type_name.end(),
                                   [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
    if (!upper) {
        std::use_facet<std::ctype<char>>(std::locale()).toupper(type_name.data(), type_name.data() + type_name.size());
    }

    dns::dns_query_result result{};
    query_context context{&result, std::chrono::steady_clock::now(), nullptr};
    // One budget for the whole query: resolving a server given by name and
    // waiting for the answer share it, so a slow system resolver cannot
    // stretch a scan beyond its timeout.
    const auto deadline = context.start + std::chrono::milliseconds(std::max<std::int64_t>(timeout_ms_, 0));
    // Declared after the context: the channel (and with it every callback) is
    // gone before the context is, also when something below throws.
    const channel_ptr channel =
        build_channel(server_, literal_ ? &*literal_ : nullptr, ip_version_, port_, timeout_ms_, deadline, log);

    const auto type = static_cast<ares_dns_rec_type_t>(dns::ns_type_id(type_name));
    const ares_status_t submitted =
        ares_query_dnsrec(channel.get(), name.c_str(), ARES_CLASS_IN, type, on_query_complete, &context, nullptr);

    throw_on_status(ares_queue_wait_empty(channel.get(), wait_milliseconds(timeout_ms_, deadline)));

    if (context.error) {
        std::rethrow_exception(context.error);
    }
    // c-ares reports a refused submission through the callback; this only
    // guards against a version that would not.
    throw_on_status(submitted);
    return result;
}

std::string dns_client::reverse_lookup_name(const std::string& ip) {
    static constexpr char hex[] = "0123456789abcdef";
    unsigned char bytes[16];
    std::string name;
    if (ares_inet_pton(AF_INET, ip.c_str(), bytes) == 1) {
        name.reserve(29);
        for (int index = 3; index >= 0; --index) {
            name += std::to_string(bytes[index]);
            name += '.';
        }
        name += "in-addr.arpa";
        return name;
    }
    if (ares_inet_pton(AF_INET6, ip.c_str(), bytes) == 1) {
        name.reserve(72);
        for (int index = 15; index >= 0; --index) {
            name += hex[bytes[index] & 0x0f];
            name += '.';
            name += hex[bytes[index] >> 4];
            name += '.';
        }
        name += "ip6.arpa";
        return name;
    }
    throw dns::exceptions::ip_parse_failed(ip);
}

} // namespace vantrel::kelvane::cares
