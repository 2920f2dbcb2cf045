#include <dns/cares/channel_setup.hpp>
#include <dns/exceptions.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>

#include <utility>

namespace vantrel::kelvane::cares {
namespace {

// Keeps every line with its level.
std::chrono::steady_clock::time_point soon() {
    return std::chrono::steady_clock::now() + std::chrono::seconds(5);
}

class recording_log final : public liblog::log_interface {
public:
    void log(std::int32_t level, const std::string& message) override { lines.emplace_back(level, message); }
    std::vector<std::pair<std::int32_t, std::string>> lines;
};

TEST(ChannelOptions, MaskHoldsOnlyTheOptionsThatWereGiven) {
    EXPECT_EQ(make_channel_options(0, 0).mask, 0x400005);
    EXPECT_EQ(make_channel_options(1500, 0).mask, 0x502005);
    EXPECT_EQ(make_channel_options(0, 5353).mask, 0x400035);
    const channel_options all = make_channel_options(1500, 5353);
    EXPECT_EQ(all.mask, 0x502035);
    EXPECT_EQ(all.options.maxtimeout, 1500) << "without the ceiling c-ares ends a try after 5 s";
    EXPECT_EQ(all.options.flags, ARES_FLAG_NOCHECKRESP);
    EXPECT_EQ(all.options.tries, 1);
    EXPECT_EQ(all.options.timeout, 1500);
    EXPECT_EQ(all.options.udp_port, 5353);
    EXPECT_EQ(all.options.tcp_port, 5353);
}

TEST(ThrowOnStatus, EachCommonStatusHasItsOwnError) {
    using namespace dns::exceptions;
    EXPECT_NO_THROW(throw_on_status(ARES_SUCCESS));
    EXPECT_THROW(throw_on_status(ARES_ENODATA), dns_nodata);
    EXPECT_THROW(throw_on_status(ARES_EFORMERR), dns_formerr);
    EXPECT_THROW(throw_on_status(ARES_ESERVFAIL), dns_servfail);
    EXPECT_THROW(throw_on_status(ARES_EREFUSED), dns_refused);
    EXPECT_THROW(throw_on_status(ARES_ETIMEOUT), dns_timeout);
    try {
        throw_on_status(ARES_ENOTFOUND);
        FAIL() << "expected dns_notfound";
    } catch (const dns_notfound& e) {
        EXPECT_STREQ(e.what(), "Error 4 occurred: Domain name not found.");
        EXPECT_EQ(e.status(), 4);
    }
    try {
        throw_on_status(ARES_ECONNREFUSED);
        FAIL() << "expected query_failed";
    } catch (const query_failed& e) {
        EXPECT_EQ(e.status(), ARES_ECONNREFUSED);
        EXPECT_EQ(dynamic_cast<const dns_timeout*>(&e), nullptr);
        EXPECT_EQ(e.message_key().key(), "error.query_failed");
        EXPECT_EQ(e.message_key().arguments().at(1), ares_strerror(ARES_ECONNREFUSED));
    }
}

TEST(ServerAddresses, LiteralsAreUsedAsGivenWhateverTheIpVersion) {
    recording_log log;
    const auto v4 = resolve_server_addresses("10.0.0.1", 6, log, soon());
    EXPECT_EQ(server_list_text(v4, 0), "10.0.0.1:0");
    const auto v6 = resolve_server_addresses("::1", 4, log, soon());
    EXPECT_EQ(server_list_text(v6, 53), "[::1]:53");
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[0], std::make_pair(7, std::string("Using IPv4 address: 10.0.0.1")));
    EXPECT_EQ(log.lines[1], std::make_pair(7, std::string("Using IPv6 address: ::1")));
}

TEST(ServerAddresses, ListJoinsEntriesInOrder) {
    recording_log log;
    auto addresses = resolve_server_addresses("192.0.2.1", 0, log, soon());
    const auto more = resolve_server_addresses("2001:db8::53", 0, log, soon());
    addresses.insert(addresses.end(), more.begin(), more.end());
    EXPECT_EQ(server_list_text(addresses, 5353), "192.0.2.1:5353,[2001:db8::53]:5353");
}

// "localhost" is answered from /etc/hosts, which maps it to 127.0.0.1 only here.
TEST(ServerAddresses, HostNamesAreFilteredByIpVersion) {
    recording_log accepted_log;
    const auto v4 = resolve_server_addresses("localhost", 4, accepted_log, soon());
    ASSERT_FALSE(v4.empty());
    EXPECT_EQ(server_list_text({v4.front()}, 53), "127.0.0.1:53");
    EXPECT_EQ(accepted_log.lines.front().second, "Trying to resolve DNS server localhost");
    EXPECT_EQ(accepted_log.lines.at(1).second, "Using IPv4 address: 127.0.0.1");

    recording_log rejected_log;
    EXPECT_THAT([&] { resolve_server_addresses("localhost", 6, rejected_log, soon()); },
                ::testing::ThrowsMessage<dns::exceptions::unsupported_address_family>(
                    ::testing::StrEq("Unsupported address family encountered while resolving 'localhost'.")));
    ASSERT_GE(rejected_log.lines.size(), 3u);
    EXPECT_EQ(rejected_log.lines.front().second, "Trying to resolve DNS server localhost");
    for (std::size_t index = 1; index + 1 < rejected_log.lines.size(); ++index) {
        EXPECT_EQ(rejected_log.lines[index], std::make_pair(7, std::string("Skipping IPv4 address: 127.0.0.1")));
    }
    EXPECT_EQ(rejected_log.lines.back(), std::make_pair(3, std::string("No suitable addresses found.")));
}

TEST(ServerAddresses, AcceptAddressFiltersByFamily) {
    recording_log log;
    std::vector<server_address> accepted;
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    inet_pton(AF_INET6, "::1", &v6.sin6_addr);
    EXPECT_FALSE(accept_address(reinterpret_cast<const sockaddr*>(&v6), 4, log, accepted));
    EXPECT_TRUE(accept_address(reinterpret_cast<const sockaddr*>(&v6), 6, log, accepted));
    sockaddr unknown{};
    unknown.sa_family = AF_UNIX;
    EXPECT_FALSE(accept_address(&unknown, 0, log, accepted));
    EXPECT_EQ(accepted.size(), 1u);
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[0].second, "Skipping IPv6 address: ::1");
    EXPECT_EQ(log.lines[1].second, "Using IPv6 address: ::1");
}

TEST(ServerAddresses, NothingIsLoggedWhenLoggingIsOff) {
    liblog::null_logger off;
    EXPECT_THROW(resolve_server_addresses("localhost", 6, off, soon()), dns::exceptions::unsupported_address_family);
}

// A parsed response built in memory, as c-ares hands it to the callback.
class parsed_response : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(ares_dns_record_create(&record_, 321, ARES_FLAG_QR | ARES_FLAG_AA | ARES_FLAG_RD | ARES_FLAG_CD,
                                         ARES_OPCODE_QUERY, ARES_RCODE_NOERROR),
                  ARES_SUCCESS);
        ares_dns_record_query_add(record_, "example", ARES_REC_TYPE_A, ARES_CLASS_IN);
    }
    void TearDown() override { ares_dns_record_destroy(record_); }

    void add_a(ares_dns_section_t section, const char* address, ares_dns_class_t dns_class = ARES_CLASS_IN) {
        ares_dns_rr_t* rr = nullptr;
        ares_dns_record_rr_add(&rr, record_, section, "example", ARES_REC_TYPE_A, dns_class, 60);
        in_addr v4{};
        inet_pton(AF_INET, address, &v4);
        ares_dns_rr_set_addr(rr, ARES_RR_A_ADDR, &v4);
    }

    ares_dns_record_t* record_ = nullptr;
};

TEST_F(parsed_response, HeaderQuestionsAndSectionsAreCopied) {
    add_a(ARES_SECTION_ANSWER, "192.0.2.1");
    add_a(ARES_SECTION_ANSWER, "192.0.2.2", ARES_CLASS_CHAOS);
    add_a(ARES_SECTION_AUTHORITY, "192.0.2.3");
    add_a(ARES_SECTION_ADDITIONAL, "192.0.2.4");
    dns::dns_query_result result;
    parse_response(result, ARES_SUCCESS, record_);
    EXPECT_EQ(result.id, 321);
    EXPECT_TRUE(result.aa && result.rd && result.cd);
    EXPECT_FALSE(result.tc || result.ra || result.ad);
    ASSERT_EQ(result.questions.size(), 1u);
    EXPECT_EQ(result.questions[0].name, "example");
    ASSERT_EQ(result.answers.size(), 1u);
    EXPECT_EQ(result.answers[0]->value(), "192.0.2.1");
    ASSERT_EQ(result.authorities.size(), 1u);
    EXPECT_EQ(result.authorities[0]->value(), "192.0.2.3");
    ASSERT_EQ(result.additionals.size(), 1u);
    EXPECT_EQ(result.additionals[0]->value(), "192.0.2.4");
}

TEST_F(parsed_response, NodataIsAValidEmptyAnswerAndOtherFailuresThrow) {
    dns::dns_query_result result;
    parse_response(result, ARES_ENODATA, record_);
    EXPECT_EQ(result.id, 321);
    EXPECT_TRUE(result.answers.empty());
    EXPECT_EQ(result.questions.size(), 1u);

    dns::dns_query_result failed;
    EXPECT_THROW(parse_response(failed, ARES_ENOTFOUND, record_), dns::exceptions::dns_notfound);
    EXPECT_THROW(parse_response(failed, ARES_SUCCESS, nullptr), dns::exceptions::invalid_answer);
    EXPECT_THROW(parse_response(failed, ARES_ENODATA, nullptr), dns::exceptions::invalid_answer);
}

} // namespace
} // namespace vantrel::kelvane::cares
