// The c-ares client against a real BIND 9 server started on loopback for this
// test suite, with a zone holding every record type the model represents.

#include <dns/cares/dns_client.hpp>
#include <dns/exceptions.hpp>
#include <dns/render_response.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace vantrel::kelvane::cares {
namespace {

namespace fs = std::filesystem;
namespace errors = dns::exceptions;
using namespace std::chrono_literals;

constexpr const char* named_path = "/usr/sbin/named";

// A port that is free for UDP and TCP on 127.0.0.1 at the time of asking.
std::uint16_t free_port() {
    for (int attempt = 0; attempt < 50; ++attempt) {
        const int udp = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(udp, reinterpret_cast<sockaddr*>(&address), length);
        ::getsockname(udp, reinterpret_cast<sockaddr*>(&address), &length);
        const int tcp = ::socket(AF_INET, SOCK_STREAM, 0);
        const bool tcp_free = ::bind(tcp, reinterpret_cast<sockaddr*>(&address), length) == 0;
        ::close(tcp);
        ::close(udp);
        if (tcp_free) {
            return ntohs(address.sin_port);
        }
    }
    return 0;
}

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
        directory_ = fs::temp_directory_path() / ("wexo-named-" + std::to_string(::getpid()));
        fs::create_directories(directory_);
        port_ = free_port();
        const std::string dir = directory_.string();
        std::ofstream(directory_ / "wexo.test.zone") << zone_text();
        std::ofstream(directory_ / "reverse.zone")
            << "$TTL 300\n@ IN SOA ns1.wexo.test. hostmaster.wexo.test. 1 7200 900 1209600 60\n"
               "  IN NS ns1.wexo.test.\n10 IN PTR www.wexo.test.\n";
        std::ofstream(directory_ / "named.conf")
            << "options {\n  directory \"" << dir << "\";\n  listen-on port " << port_
            << " { 127.0.0.1; };\n  listen-on-v6 { none; };\n  pid-file none;\n  session-keyfile \"" << dir
            << "/session.key\";\n  managed-keys-directory \"" << dir
            << "\";\n  recursion no;\n  dnssec-validation no;\n  allow-query { any; };\n};\ncontrols { };\n"
               "zone \"wexo.test\" { type primary; file \""
            << dir << "/wexo.test.zone\"; };\nzone \"2.0.192.in-addr.arpa\" { type primary; file \"" << dir
            << "/reverse.zone\"; };\n";

        // Foreground, log to stderr (kept in a file for a failing start), one
        // worker thread, IPv4 only. Running as root is fine for named in the
        // foreground; it only needs -u to drop privileges, which we do not ask for.
        const std::string config = (directory_ / "named.conf").string();
        const std::string log = (directory_ / "named.log").string();
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
        const char* argv[] = {named_path, "-g", "-4", "-n", "1", "-c", config.c_str(), nullptr};
        const int spawned = posix_spawn(&pid_, named_path, &files, nullptr, const_cast<char* const*>(argv), environ);
        posix_spawn_file_actions_destroy(&files);
        if (spawned != 0) {
            pid_ = 0;
            start_error_ = "posix_spawn failed: " + std::to_string(spawned);
            return;
        }

        // Ready once it answers the zone's SOA.
        liblog::null_logger quiet;
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = 0;
                start_error_ = "named exited during start-up:\n" + read_log();
                return;
            }
            try {
                dns_client probe("127.0.0.1", 4, port_, 200);
                if (!probe.query("wexo.test", "SOA", quiet).answers.empty()) {
                    return;
                }
            } catch (const std::exception&) {
            }
            std::this_thread::sleep_for(50ms);
        }
        start_error_ = "named did not answer within 20 s:\n" + read_log();
    }

    static void TearDownTestSuite() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            int status = 0;
            for (int wait = 0; wait < 100 && ::waitpid(pid_, &status, WNOHANG) == 0; ++wait) {
                std::this_thread::sleep_for(50ms);
            }
            if (::waitpid(pid_, &status, WNOHANG) == 0) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, &status, 0);
            }
            pid_ = 0;
        }
        if (!directory_.empty()) {
            std::error_code ignored;
            fs::remove_all(directory_, ignored);
        }
    }

    void SetUp() override {
        if (::access(named_path, X_OK) != 0) {
            GTEST_SKIP() << "BIND 9 named is not installed at " << named_path;
        }
        ASSERT_TRUE(start_error_.empty()) << start_error_;
    }

    static std::string read_log() {
        std::ifstream in(directory_ / "named.log");
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
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

    static inline fs::path directory_;
    static inline std::uint16_t port_ = 0;
    static inline pid_t pid_ = 0;
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
