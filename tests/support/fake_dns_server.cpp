#include <test_support/fake_dns_server.hpp>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace vantrel::kelvane::test_support {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void check(ares_status_t status, const char* what) {
    if (status != ARES_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + ares_strerror(status));
    }
}

struct dns_record_deleter {
    void operator()(ares_dns_record_t* record) const noexcept { ares_dns_record_destroy(record); }
};
using dns_record_ptr = std::unique_ptr<ares_dns_record_t, dns_record_deleter>;

union socket_address {
    sockaddr base;
    sockaddr_in v4;
    sockaddr_in6 v6;
    sockaddr_storage storage;
};

socket_address make_address(const std::string& text, std::uint16_t port, socklen_t& length) {
    socket_address address{};
    if (inet_pton(AF_INET, text.c_str(), &address.v4.sin_addr) == 1) {
        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(port);
        length = sizeof address.v4;
    } else if (inet_pton(AF_INET6, text.c_str(), &address.v6.sin6_addr) == 1) {
        address.v6.sin6_family = AF_INET6;
        address.v6.sin6_port = htons(port);
        length = sizeof address.v6;
    } else {
        throw std::invalid_argument("fake_dns_server: not an IP literal: " + text);
    }
    return address;
}

int open_socket(const socket_address& address, socklen_t length, int type) {
    const int fd = ::socket(address.base.sa_family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        fail("socket");
    }
    const int on = 1;
    if (type == SOCK_STREAM) {
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    }
    if (address.base.sa_family == AF_INET6) {
        ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    }
    if (::bind(fd, &address.base, length) != 0) {
        const int error = errno;
        ::close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

std::uint16_t bound_port(int fd) {
    socket_address address{};
    socklen_t length = sizeof address;
    ::getsockname(fd, &address.base, &length);
    return ntohs(address.base.sa_family == AF_INET ? address.v4.sin_port : address.v6.sin6_port);
}

void write_all(int fd, const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::send(fd, data, size, MSG_NOSIGNAL);
        if (written < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                pollfd wait{fd, POLLOUT, 0};
                ::poll(&wait, 1, 100);
                continue;
            }
            return; // the client went away; nothing to answer
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

} // namespace

// ---------------------------------------------------------------- dns_action

dns_action dns_action::answer(ares_dns_rcode_t rcode) {
    dns_action action;
    action.rcode_ = rcode;
    return action;
}

dns_action dns_action::silence() {
    dns_action action;
    action.kind_ = kind::silence;
    return action;
}

dns_action dns_action::raw(std::vector<unsigned char> bytes) {
    dns_action action;
    action.kind_ = kind::raw;
    action.raw_ = std::move(bytes);
    return action;
}

dns_action& dns_action::rcode(ares_dns_rcode_t code) {
    rcode_ = code;
    return *this;
}

dns_action& dns_action::flags(unsigned short extra) {
    extra_flags_ |= extra;
    return *this;
}

dns_action& dns_action::id(unsigned short fixed_id) {
    id_ = fixed_id;
    return *this;
}

dns_action& dns_action::delay(std::chrono::milliseconds wait) {
    delay_ = wait;
    return *this;
}

dns_action& dns_action::truncated_over_udp() {
    truncate_udp_ = true;
    return *this;
}

dns_action& dns_action::record(ares_dns_section_t section, std::string name, ares_dns_rec_type_t type,
                               ares_dns_class_t dns_class, std::uint32_t ttl, record_filler fill) {
    records_.push_back({section, std::move(name), type, dns_class, ttl, std::move(fill)});
    return *this;
}

dns_action& dns_action::a(std::string name, std::string address, std::uint32_t ttl, ares_dns_section_t section) {
    return record(section, std::move(name), ARES_REC_TYPE_A, ARES_CLASS_IN, ttl, [address](ares_dns_rr_t* rr) {
        in_addr value{};
        if (inet_pton(AF_INET, address.c_str(), &value) != 1) {
            throw std::invalid_argument("not an IPv4 address: " + address);
        }
        check(ares_dns_rr_set_addr(rr, ARES_RR_A_ADDR, &value), "A");
    });
}

dns_action& dns_action::aaaa(std::string name, std::string address, std::uint32_t ttl, ares_dns_section_t section) {
    return record(section, std::move(name), ARES_REC_TYPE_AAAA, ARES_CLASS_IN, ttl, [address](ares_dns_rr_t* rr) {
        ares_in6_addr value{};
        if (inet_pton(AF_INET6, address.c_str(), &value) != 1) {
            throw std::invalid_argument("not an IPv6 address: " + address);
        }
        check(ares_dns_rr_set_addr6(rr, ARES_RR_AAAA_ADDR, &value), "AAAA");
    });
}

dns_action& dns_action::cname(std::string name, std::string target, std::uint32_t ttl) {
    return record(
        ARES_SECTION_ANSWER, std::move(name), ARES_REC_TYPE_CNAME, ARES_CLASS_IN, ttl,
        [target](ares_dns_rr_t* rr) { check(ares_dns_rr_set_str(rr, ARES_RR_CNAME_CNAME, target.c_str()), "CNAME"); });
}

dns_action& dns_action::ns(std::string name, std::string host, std::uint32_t ttl, ares_dns_section_t section) {
    return record(section, std::move(name), ARES_REC_TYPE_NS, ARES_CLASS_IN, ttl, [host](ares_dns_rr_t* rr) {
        check(ares_dns_rr_set_str(rr, ARES_RR_NS_NSDNAME, host.c_str()), "NS");
    });
}

dns_action& dns_action::ptr(std::string name, std::string target, std::uint32_t ttl) {
    return record(
        ARES_SECTION_ANSWER, std::move(name), ARES_REC_TYPE_PTR, ARES_CLASS_IN, ttl,
        [target](ares_dns_rr_t* rr) { check(ares_dns_rr_set_str(rr, ARES_RR_PTR_DNAME, target.c_str()), "PTR"); });
}

dns_action& dns_action::mx(std::string name, std::uint16_t preference, std::string exchange, std::uint32_t ttl) {
    return record(ARES_SECTION_ANSWER, std::move(name), ARES_REC_TYPE_MX, ARES_CLASS_IN, ttl,
                  [preference, exchange](ares_dns_rr_t* rr) {
                      check(ares_dns_rr_set_u16(rr, ARES_RR_MX_PREFERENCE, preference), "MX");
                      check(ares_dns_rr_set_str(rr, ARES_RR_MX_EXCHANGE, exchange.c_str()), "MX");
                  });
}

dns_action& dns_action::txt(std::string name, std::vector<std::string> strings, std::uint32_t ttl) {
    return record(ARES_SECTION_ANSWER, std::move(name), ARES_REC_TYPE_TXT, ARES_CLASS_IN, ttl,
                  [strings](ares_dns_rr_t* rr) {
                      for (const auto& text : strings) {
                          check(ares_dns_rr_add_abin(rr, ARES_RR_TXT_DATA,
                                                     reinterpret_cast<const unsigned char*>(text.data()), text.size()),
                                "TXT");
                      }
                  });
}

dns_action& dns_action::srv(std::string name, std::uint16_t priority, std::uint16_t weight, std::uint16_t port,
                            std::string target, std::uint32_t ttl) {
    return record(ARES_SECTION_ANSWER, std::move(name), ARES_REC_TYPE_SRV, ARES_CLASS_IN, ttl, [=](ares_dns_rr_t* rr) {
        check(ares_dns_rr_set_u16(rr, ARES_RR_SRV_PRIORITY, priority), "SRV");
        check(ares_dns_rr_set_u16(rr, ARES_RR_SRV_WEIGHT, weight), "SRV");
        check(ares_dns_rr_set_u16(rr, ARES_RR_SRV_PORT, port), "SRV");
        check(ares_dns_rr_set_str(rr, ARES_RR_SRV_TARGET, target.c_str()), "SRV");
    });
}

dns_action& dns_action::naptr(std::string name, std::uint16_t order, std::uint16_t preference, std::string flags,
                              std::string services, std::string regexp, std::string replacement, std::uint32_t ttl) {
    return record(ARES_SECTION_ANSWER, std::move(name), ARES_REC_TYPE_NAPTR, ARES_CLASS_IN, ttl,
                  [=](ares_dns_rr_t* rr) {
                      check(ares_dns_rr_set_u16(rr, ARES_RR_NAPTR_ORDER, order), "NAPTR");
                      check(ares_dns_rr_set_u16(rr, ARES_RR_NAPTR_PREFERENCE, preference), "NAPTR");
                      check(ares_dns_rr_set_str(rr, ARES_RR_NAPTR_FLAGS, flags.c_str()), "NAPTR");
                      check(ares_dns_rr_set_str(rr, ARES_RR_NAPTR_SERVICES, services.c_str()), "NAPTR");
                      check(ares_dns_rr_set_str(rr, ARES_RR_NAPTR_REGEXP, regexp.c_str()), "NAPTR");
                      check(ares_dns_rr_set_str(rr, ARES_RR_NAPTR_REPLACEMENT, replacement.c_str()), "NAPTR");
                  });
}

dns_action& dns_action::soa(std::string name, std::string mname, std::string rname, std::uint32_t serial,
                            std::uint32_t ttl, ares_dns_section_t section) {
    return record(section, std::move(name), ARES_REC_TYPE_SOA, ARES_CLASS_IN, ttl, [=](ares_dns_rr_t* rr) {
        check(ares_dns_rr_set_str(rr, ARES_RR_SOA_MNAME, mname.c_str()), "SOA");
        check(ares_dns_rr_set_str(rr, ARES_RR_SOA_RNAME, rname.c_str()), "SOA");
        check(ares_dns_rr_set_u32(rr, ARES_RR_SOA_SERIAL, serial), "SOA");
        check(ares_dns_rr_set_u32(rr, ARES_RR_SOA_REFRESH, 3600), "SOA");
        check(ares_dns_rr_set_u32(rr, ARES_RR_SOA_RETRY, 600), "SOA");
        check(ares_dns_rr_set_u32(rr, ARES_RR_SOA_EXPIRE, 86400), "SOA");
        check(ares_dns_rr_set_u32(rr, ARES_RR_SOA_MINIMUM, 60), "SOA");
    });
}

std::vector<unsigned char> dns_action::encode(const dns_request& request, const ares_dns_record_t* query) const {
    switch (kind_) {
    case kind::silence:
        return {};
    case kind::raw:
        return raw_;
    case kind::answer:
        break;
    }
    const bool truncated = truncate_udp_ && request.transport == dns_transport::udp;
    auto header_flags = static_cast<unsigned short>(ARES_FLAG_QR | (request.flags & ARES_FLAG_RD) | extra_flags_);
    if (truncated) {
        header_flags |= ARES_FLAG_TC;
    }

    ares_dns_record_t* raw_record = nullptr;
    check(ares_dns_record_create(&raw_record, id_.value_or(request.id), header_flags,
                                 query != nullptr ? ares_dns_record_get_opcode(query) : ARES_OPCODE_QUERY, rcode_),
          "ares_dns_record_create");
    const dns_record_ptr response(raw_record);
    if (query != nullptr) {
        for (std::size_t index = 0; index < ares_dns_record_query_cnt(query); ++index) {
            const char* name = nullptr;
            ares_dns_rec_type_t type{};
            ares_dns_class_t dns_class{};
            check(ares_dns_record_query_get(query, index, &name, &type, &dns_class), "query_get");
            check(ares_dns_record_query_add(response.get(), name, type, dns_class), "query_add");
        }
    }
    if (!truncated) {
        for (const auto& pending : records_) {
            ares_dns_rr_t* rr = nullptr;
            check(ares_dns_record_rr_add(&rr, response.get(), pending.section, pending.name.c_str(), pending.type,
                                         pending.dns_class, pending.ttl),
                  "rr_add");
            if (pending.fill) {
                pending.fill(rr);
            }
        }
    }
    unsigned char* bytes = nullptr;
    std::size_t length = 0;
    check(ares_dns_write(response.get(), &bytes, &length), "ares_dns_write");
    std::vector<unsigned char> message(bytes, bytes + length);
    ares_free_string(bytes);
    return message;
}

// ----------------------------------------------------------- fake_dns_server

struct fake_dns_server::state {
    struct connection {
        int fd;
        std::uint64_t serial;
        std::vector<unsigned char> buffer;
    };
    struct delayed {
        std::chrono::steady_clock::time_point due;
        dns_transport transport;
        socket_address peer;
        socklen_t peer_length;
        std::uint64_t connection_serial;
        std::vector<unsigned char> bytes;
    };

    int udp = -1;
    int tcp = -1;
    int wake[2] = {-1, -1};
    std::vector<connection> connections;
    std::vector<delayed> pending;
    std::uint64_t next_serial = 1;

    mutable std::mutex lock;
    handler hook;
    std::vector<dns_request> seen;

    ~state() {
        for (int fd : {udp, tcp, wake[0], wake[1]}) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
        for (const auto& c : connections) {
            ::close(c.fd);
        }
    }
};

fake_dns_server::fake_dns_server() : fake_dns_server(options{}) {}

fake_dns_server::fake_dns_server(options settings) : address_(settings.address), state_(std::make_unique<state>()) {
    // UDP first, then TCP on the port UDP got; an ephemeral port that is taken
    // for TCP is simply tried again.
    for (int attempt = 0;; ++attempt) {
        socklen_t length = 0;
        socket_address address = make_address(settings.address, settings.port, length);
        const int udp = open_socket(address, length, SOCK_DGRAM);
        if (udp < 0) {
            fail("bind udp");
        }
        const std::uint16_t port = bound_port(udp);
        address = make_address(settings.address, port, length);
        const int tcp = open_socket(address, length, SOCK_STREAM);
        if (tcp < 0) {
            const int error = errno;
            ::close(udp);
            errno = error;
            if (settings.port == 0 && error == EADDRINUSE && attempt < 20) {
                continue;
            }
            fail("bind tcp");
        }
        if (::listen(tcp, 16) != 0) {
            ::close(udp);
            ::close(tcp);
            fail("listen");
        }
        state_->udp = udp;
        state_->tcp = tcp;
        port_ = port;
        break;
    }
    if (::pipe2(state_->wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        fail("pipe2");
    }
    thread_ = std::thread([this] { run(); });
}

fake_dns_server::~fake_dns_server() {
    const char stop = 1;
    [[maybe_unused]] const auto ignored = ::write(state_->wake[1], &stop, 1);
    thread_.join();
}

void fake_dns_server::on_request(handler hook) {
    const std::lock_guard guard(state_->lock);
    state_->hook = std::move(hook);
}

std::vector<dns_request> fake_dns_server::requests() const {
    const std::lock_guard guard(state_->lock);
    return state_->seen;
}

std::size_t fake_dns_server::request_count() const {
    const std::lock_guard guard(state_->lock);
    return state_->seen.size();
}

void fake_dns_server::run() {
    state& s = *state_;

    // Parses one query and returns the answer bytes (empty: none) and their delay.
    const auto answer =
        [&s](const unsigned char* data, std::size_t size,
             dns_transport transport) -> std::pair<std::vector<unsigned char>, std::chrono::milliseconds> {
        ares_dns_record_t* raw_query = nullptr;
        if (ares_dns_parse(data, size, 0, &raw_query) != ARES_SUCCESS) {
            return std::pair{std::vector<unsigned char>{}, std::chrono::milliseconds{0}};
        }
        const dns_record_ptr query(raw_query);
        dns_request request;
        request.id = ares_dns_record_get_id(query.get());
        request.flags = ares_dns_record_get_flags(query.get());
        request.transport = transport;
        if (ares_dns_record_query_cnt(query.get()) > 0) {
            const char* name = nullptr;
            ares_dns_record_query_get(query.get(), 0, &name, &request.type, &request.dns_class);
            request.name = name != nullptr ? name : "";
        }
        handler hook;
        {
            const std::lock_guard guard(s.lock);
            s.seen.push_back(request);
            hook = s.hook;
        }
        try {
            const dns_action action = hook ? hook(request) : dns_action::answer();
            return std::pair{action.encode(request, query.get()), action.wait()};
        } catch (...) {
            // A broken hook must not take the test process down; the client
            // sees silence and the test fails on its own terms.
            return std::pair{std::vector<unsigned char>{}, std::chrono::milliseconds{0}};
        }
    };

    const auto send_tcp = [](int fd, const std::vector<unsigned char>& bytes) {
        std::vector<unsigned char> frame;
        frame.reserve(bytes.size() + 2);
        frame.push_back(static_cast<unsigned char>(bytes.size() >> 8));
        frame.push_back(static_cast<unsigned char>(bytes.size() & 0xff));
        frame.insert(frame.end(), bytes.begin(), bytes.end());
        write_all(fd, frame.data(), frame.size());
    };

    for (;;) {
        std::vector<pollfd> fds;
        fds.push_back({s.wake[0], POLLIN, 0});
        fds.push_back({s.udp, POLLIN, 0});
        fds.push_back({s.tcp, POLLIN, 0});
        for (const auto& c : s.connections) {
            fds.push_back({c.fd, POLLIN, 0});
        }
        int timeout = -1;
        const auto now = std::chrono::steady_clock::now();
        for (const auto& p : s.pending) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(p.due - now).count();
            const int wait = static_cast<int>(std::max<long long>(0, left + 1));
            timeout = timeout < 0 ? wait : std::min(timeout, wait);
        }
        if (::poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) {
            return;
        }
        if (fds[0].revents != 0) {
            return;
        }

        // Delayed answers that are due.
        const auto due_now = std::chrono::steady_clock::now();
        for (auto it = s.pending.begin(); it != s.pending.end();) {
            if (it->due > due_now) {
                ++it;
                continue;
            }
            if (it->transport == dns_transport::udp) {
                ::sendto(s.udp, it->bytes.data(), it->bytes.size(), 0, &it->peer.base, it->peer_length);
            } else {
                for (const auto& c : s.connections) {
                    if (c.serial == it->connection_serial) {
                        send_tcp(c.fd, it->bytes);
                    }
                }
            }
            it = s.pending.erase(it);
        }

        if (fds[1].revents & POLLIN) {
            unsigned char buffer[65536];
            socket_address peer{};
            socklen_t peer_length = sizeof peer;
            const ssize_t size = ::recvfrom(s.udp, buffer, sizeof buffer, 0, &peer.base, &peer_length);
            if (size > 0) {
                auto [bytes, wait] = answer(buffer, static_cast<std::size_t>(size), dns_transport::udp);
                if (!bytes.empty()) {
                    if (wait.count() > 0) {
                        s.pending.push_back({std::chrono::steady_clock::now() + wait, dns_transport::udp, peer,
                                             peer_length, 0, std::move(bytes)});
                    } else {
                        ::sendto(s.udp, bytes.data(), bytes.size(), 0, &peer.base, peer_length);
                    }
                }
            }
        }

        if (fds[2].revents & POLLIN) {
            const int fd = ::accept4(s.tcp, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd >= 0) {
                s.connections.push_back({fd, s.next_serial++, {}});
            }
        }

        // Connections accepted in this round have no entry in fds yet.
        const std::size_t polled = fds.size() - 3;
        std::vector<std::uint64_t> closing;
        for (std::size_t index = 0; index < polled && index < s.connections.size(); ++index) {
            if (fds[index + 3].revents == 0) {
                continue;
            }
            auto& c = s.connections[index];
            unsigned char buffer[4096];
            const ssize_t size = ::recv(c.fd, buffer, sizeof buffer, 0);
            if (size <= 0) {
                if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
                    closing.push_back(c.serial);
                }
                continue;
            }
            c.buffer.insert(c.buffer.end(), buffer, buffer + size);
            // Every complete length-prefixed frame, however the bytes arrived.
            while (c.buffer.size() >= 2) {
                const std::size_t length = (std::size_t{c.buffer[0]} << 8) | c.buffer[1];
                if (c.buffer.size() < length + 2) {
                    break;
                }
                const std::vector<unsigned char> message(c.buffer.begin() + 2, c.buffer.begin() + 2 + length);
                c.buffer.erase(c.buffer.begin(), c.buffer.begin() + 2 + length);
                auto [bytes, wait] = answer(message.data(), message.size(), dns_transport::tcp);
                if (bytes.empty()) {
                    continue;
                }
                if (wait.count() > 0) {
                    s.pending.push_back({std::chrono::steady_clock::now() + wait,
                                         dns_transport::tcp,
                                         {},
                                         0,
                                         c.serial,
                                         std::move(bytes)});
                } else {
                    send_tcp(c.fd, bytes);
                }
            }
        }
        for (const std::uint64_t serial : closing) {
            const auto it = std::find_if(s.connections.begin(), s.connections.end(),
                                         [serial](const auto& c) { return c.serial == serial; });
            if (it != s.connections.end()) {
                ::close(it->fd);
                s.connections.erase(it);
            }
        }
    }
}

} // namespace vantrel::kelvane::test_support
