#pragma once

// getaddrinfo with a deadline. The system resolver has no timeout of its own
// that we control (resolv.conf may ask for 30 s per server and several
// servers), so the look-up runs on a thread of its own and the caller stops
// waiting at the deadline; a late answer is freed by that thread.

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netdb.h>
#endif

#include <chrono>
#include <memory>
#include <string>

namespace vantrel::kelvane::cares {

struct addrinfo_deleter {
    void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using addrinfo_list = std::unique_ptr<addrinfo, addrinfo_deleter>;

struct host_name_lookup {
    int status = 0;         // getaddrinfo's result; meaningless when timed_out
    bool timed_out = false; // the deadline passed first
    addrinfo_list list;     // null unless status is 0
};

// Never waits beyond `deadline`; a deadline already passed still gives the
// system resolver no time at all and reports timed_out. Throws std::system_error
// when no thread can be started. Thread-safe.
host_name_lookup look_up_host_name(const std::string& name, const addrinfo& hints,
                                   std::chrono::steady_clock::time_point deadline);

} // namespace vantrel::kelvane::cares
