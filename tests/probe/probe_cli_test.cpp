// wexo-probe end to end: what reaches stdout and stderr when a secret, a
// hostile DNS answer or a wrong setting meets the probe.

#include <cli.hpp>

#include <test_support/fake_dns_server.hpp>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace vantrel::kelvane::probe {
namespace {

using test_support::dns_action;
using test_support::dns_request;
using test_support::fake_dns_server;

struct run_result {
    int code = 0;
    std::string out;
    std::string err;
};

run_result run(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = run_cli(arguments, out, err);
    return {code, out.str(), err.str()};
}

class temp_file {
public:
    explicit temp_file(const std::string& content) {
        static int count = 0;
        path_ = ::testing::TempDir() + "probe_cli_" + std::to_string(::getpid()) + "_" + std::to_string(++count);
        std::ofstream(path_, std::ios::binary) << content;
    }
    ~temp_file() { std::remove(path_.c_str()); }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

constexpr const char* secret = "Sup3rS3cretApiKey";

// --- secrets -----------------------------------------------------------------

struct secret_case {
    const char* name;
    std::function<std::vector<std::string>(const std::string& file)> arguments;
    std::string file_content; // for --settings
    std::string expected_error;
};

void PrintTo(const secret_case& c, std::ostream* out) {
    *out << c.name;
}

class SecretNeverShown : public ::testing::TestWithParam<secret_case> {};

TEST_P(SecretNeverShown, OnAnyPath) {
    const temp_file file(GetParam().file_content);
    const auto r = run(GetParam().arguments(file.path()));
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(r.out.find(secret), std::string::npos) << r.out;
    EXPECT_EQ(r.err.find(secret), std::string::npos) << r.err;
    EXPECT_EQ((r.out + r.err).find("1234567890"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(GetParam().expected_error), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(
    Paths, SecretNeverShown,
    ::testing::Values(
        secret_case{"settings_file_syntax_error",
                    [](const std::string& f) {
                        return std::vector<std::string>{"scan", "dns_v2", "--settings", f};
                    },
                    std::string("{\"host\": \"h\", \"vantrelcloudapikey\": \"") + secret + "\" \"domain\": \"d\"}",
                    "is not valid JSON (error at line 1"},
        secret_case{"settings_file_unquoted_number",
                    [](const std::string& f) {
                        return std::vector<std::string>{"scan", "dns_v2", "--settings", f};
                    },
                    "{\"vantrelcloudapikey\": 12345678901234567890, \"host\": \"h\"}",
                    "the value of \"vantrelcloudapikey\" is a JSON number"},
        secret_case{"settings_file_number_value",
                    [](const std::string& f) {
                        return std::vector<std::string>{"scan", "dns_v2", "--settings", f};
                    },
                    std::string("{\"host\": \"h\", \"vantrelcloudapikey\": [\"") + secret + "\"]}",
                    "the value of \"vantrelcloudapikey\" is a JSON array"},
        secret_case{"set_without_equals",
                    [](const std::string&) {
                        return std::vector<std::string>{
                            "scan", "dns_v2", "--set", "host=h", "--set", std::string("vantrelcloudapikey:") + secret};
                    },
                    "", "--set number 2 is not KEY=VALUE"},
        secret_case{"misspelt_option",
                    [](const std::string&) {
                        return std::vector<std::string>{"scan", "dns_v2", "--sett",
                                                        std::string("vantrelcloudapikey=") + secret};
                    },
                    "", "not expected"},
        secret_case{"with_another_error",
                    [](const std::string&) {
                        return std::vector<std::string>{"scan",  "dns_v2",
                                                        "--set", "host=h",
                                                        "--set", "domain=d",
                                                        "--set", std::string("vantrelcloudapikey=") + secret,
                                                        "--set", std::string("record_type=") + secret};
                    },
                    "", "must be one of \"A\""}),
    [](const auto& info) { return std::string(info.param.name); });

// --- a scan against a server whose answer is hostile ----------------------------

class ProbeScan : public ::testing::Test {
protected:
    std::vector<std::string> scan(std::vector<std::string> extra) {
        std::vector<std::string> a{
            "scan",  "dns_v2",          "--set", "host=127.0.0.1",     "--set", "port=" + std::to_string(server.port()),
            "--set", "query_timeout=5", "--set", "domain=forged.test", "--set", "record_type=TXT"};
        a.insert(a.end(), extra.begin(), extra.end());
        return a;
    }

    fake_dns_server server;
};

const std::string forged = std::string("x | fake=1;;;\nDNS OK - all good\x1b]0;owned\x07\x1b[2J\r") +
                           std::string(1, '\0') +
                           "\xc2\x9b"
                           "1m\x7f end";

bool has_raw_control(const std::string& text, bool line_breaks_allowed) {
    return std::any_of(text.begin(), text.end(), [&](char c) {
        const auto b = static_cast<unsigned char>(c);
        return (b < 0x20 && !(line_breaks_allowed && b == '\n')) || b == 0x7f;
    });
}

TEST_F(ProbeScan, AForgedTxtRecordStaysInert) {
    server.on_request([](const dns_request& r) { return dns_action::answer().txt(r.name, {forged}); });
    const std::string api_key = std::string("vantrelcloudapikey=") + secret;

    const auto text = run(scan({"--set", api_key, "--verbose"}));
    EXPECT_EQ(text.code, 0) << text.err;
    EXPECT_FALSE(has_raw_control(text.out, true)) << text.out;
    EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '\n'), 4) << "status line and three channels:\n" << text.out;
    EXPECT_NE(text.out.find("all good\\027]0;owned\\007\\027[2J"), std::string::npos) << text.out;
    // The sensor log keeps the line breaks of the dig-style answer; the module
    // escapes those inside a record's text, so no log line reads as a status.
    EXPECT_FALSE(has_raw_control(text.err, true)) << text.err;
    EXPECT_NE(text.err.find("ANSWER SECTION"), std::string::npos) << text.err;
    EXPECT_EQ(text.err.find("\nDNS OK"), std::string::npos) << text.err;
    EXPECT_EQ((text.out + text.err).find(secret), std::string::npos);

    const auto nagios = run(scan({"--format", "nagios"}));
    EXPECT_EQ(nagios.code, 0) << nagios.err;
    EXPECT_FALSE(has_raw_control(nagios.out.substr(0, nagios.out.size() - 1), false)) << nagios.out;
    EXPECT_TRUE(nagios.out.ends_with('\n'));
    EXPECT_EQ(std::count(nagios.out.begin(), nagios.out.end(), '|'), 1) << nagios.out;
    EXPECT_TRUE(nagios.out.starts_with("DNS OK - OK: TXT=x \\124 fake=1;;;\\010DNS OK - all good")) << nagios.out;
    EXPECT_EQ(nagios.out.find("fake=1;;; "), std::string::npos) << "no forged performance data: " << nagios.out;

    const auto json = run(scan({"--format", "json"}));
    EXPECT_EQ(json.code, 0) << json.err;
    EXPECT_EQ(std::count_if(json.out.begin(), json.out.end(),
                            [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\n'; }),
              0)
        << json.out;
    const auto doc = nlohmann::json::parse(json.out, nullptr, false);
    ASSERT_FALSE(doc.is_discarded()) << json.out;
    EXPECT_NE(doc["message"].get<std::string>().find("all good"), std::string::npos);
}

// --- values the manifest does not allow ----------------------------------------

struct refusal_case {
    const char* name;
    std::vector<std::string> arguments;
    std::string error;
};

void PrintTo(const refusal_case& c, std::ostream* out) {
    *out << c.name;
}

class ProbeRefuses : public ::testing::TestWithParam<refusal_case> {};

TEST_P(ProbeRefuses, WithAReadableReason) {
    std::vector<std::string> arguments{"scan", "dns_v2", "--set", "host=127.0.0.1", "--set", "domain=d"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    const auto r = run(arguments);
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find(GetParam().error), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Bad optional access"), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(
    Settings, ProbeRefuses,
    ::testing::Values(
        refusal_case{"port_not_a_number",
                     {"--set", "port=abc"},
                     "The setting \"dns_sensor_section.dns_sensor_group.port\" must be a whole number from 1 to "
                     "65535; \"abc\" is not."},
        refusal_case{"timeout_fraction",
                     {"--set", "timeout=1.5"},
                     "The setting \"timeout\" must be a whole number of at least 0; \"1.5\" is not."},
        refusal_case{"query_timeout_above",
                     {"--set", "query_timeout=901"},
                     "\"dns_sensor_section.dns_sensor_group.query_timeout\" must be a whole number from 0 to 900"},
        refusal_case{"selection_unknown",
                     {"--set", "apply_filter=yes"},
                     "must be one of \"disabled\", \"enabled\", \"enabled_match_exact\"; \"yes\" is not."},
        refusal_case{"long_hostile_value",
                     {"--set", "interval=" + std::string(500, '9') + "\x1b[2J"},
                     "\"interval\" must be a whole number of at least 1; \"" + std::string(80, '9') + "\"... is not."},
        refusal_case{
            "count_zero", {"--count", "0"}, "the number of scans must be a whole number of at least 1, not \"0\""}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace vantrel::kelvane::probe
