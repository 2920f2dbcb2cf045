// The c-ares client against a real BIND 9 server started on loopback for this
// test suite, with a zone holding every record type the model represents.

#include <dns/cares/dns_client.hpp>
#include <dns/exceptions.hpp>
#include <dns/render_response.hpp>

#include <test_support/server_process.hpp>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>

namespace vantrel::kelvane::cares {
namespace {

namespace errors = dns::exceptions;
using namespace std::chrono_literals;

constexpr const char* named_path = "/usr/sbin/named";

std::string zone_text() {
    std::string big_txt;
    // Eight 200-byte TXT records do not fit a 512-byte UDP answer: the server
    // truncates and the client has to ask again over TCP.
    for (char fill = 'a'; fill < 'a' + 8; ++fill) {
        big_txt += "big IN TXT \"" + std::string(200, fill) + "\"\n";
    }
    return "$TTL 300\n"
           "@     IN SOA   ns1.wexo.test. hostmaster.wexo.test. 2024010101 7200 900 1209600 60\n"
           "      IN NS    ns1.wexo.test.\n"
           "      IN MX    10 mail.wexo.test.\n"
           "      IN MX    0 .\n"
           "      IN TXT   \"v=spf1 \" \"-all\"\n"
           "      IN NAPTR 100 10 \"u\" \"E2U+sip\" \"!^.*$!sip:info@wexo.test!\" .\n"
           "ns1   IN A     127.0.0.1\n"
           "www   IN A     192.0.2.10\n"
           "www   IN A     192.0.2.11\n"
           "www   IN A     192.0.2.12\n"
           "www   IN AAAA  2001:db8::10\n"
           "alias IN CNAME www.wexo.test.\n"
           "ptr   IN PTR   www.wexo.test.\n"
           "_sip._udp IN SRV 10 60 5060 sip.wexo.test.\n" +
           big_txt;
}

class named_server : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (::access(named_path, X_OK) != 0) {
            return;
        }
        server_ = std::make_unique<test_support::server_process>("named");
        port_ = test_support::free_loopback_port();
        const auto& directory = server_->directory();
        const std::string dir = directory.string();
        std::ofstream(directory / "wexo.test.zone") << zone_text();
        std::ofstream(directory / "reverse.zone")
            << "$TTL 300\n@ IN SOA ns1.wexo.test. hostmaster.wexo.test. 1 7200 900 1209600 60\n"
               "  IN NS ns1.wexo.test.\n10 IN PTR www.wexo.test.\n";
        std::ofstream(directory / "named.conf")
            << "options {\n  directory \"" << dir << "\";\n  listen-on port " << port_
            << " { 127.0.0.1; };\n  listen-on-v6 { none; };\n  pid-file none;\n  session-keyfile \"" << dir
            << "/session.key\";\n  managed-keys-directory \"" << dir
            << "\";\n  recursion no;\n  dnssec-validation no;\n  allow-query { any; };\n};\ncontrols { };\n"
               "zone \"wexo.test\" { type primary; file \""
            << dir << "/wexo.test.zone\"; };\nzone \"2.0.192.in-addr.arpa\" { type primary; file \"" << dir
            << "/reverse.zone\"; };\n";

        // Foreground, logging to stderr, one worker thread, IPv4 only. Ready
        // once it answers the zone's SOA.
        start_error_ = server_->start(
            named_path, {"-g", "-4", "-n", "1", "-c", dir + "/named.conf"},
            [] {
                liblog::null_logger quiet;
                try {
                    dns_client probe("127.0.0.1", 4, port_, 200);
                    return !probe.query("wexo.test", "SOA", quiet).answers.empty();
                } catch (const std::exception&) {
                    return false;
                }
            },
            20s);
    }

    static void TearDownTestSuite() { server_.reset(); }

    void SetUp() override {
        if (::access(named_path, X_OK) != 0) {
            GTEST_SKIP() << "BIND 9 named is not installed at " << named_path;
        }
        ASSERT_TRUE(start_error_.empty()) << start_error_;
    }

    dns::dns_query_result query(const std::string& name, const std::string& type) {
        dns_client client("127.0.0.1", 4, port_, 3000);
        return client.query(name, type, log_);
    }

    static std::vector<std::string> values(const std::vector<std::shared_ptr<dns::dns_result_record>>& records) {
        std::vector<std::string> texts;
        for (const auto& record : records) {
            texts.push_back(record->value());
        }
        std::sort(texts.begin(), texts.end());
        return texts;
    }

    static inline std::unique_ptr<test_support::server_process> server_;
    static inline std::uint16_t port_ = 0;
    static inline std::string start_error_;
    liblog::null_logger log_;
};

TEST_F(named_server, AddressRecordsOfAnAuthoritativeAnswer) {
    const auto result = query("www.wexo.test", "a");
    EXPECT_EQ(values(result.answers), (std::vector<std::string>{"192.0.2.10", "192.0.2.11", "192.0.2.12"}));
    EXPECT_TRUE(result.aa);
    EXPECT_EQ(result.rcode, 0u);
    ASSERT_EQ(result.questions.size(), 1u);
    EXPECT_EQ(result.questions[0].name, "www.wexo.test");
    EXPECT_EQ(values(query("www.wexo.test", "AAAA").answers), std::vector<std::string>{"2001:db8::10"});
}

TEST_F(named_server, EveryOtherSupportedTypeHasItsValueText) {
    EXPECT_EQ(values(query("wexo.test", "MX").answers), (std::vector<std::string>{"0 .", "10 mail.wexo.test"}));
    EXPECT_EQ(values(query("wexo.test", "NS").answers), std::vector<std::string>{"ns1.wexo.test"});
    EXPECT_EQ(values(query("wexo.test", "SOA").answers),
              std::vector<std::string>{"ns1.wexo.test hostmaster.wexo.test 2024010101 7200 900 1209600 60"});
    EXPECT_EQ(values(query("wexo.test", "TXT").answers), std::vector<std::string>{"v=spf1 -all"});
    // The root replacement comes back from c-ares as an empty name.
    EXPECT_EQ(values(query("wexo.test", "NAPTR").answers),
              std::vector<std::string>{"100 10 \"u\" \"E2U+sip\" \"!^.*$!sip:info@wexo.test!\" "});
    EXPECT_EQ(values(query("_sip._udp.wexo.test", "SRV").answers),
              std::vector<std::string>{"10 60 5060 sip.wexo.test"});
    EXPECT_EQ(values(query("ptr.wexo.test", "PTR").answers), std::vector<std::string>{"www.wexo.test"});
    EXPECT_EQ(values(query(dns_client::reverse_lookup_name("192.0.2.10"), "PTR").answers),
              std::vector<std::string>{"www.wexo.test"});

    const auto alias = query("alias.wexo.test", "CNAME");
    EXPECT_EQ(values(alias.answers), std::vector<std::string>{"www.wexo.test"});
}

TEST_F(named_server, MissingNamesAndTypes) {
    EXPECT_THROW(query("nowhere.wexo.test", "A"), errors::dns_notfound);
    const auto nodata = query("ns1.wexo.test", "AAAA");
    EXPECT_TRUE(nodata.answers.empty());
    EXPECT_TRUE(nodata.aa);
    EXPECT_EQ(values(nodata.authorities),
              std::vector<std::string>{"ns1.wexo.test hostmaster.wexo.test 2024010101 7200 900 1209600 60"});
    // Not served here, and recursion is off.
    EXPECT_THROW(query("example.org", "A"), errors::dns_refused);
}

TEST_F(named_server, LargeAnswerArrivesOverTcp) {
    const auto result = query("big.wexo.test", "TXT");
    ASSERT_EQ(result.answers.size(), 8u);
    EXPECT_FALSE(result.tc);
    EXPECT_EQ(values(result.answers).front(), std::string(200, 'a'));
}

TEST_F(named_server, RenderedAnswerReadsLikeALookupTool) {
    const auto result = query("alias.wexo.test", "A");
    std::ostringstream text;
    text << result;
    EXPECT_NE(text.str().find(";; ->>HEADER<<- opcode: QUERY, status: NOERROR, id: " + std::to_string(result.id) +
                              "\n;; flags: qr aa rd ; QUERY: 1, ANSWER: 4, AUTHORITY: "),
              std::string::npos)
        << text.str();
    EXPECT_NE(text.str().find("alias.wexo.test      300    IN  CNAME www.wexo.test\n"), std::string::npos)
        << text.str();
}

} // namespace
} // namespace vantrel::kelvane::cares
