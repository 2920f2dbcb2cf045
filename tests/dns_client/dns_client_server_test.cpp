// The c-ares client against the in-process fake server: every status path,
// both address families, and UDP as well as TCP (reached through a truncated
// UDP answer, as a real client does).

#include <dns/cares/dns_client.hpp>
#include <dns/dns_helper_factory.hpp>
#include <dns/exceptions.hpp>
#include <dns/render_response.hpp>
#include <test_support/fake_dns_server.hpp>
#include <test_support/private_resolver.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <sstream>

namespace vantrel::kelvane::cares {
namespace {

using test_support::dns_action;
using test_support::dns_request;
using test_support::dns_transport;
using test_support::fake_dns_server;
using namespace std::chrono_literals;
namespace errors = dns::exceptions;

class recording_log final : public liblog::log_interface {
public:
    void log(std::int32_t level, const std::string& message) override {
        const std::lock_guard guard(lock_);
        lines_.emplace_back(level, message);
    }
    std::vector<std::pair<std::int32_t, std::string>> lines() const {
        const std::lock_guard guard(lock_);
        return lines_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::pair<std::int32_t, std::string>> lines_;
};

struct network_case {
    const char* name;
    const char* address;
    dns_transport transport;
};

void PrintTo(const network_case& value, std::ostream* out) {
    *out << value.name;
}

class client_against_fake_server : public ::testing::TestWithParam<network_case> {
protected:
    client_against_fake_server() : server_(fake_dns_server::options{GetParam().address, 0}) {}

    // Every scripted answer goes over the case's transport: for TCP the UDP
    // answer is truncated and the client has to ask again.
    void script(std::function<dns_action(const dns_request&)> hook) {
        const bool over_tcp = GetParam().transport == dns_transport::tcp;
        server_.on_request([hook = std::move(hook), over_tcp](const dns_request& request) {
            dns_action action = hook(request);
            return over_tcp ? std::move(action.truncated_over_udp()) : action;
        });
    }

    dns::dns_query_result query(const std::string& name, const std::string& type, std::int64_t timeout_ms = 3000) {
        dns_client client(GetParam().address, 0, server_.port(), timeout_ms);
        return client.query(name, type, log_);
    }

    void expect_answered_over_case_transport() const {
        const auto seen = server_.requests();
        ASSERT_FALSE(seen.empty());
        EXPECT_EQ(seen.back().transport, GetParam().transport);
    }

    fake_dns_server server_;
    recording_log log_;
};

TEST_P(client_against_fake_server, NoerrorAnswerIsCopiedWithHeaderAndSections) {
    script([](const dns_request& request) {
        return dns_action::answer()
            .flags(ARES_FLAG_AA | ARES_FLAG_RA)
            .a(request.name, "192.0.2.10", 600)
            .a(request.name, "192.0.2.11", 600)
            .ns("example", "ns1.example", 300, ARES_SECTION_AUTHORITY)
            .a("ns1.example", "192.0.2.53", 300, ARES_SECTION_ADDITIONAL);
    });
    const auto result = query("www.example", "A");
    expect_answered_over_case_transport();

    EXPECT_EQ(result.id, server_.requests().back().id);
    EXPECT_EQ(result.rcode, 0u);
    EXPECT_EQ(result.opcode, 0u);
    EXPECT_TRUE(result.aa && result.rd && result.ra);
    EXPECT_FALSE(result.tc || result.ad || result.cd);
    ASSERT_EQ(result.questions.size(), 1u);
    EXPECT_EQ(result.questions[0].name, "www.example");
    EXPECT_EQ(result.questions[0].type, 1u);
    ASSERT_EQ(result.answers.size(), 2u);
    EXPECT_EQ(result.answers[0]->value(), "192.0.2.10");
    EXPECT_EQ(result.answers[1]->value(), "192.0.2.11");
    EXPECT_EQ(result.answers[0]->ttl, 600u);
    ASSERT_EQ(result.authorities.size(), 1u);
    EXPECT_EQ(result.authorities[0]->value(), "ns1.example");
    ASSERT_EQ(result.additionals.size(), 1u);
    EXPECT_GE(result.response_time_ms, 0);
}

TEST_P(client_against_fake_server, NodataReturnsAnEmptyAnswerWithTheHeader) {
    script([](const dns_request&) {
        return dns_action::answer()
            .flags(ARES_FLAG_AA)
            .soa("example", "ns1.example", "admin.example", 42, 300, ARES_SECTION_AUTHORITY);
    });
    const auto result = query("www.example", "AAAA");
    expect_answered_over_case_transport();
    EXPECT_TRUE(result.answers.empty());
    EXPECT_EQ(result.id, server_.requests().back().id);
    EXPECT_TRUE(result.aa);
    ASSERT_EQ(result.questions.size(), 1u);
    EXPECT_EQ(result.questions[0].type, 28u);
    ASSERT_EQ(result.authorities.size(), 1u);
    EXPECT_EQ(result.authorities[0]->value(), "ns1.example admin.example 42 3600 600 86400 60");
}

TEST_P(client_against_fake_server, NxdomainThrowsNotFound) {
    script([](const dns_request&) { return dns_action::answer(ARES_RCODE_NXDOMAIN); });
    EXPECT_THAT([&] { query("missing.example", "A"); }, ::testing::ThrowsMessage<errors::dns_notfound>(::testing::StrEq(
                                                            "Error 4 occurred: Domain name not found.")));
    expect_answered_over_case_transport();
}

TEST_P(client_against_fake_server, ServerFailuresThrowTheirOwnErrorsAfterOneAttempt) {
    script([](const dns_request&) { return dns_action::answer(ARES_RCODE_SERVFAIL); });
    EXPECT_THROW(query("www.example", "A"), errors::dns_servfail);
    // SERVFAIL is handed back, not retried.
    EXPECT_EQ(server_.request_count(), GetParam().transport == dns_transport::tcp ? 2u : 1u);

    script([](const dns_request&) { return dns_action::answer(ARES_RCODE_REFUSED); });
    EXPECT_THROW(query("www.example", "A"), errors::dns_refused);

    script([](const dns_request&) { return dns_action::answer(ARES_RCODE_FORMERR); });
    EXPECT_THROW(query("www.example", "A"), errors::dns_formerr);
    expect_answered_over_case_transport();
}

TEST_P(client_against_fake_server, SilenceTimesOutAfterAboutTheConfiguredTime) {
    server_.on_request([](const dns_request&) { return dns_action::silence(); });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(query("www.example", "A", 300), errors::dns_timeout);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, 200ms);
    EXPECT_LT(elapsed, 5s);
}

TEST_P(client_against_fake_server, EveryRecordTypeOfTheModelArrives) {
    script([](const dns_request& request) {
        return dns_action::answer()
            .a(request.name, "192.0.2.1")
            .aaaa(request.name, "2001:db8::1")
            .cname(request.name, "alias.example")
            .ns(request.name, "ns.example")
            .ptr(request.name, "ptr.example")
            .mx(request.name, 10, "")
            .txt(request.name, {"first ", "second"})
            .srv(request.name, 1, 2, 5060, "sip.example")
            .naptr(request.name, 100, 10, "u", "E2U+sip", "!^.*$!sip:a@example!", "_sip._udp.example")
            .soa(request.name, "ns.example", "admin.example", 7);
    });
    const auto result = query("all.example", "ANY");
    std::vector<std::string> values;
    for (const auto& record : result.answers) {
        values.push_back(record->value());
    }
    EXPECT_EQ(values, (std::vector<std::string>{"192.0.2.1", "2001:db8::1", "alias.example", "ns.example",
                                                "ptr.example", "10 .", "first second", "1 2 5060 sip.example",
                                                "100 10 \"u\" \"E2U+sip\" \"!^.*$!sip:a@example!\" _sip._udp.example",
                                                "ns.example admin.example 7 3600 600 86400 60"}));
}

TEST_P(client_against_fake_server, UnsupportedTypesAndOtherClassesAreLeftOut) {
    script([](const dns_request& request) {
        return dns_action::answer()
            .a(request.name, "192.0.2.1")
            .record(ARES_SECTION_ANSWER, request.name, ARES_REC_TYPE_HINFO, ARES_CLASS_IN, 60,
                    [](ares_dns_rr_t* rr) {
                        ares_dns_rr_set_str(rr, ARES_RR_HINFO_CPU, "x86");
                        ares_dns_rr_set_str(rr, ARES_RR_HINFO_OS, "linux");
                    })
            .record(ARES_SECTION_ADDITIONAL, "version.bind", ARES_REC_TYPE_TXT, ARES_CLASS_CHAOS, 0,
                    [](ares_dns_rr_t* rr) {
                        const std::string text = "9.18";
                        ares_dns_rr_add_abin(rr, ARES_RR_TXT_DATA, reinterpret_cast<const unsigned char*>(text.data()),
                                             text.size());
                    });
    });
    const auto result = query("mixed.example", "A");
    ASSERT_EQ(result.answers.size(), 1u);
    EXPECT_EQ(result.answers[0]->value(), "192.0.2.1");
    EXPECT_TRUE(result.additionals.empty());
}

const network_case network_cases[] = {
    {"IPv4_UDP", "127.0.0.1", dns_transport::udp},
    {"IPv4_TCP", "127.0.0.1", dns_transport::tcp},
    {"IPv6_UDP", "::1", dns_transport::udp},
    {"IPv6_TCP", "::1", dns_transport::tcp},
};
INSTANTIATE_TEST_SUITE_P(Loopback, client_against_fake_server, ::testing::ValuesIn(network_cases),
                         [](const auto& info) { return std::string(info.param.name); });

// Cases where the transport does not matter.
class client_configuration : public ::testing::Test {
protected:
    fake_dns_server server_;
    recording_log log_;
};

TEST_F(client_configuration, TypeNamesAreMatchedInAnyCaseAndUnknownOnesSendNothing) {
    server_.on_request(
        [](const dns_request& request) { return dns_action::answer().mx(request.name, 5, "mx.example"); });
    dns_client client("127.0.0.1", 0, server_.port(), 3000);
    const auto result = client.query("example", "mx", log_);
    ASSERT_EQ(server_.request_count(), 1u);
    EXPECT_EQ(server_.requests()[0].type, ARES_REC_TYPE_MX);
    ASSERT_EQ(result.answers.size(), 1u);
    EXPECT_EQ(result.answers[0]->value(), "5 mx.example");

    EXPECT_THAT([&] { client.query("example", "XYZ", log_); },
                ::testing::ThrowsMessage<errors::invalid_ns_type_name>(
                    ::testing::StrEq("Invalid NS type: Name XYZ not found in ns-type-map.")));
    EXPECT_EQ(server_.request_count(), 1u);
}

TEST_F(client_configuration, ZeroTimeoutGivesUpUnlessTheAnswerIsAlreadyThere) {
    server_.on_request(
        [](const dns_request& request) { return dns_action::answer().delay(500ms).a(request.name, "192.0.2.1"); });
    dns_client client("127.0.0.1", 0, server_.port(), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(client.query("example", "A", log_), errors::dns_timeout);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 500ms);
}

// Only the low 32 bits bound the wait; 0xFFFFFFFF reads as -1 there, which
// c-ares takes as "no limit", so a slow answer is still awaited.
TEST_F(client_configuration, TimeoutReadingAsNegativeWaitsWithoutLimit) {
    server_.on_request(
        [](const dns_request& request) { return dns_action::answer().delay(150ms).a(request.name, "192.0.2.1"); });
    dns_client client("127.0.0.1", 0, server_.port(), 0xFFFFFFFFLL);
    EXPECT_EQ(client.query("example", "A", log_).answers.size(), 1u);
}

// c-ares ends one try after 5 s unless its ceiling is raised too; a
// configured 7 s must not end at 5 s.
TEST_F(client_configuration, SilenceLastsTheWholeConfiguredTimeoutAboveFiveSeconds) {
    server_.on_request([](const dns_request&) { return dns_action::silence(); });
    dns_client client("127.0.0.1", 0, server_.port(), 7000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(client.query("example", "A", log_), errors::dns_timeout);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, 6300ms);
    EXPECT_LE(elapsed, 8700ms);
}

TEST_F(client_configuration, ResponseTimeCoversTheServersDelay) {
    server_.on_request(
        [](const dns_request& request) { return dns_action::answer().delay(120ms).a(request.name, "192.0.2.1"); });
    dns_client client("127.0.0.1", 0, server_.port(), 3000);
    const auto result = client.query("example", "A", log_);
    EXPECT_GE(result.response_time_ms, 120);
    EXPECT_LT(result.response_time_ms, 3000);
}

TEST_F(client_configuration, AnswerWithAnotherIdIsIgnored) {
    server_.on_request([](const dns_request& request) {
        return dns_action::answer().id(static_cast<unsigned short>(request.id + 1)).a(request.name, "192.0.2.1");
    });
    dns_client client("127.0.0.1", 0, server_.port(), 300);
    EXPECT_THROW(client.query("example", "A", log_), errors::dns_timeout);
}

TEST_F(client_configuration, HostNameServerIsResolvedAndFilteredByIpVersion) {
    server_.on_request([](const dns_request& request) { return dns_action::answer().a(request.name, "192.0.2.1"); });
    dns_client v4("localhost", 4, server_.port(), 3000);
    EXPECT_EQ(v4.query("example", "A", log_).answers.size(), 1u);
    const auto lines = log_.lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], std::make_pair(7, std::string("Trying to resolve DNS server localhost")));
    EXPECT_EQ(lines[1], std::make_pair(7, std::string("Using IPv4 address: 127.0.0.1")));

    recording_log v6_log;
    dns_client v6("localhost", 6, server_.port(), 3000);
    EXPECT_THROW(v6.query("example", "A", v6_log), errors::unsupported_address_family);
    EXPECT_EQ(v6_log.lines().back(), std::make_pair(3, std::string("No suitable addresses found.")));
    EXPECT_EQ(server_.request_count(), 1u);
}

// A server given by name is resolved by the system; a system resolver that
// never answers (glibc would wait 5 s per try, several tries) must not
// stretch the query beyond its own timeout.
TEST(SystemResolver, SilentResolverCannotStretchTheQueryBeyondItsTimeout) {
    constexpr const char* resolver_address = "127.0.84.53";
    if (!test_support::enter_private_resolver(resolver_address)) {
        return;
    }
    std::unique_ptr<fake_dns_server> resolver;
    try {
        resolver = std::make_unique<fake_dns_server>(fake_dns_server::options{resolver_address, 53});
    } catch (const std::system_error& e) {
        GTEST_SKIP() << "port 53 on " << resolver_address << " refused: " << e.what();
    }
    resolver->on_request([](const dns_request&) { return dns_action::silence(); });
    recording_log log;
    dns_client client("dns-server.unanswered.test", 0, 53, 1000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(client.query("example", "A", log), errors::resolve_failed);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_LE(elapsed, 2100ms) << "timeout plus 10 % plus 1 s";
    EXPECT_GE(resolver->request_count(), 1u) << "the name went to the private resolver";
}

TEST_F(client_configuration, ClientStaysUsableAfterAFailure) {
    int calls = 0;
    server_.on_request([&calls](const dns_request& request) {
        return ++calls == 1 ? dns_action::answer(ARES_RCODE_NXDOMAIN)
                            : dns_action::answer().a(request.name, "192.0.2.1");
    });
    const auto client = dns::get_dns_helper_factory()(dns::dns_helper_settings{"127.0.0.1", 0, server_.port(), 3000});
    EXPECT_THROW(client->query("example", "A", log_), errors::dns_notfound);
    const auto result = client->query("example", "A", log_);
    ASSERT_EQ(result.answers.size(), 1u);

    std::ostringstream rendered;
    rendered << result;
    EXPECT_NE(rendered.str().find(";; ->>HEADER<<- opcode: QUERY, status: NOERROR, id: " + std::to_string(result.id)),
              std::string::npos);
}

} // namespace
} // namespace vantrel::kelvane::cares
