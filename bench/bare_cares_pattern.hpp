#pragma once

// The channel-per-query pattern the module's DNS client is built on, written
// with nothing but c-ares: a new channel with the client's options, one query,
// wait, cancel, destroy. Benchmarks run it next to the module's code to show
// what the module adds on top.

#include <ares.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace vantrel::kelvane::bench {

class bare_cares_pattern {
public:
    // Queries go to 127.0.0.1 on `port` with a per-try timeout of `timeout_ms`.
    bare_cares_pattern(std::uint16_t port, int timeout_ms)
        : servers_("127.0.0.1:" + std::to_string(port)), timeout_ms_(timeout_ms) {
        options_.flags = ARES_FLAG_NOCHECKRESP;
        options_.tries = 1;
        options_.timeout = timeout_ms;
        options_.maxtimeout = timeout_ms;
        options_.udp_port = options_.tcp_port = port;
        options_.evsys = ARES_EVSYS_DEFAULT;
    }

    // One A query for `name`; the number of answers, or -1 when the channel
    // could not be set up. Thread-safe: every call has its own channel.
    long query(const char* name) const {
        constexpr int mask = ARES_OPT_FLAGS | ARES_OPT_TRIES | ARES_OPT_EVENT_THREAD | ARES_OPT_TIMEOUTMS |
                             ARES_OPT_MAXTIMEOUTMS | ARES_OPT_UDP_PORT | ARES_OPT_TCP_PORT;
        ares_options options = options_;
        ares_channel_t* channel = nullptr;
        if (ares_init_options(&channel, &options, mask) != ARES_SUCCESS) {
            return -1;
        }
        if (ares_set_servers_ports_csv(channel, servers_.c_str()) != ARES_SUCCESS) {
            ares_destroy(channel);
            return -1;
        }
        std::size_t answers = 0;
        ares_query_dnsrec(
            channel, name, ARES_CLASS_IN, ARES_REC_TYPE_A,
            [](void* arg, ares_status_t status, std::size_t, const ares_dns_record_t* record) {
                if (status == ARES_SUCCESS && record != nullptr) {
                    *static_cast<std::size_t*>(arg) = ares_dns_record_rr_cnt(record, ARES_SECTION_ANSWER);
                }
            },
            &answers, nullptr);
        ares_queue_wait_empty(channel, timeout_ms_);
        ares_cancel(channel);
        ares_destroy(channel);
        return static_cast<long>(answers);
    }

private:
    std::string servers_;
    int timeout_ms_;
    ares_options options_{};
};

} // namespace vantrel::kelvane::bench
