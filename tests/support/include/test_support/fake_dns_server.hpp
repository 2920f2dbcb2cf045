#pragma once

// An in-process DNS server for tests. It listens on one loopback address (UDP
// and TCP on the same port, ephemeral unless a port is given), parses every
// query with c-ares and answers what the test's hook returns for it. Answers
// are built with c-ares' record API, so tests never hand-write wire bytes
// unless they want to (dns_action::raw).
//
// Thread-safety: the hook runs on the server's own thread; on_request,
// requests() and request_count() may be called from any thread. Construction
// throws std::system_error when a socket cannot be bound.

#include <ares.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vantrel::kelvane::test_support {

enum class dns_transport { udp, tcp };

// One query as the server received it.
struct dns_request {
    std::string name;
    ares_dns_rec_type_t type{};
    ares_dns_class_t dns_class{};
    unsigned short id = 0;
    unsigned short flags = 0;
    dns_transport transport = dns_transport::udp;
};

// What the server does with one query. The default is an empty NOERROR answer
// that echoes the question, copies the query id and the RD flag, and sets QR.
class dns_action {
public:
    using record_filler = std::function<void(ares_dns_rr_t*)>;

    static dns_action answer(ares_dns_rcode_t rcode = ARES_RCODE_NOERROR);
    // Reads the query and never answers it.
    static dns_action silence();
    // Sends exactly these bytes (over TCP with the length prefix added).
    static dns_action raw(std::vector<unsigned char> bytes);

    dns_action& rcode(ares_dns_rcode_t code);
    // Header flags (ARES_FLAG_AA, _RA, _AD, _CD, _TC ...) added to QR and the copied RD.
    dns_action& flags(unsigned short extra);
    dns_action& id(unsigned short fixed_id);
    dns_action& delay(std::chrono::milliseconds wait);
    // Over UDP answers with TC set and no records, so that the client asks
    // again over TCP, where the full answer is given.
    dns_action& truncated_over_udp();

    // Any record: type, class and section are free; `fill` sets its fields.
    dns_action& record(ares_dns_section_t section, std::string name, ares_dns_rec_type_t type,
                       ares_dns_class_t dns_class, std::uint32_t ttl, record_filler fill);

    // Class IN shorthands, in the answer section unless told otherwise.
    dns_action& a(std::string name, std::string address, std::uint32_t ttl = 300,
                  ares_dns_section_t section = ARES_SECTION_ANSWER);
    dns_action& aaaa(std::string name, std::string address, std::uint32_t ttl = 300,
                     ares_dns_section_t section = ARES_SECTION_ANSWER);
    dns_action& cname(std::string name, std::string target, std::uint32_t ttl = 300);
    dns_action& ns(std::string name, std::string host, std::uint32_t ttl = 300,
                   ares_dns_section_t section = ARES_SECTION_ANSWER);
    dns_action& ptr(std::string name, std::string target, std::uint32_t ttl = 300);
    dns_action& mx(std::string name, std::uint16_t preference, std::string exchange, std::uint32_t ttl = 300);
    dns_action& txt(std::string name, std::vector<std::string> strings, std::uint32_t ttl = 300);
    dns_action& srv(std::string name, std::uint16_t priority, std::uint16_t weight, std::uint16_t port,
                    std::string target, std::uint32_t ttl = 300);
    dns_action& naptr(std::string name, std::uint16_t order, std::uint16_t preference, std::string flags,
                      std::string services, std::string regexp, std::string replacement, std::uint32_t ttl = 300);
    dns_action& soa(std::string name, std::string mname, std::string rname, std::uint32_t serial,
                    std::uint32_t ttl = 300, ares_dns_section_t section = ARES_SECTION_ANSWER);

    // The bytes this action sends for `request`; empty for silence. `query`
    // is the parsed query. Exposed for the server and its tests.
    std::vector<unsigned char> encode(const dns_request& request, const ares_dns_record_t* query) const;

    enum class kind { answer, silence, raw };
    kind what() const noexcept { return kind_; }
    std::chrono::milliseconds wait() const noexcept { return delay_; }

private:
    struct pending_record {
        ares_dns_section_t section;
        std::string name;
        ares_dns_rec_type_t type;
        ares_dns_class_t dns_class;
        std::uint32_t ttl;
        record_filler fill;
    };

    kind kind_ = kind::answer;
    ares_dns_rcode_t rcode_ = ARES_RCODE_NOERROR;
    unsigned short extra_flags_ = 0;
    std::optional<unsigned short> id_;
    bool truncate_udp_ = false;
    std::chrono::milliseconds delay_{0};
    std::vector<unsigned char> raw_;
    std::vector<pending_record> records_;
};

class fake_dns_server {
public:
    struct options {
        // An IPv4 or IPv6 literal, such as "127.0.0.1", "::1" or "127.0.0.53".
        std::string address = "127.0.0.1";
        // 0: an ephemeral port, read back with port().
        std::uint16_t port = 0;
    };
    using handler = std::function<dns_action(const dns_request&)>;

    fake_dns_server();
    explicit fake_dns_server(options settings);
    // Stops the server thread and closes every socket.
    ~fake_dns_server();

    fake_dns_server(const fake_dns_server&) = delete;
    fake_dns_server& operator=(const fake_dns_server&) = delete;

    const std::string& address() const noexcept { return address_; }
    std::uint16_t port() const noexcept { return port_; }

    // Replaces the hook that decides each answer.
    void on_request(handler hook);
    // Every query received so far, in order of arrival.
    std::vector<dns_request> requests() const;
    std::size_t request_count() const;

private:
    struct state;
    void run();

    std::string address_;
    std::uint16_t port_ = 0;
    std::unique_ptr<state> state_;
    std::thread thread_;
};

} // namespace vantrel::kelvane::test_support
