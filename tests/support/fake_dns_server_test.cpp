#include <test_support/fake_dns_server.hpp>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vantrel::kelvane::test_support {
namespace {

std::vector<unsigned char> make_query(unsigned short id, const char* name, ares_dns_rec_type_t type) {
    ares_dns_record_t* query = nullptr;
    ares_dns_record_create(&query, id, ARES_FLAG_RD, ARES_OPCODE_QUERY, ARES_RCODE_NOERROR);
    ares_dns_record_query_add(query, name, type, ARES_CLASS_IN);
    unsigned char* bytes = nullptr;
    std::size_t length = 0;
    ares_dns_write(query, &bytes, &length);
    std::vector<unsigned char> message(bytes, bytes + length);
    ares_free_string(bytes);
    ares_dns_record_destroy(query);
    return message;
}

struct parsed {
    explicit parsed(const std::vector<unsigned char>& bytes) {
        EXPECT_EQ(ares_dns_parse(bytes.data(), bytes.size(), 0, &record), ARES_SUCCESS);
    }
    ~parsed() { ares_dns_record_destroy(record); }
    ares_dns_record_t* record = nullptr;
};

// A connected client socket with a receive timeout, so a missing answer fails the test instead of hanging it.
int connect_to(const fake_dns_server& server, int type) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server.port());
    inet_pton(AF_INET, server.address().c_str(), &address.sin_addr);
    const int fd = ::socket(AF_INET, type, 0);
    timeval timeout{2, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return fd;
}

std::vector<unsigned char> receive_udp(int fd) {
    std::vector<unsigned char> buffer(4096);
    const ssize_t size = ::recv(fd, buffer.data(), buffer.size(), 0);
    buffer.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return buffer;
}

std::vector<unsigned char> receive_frame(int fd) {
    unsigned char prefix[2];
    if (::recv(fd, prefix, 2, MSG_WAITALL) != 2) {
        return {};
    }
    std::vector<unsigned char> message((std::size_t{prefix[0]} << 8) | prefix[1]);
    if (::recv(fd, message.data(), message.size(), MSG_WAITALL) != static_cast<ssize_t>(message.size())) {
        return {};
    }
    return message;
}

TEST(FakeDnsServer, TcpFramesAreReassembledWhateverTheirSplit) {
    fake_dns_server server;
    server.on_request([](const dns_request& request) {
        return dns_action::answer().a(request.name, request.id == 1 ? "192.0.2.1" : "192.0.2.2");
    });
    std::vector<unsigned char> stream;
    for (unsigned short id : {1, 2}) {
        const auto query = make_query(id, "split.example", ARES_REC_TYPE_A);
        stream.push_back(static_cast<unsigned char>(query.size() >> 8));
        stream.push_back(static_cast<unsigned char>(query.size()));
        stream.insert(stream.end(), query.begin(), query.end());
    }
    const int fd = connect_to(server, SOCK_STREAM);
    // One byte of the first prefix, then the rest of frame one together with all of frame two.
    ASSERT_EQ(::send(fd, stream.data(), 1, 0), 1);
    ::usleep(20000);
    ASSERT_EQ(::send(fd, stream.data() + 1, stream.size() - 1, 0), static_cast<ssize_t>(stream.size() - 1));
    for (unsigned short id : {1, 2}) {
        const auto frame = receive_frame(fd);
        ASSERT_FALSE(frame.empty());
        const parsed answer(frame);
        EXPECT_EQ(ares_dns_record_get_id(answer.record), id);
        EXPECT_EQ(ares_dns_record_rr_cnt(answer.record, ARES_SECTION_ANSWER), 1u);
    }
    ::close(fd);
    ASSERT_EQ(server.request_count(), 2u);
    EXPECT_EQ(server.requests()[0].transport, dns_transport::tcp);
}

TEST(FakeDnsServer, UdpAnswersFollowTheScript) {
    fake_dns_server server;
    const int fd = connect_to(server, SOCK_DGRAM);
    const auto query = make_query(77, "udp.example", ARES_REC_TYPE_MX);

    server.on_request([](const dns_request&) {
        return dns_action::answer(ARES_RCODE_SERVFAIL).flags(ARES_FLAG_AA).mx("udp.example", 5, "mail.example");
    });
    ::send(fd, query.data(), query.size(), 0);
    {
        const parsed answer(receive_udp(fd));
        EXPECT_EQ(ares_dns_record_get_id(answer.record), 77);
        EXPECT_EQ(ares_dns_record_get_rcode(answer.record), ARES_RCODE_SERVFAIL);
        EXPECT_EQ(ares_dns_record_get_flags(answer.record), ARES_FLAG_QR | ARES_FLAG_AA | ARES_FLAG_RD);
        EXPECT_EQ(ares_dns_record_query_cnt(answer.record), 1u);
        EXPECT_EQ(ares_dns_record_rr_cnt(answer.record, ARES_SECTION_ANSWER), 1u);
    }

    server.on_request(
        [](const dns_request&) { return dns_action::answer().id(9).truncated_over_udp().a("x", "192.0.2.1"); });
    ::send(fd, query.data(), query.size(), 0);
    {
        const parsed answer(receive_udp(fd));
        EXPECT_EQ(ares_dns_record_get_id(answer.record), 9);
        EXPECT_NE(ares_dns_record_get_flags(answer.record) & ARES_FLAG_TC, 0);
        EXPECT_EQ(ares_dns_record_rr_cnt(answer.record, ARES_SECTION_ANSWER), 0u);
    }

    server.on_request([](const dns_request&) { return dns_action::raw({1, 2, 3}); });
    ::send(fd, query.data(), query.size(), 0);
    EXPECT_EQ(receive_udp(fd), (std::vector<unsigned char>{1, 2, 3}));
    ::close(fd);

    const auto seen = server.requests();
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].name, "udp.example");
    EXPECT_EQ(seen[0].type, ARES_REC_TYPE_MX);
    EXPECT_EQ(seen[0].transport, dns_transport::udp);
}

TEST(FakeDnsServer, BindsTheGivenAddress) {
    fake_dns_server v6(fake_dns_server::options{"::1", 0});
    EXPECT_EQ(v6.address(), "::1");
    EXPECT_NE(v6.port(), 0);
    EXPECT_THROW(fake_dns_server(fake_dns_server::options{"not-an-address", 0}), std::invalid_argument);
}

// What a check that must use the standard port does: a fixed address and port 53.
TEST(FakeDnsServer, BindsAPrivilegedPortOnAnotherLoopbackAddress) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "binding port 53 needs root";
    }
    try {
        fake_dns_server server(fake_dns_server::options{"127.0.0.53", 53});
        EXPECT_EQ(server.port(), 53);
        const int fd = connect_to(server, SOCK_DGRAM);
        const auto query = make_query(5, "port53.example", ARES_REC_TYPE_NS);
        ::send(fd, query.data(), query.size(), 0);
        const parsed answer(receive_udp(fd));
        EXPECT_EQ(ares_dns_record_get_id(answer.record), 5);
        ::close(fd);
    } catch (const std::system_error& e) {
        if (e.code().value() == EADDRINUSE) {
            GTEST_SKIP() << "127.0.0.53:53 is taken on this machine: " << e.what();
        }
        throw;
    }
}

} // namespace
} // namespace vantrel::kelvane::test_support
