#include "settings_builder.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace vantrel::kelvane::probe {
namespace {

const manifest_model& manifest() {
    static const manifest_model m{std::string(dns::manifest_json())};
    return m;
}

const kind_description& dns_v2() {
    return *manifest().find_kind("dns_v2");
}
const kind_description& reputation() {
    return *manifest().find_kind("ip_reputation_score_sensor");
}

std::string error_of(const kind_description& kind, const settings_request& request) {
    try {
        build_settings(kind, request);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

std::string temp_file(const std::string& content) {
    // Unique per process and call: ctest runs these tests in parallel processes.
    static int count = 0;
    const std::string path =
        ::testing::TempDir() + "probe_settings_" + std::to_string(::getpid()) + "_" + std::to_string(++count);
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

TEST(BuildSettings, DefaultsThenAssignmentsByFullCommonOrBareKey) {
    settings_request request;
    request.assignments = {"host=127.0.0.1", "domain=example.com", "dns_sensor_section.dns_sensor_group.port=5353",
                           "record_type=MX"};
    const auto data = build_settings(dns_v2(), request);
    const auto& s = data.settings();
    EXPECT_EQ(data.kind(), "dns_v2");
    EXPECT_EQ(s.at("host"), "127.0.0.1");
    EXPECT_EQ(s.at("dns_sensor_section.dns_sensor_group.domain"), "example.com");
    EXPECT_EQ(s.at("dns_sensor_section.dns_sensor_group.port"), "5353");
    EXPECT_EQ(s.at("dns_sensor_section.dns_sensor_group.record_type"), "MX");
    EXPECT_EQ(s.at("dns_sensor_section.dns_sensor_group.query_timeout"), "30") << "manifest default";
    EXPECT_EQ(s.at("logging"), "disabled");
    EXPECT_EQ(s.at("timeout"), "10");
    EXPECT_EQ(s.at("ipversion"), "IPv4");
    EXPECT_EQ(s.at("interval"), "60");
    EXPECT_EQ(s.at("vantrelcloudapikey"), "");
}

TEST(BuildSettings, UnknownKeyListsTheValidOnes) {
    settings_request request;
    request.assignments = {"host=h", "domain=d", "recordtype=A"};
    const auto error = error_of(dns_v2(), request);
    EXPECT_NE(error.find("\"recordtype\" is not a setting of dns_v2. Valid keys:"), std::string::npos) << error;
    EXPECT_NE(error.find("\n  dns_sensor_section.dns_sensor_group.record_type"), std::string::npos) << error;
    EXPECT_NE(error.find("\n  host"), std::string::npos) << error;
    request.assignments = {"host=h", "domain"};
    EXPECT_EQ(error_of(dns_v2(), request),
              "--set number 2 is not KEY=VALUE (its text is not shown, it may hold a secret).");
}

TEST(BuildSettings, RequiredSettingsAreNamedOnlyWhenTheirConditionHolds) {
    settings_request request;
    request.assignments = {"domain=example.com"};
    EXPECT_NE(error_of(dns_v2(), request).find("needs a value for host"), std::string::npos);
    request.assignments = {"host=h"};
    EXPECT_NE(error_of(dns_v2(), request).find("dns_sensor_section.dns_sensor_group.domain"), std::string::npos);

    // The custom resolver is required only with the custom resolver selected.
    request.assignments = {"host=192.0.2.10"};
    EXPECT_EQ(error_of(reputation(), request), "no error");
    request.assignments = {"host=192.0.2.10", "dns_resolver=custom"};
    EXPECT_NE(error_of(reputation(), request).find("custom_resolver"), std::string::npos);
}

TEST(BuildSettings, MultiLineValuesFromEscapesOrAFile) {
    EXPECT_EQ(unescape("a\\nb\\r\\nc\\td\\\\n\\x"), "a\nb\r\nc\td\\n\\x");
    settings_request request;
    request.assignments = {"host=192.0.2.10", "blacklist_servers=z1\\nz2=127.0.0.2*3"};
    EXPECT_EQ(build_settings(reputation(), request)
                  .settings()
                  .at("ip_reputation_score_section.ip_reputation_score_group.blacklist_servers"),
              "z1\nz2=127.0.0.2*3");
    const auto path = temp_file("a.example\r\nb.example\r\n");
    request.assignments = {"host=192.0.2.10"};
    request.file_assignments = {"blacklist_servers=" + path};
    EXPECT_EQ(build_settings(reputation(), request)
                  .settings()
                  .at("ip_reputation_score_section.ip_reputation_score_group.blacklist_servers"),
              "a.example\r\nb.example\r\n");
    std::remove(path.c_str());
}

TEST(BuildSettings, SettingsFileAsFlatObjectOrSettingsMessage) {
    const auto flat = temp_file(R"({"host": "10.0.0.1", "domain": "flat.example"})");
    settings_request request;
    request.settings_file = flat;
    request.assignments = {"domain=override.example"};
    auto data = build_settings(dns_v2(), request);
    EXPECT_EQ(data.settings().at("host"), "10.0.0.1");
    EXPECT_EQ(data.settings().at("dns_sensor_section.dns_sensor_group.domain"), "override.example");

    const auto message =
        temp_file(R"({"kind": "dns_v2", "settings": {"host": "h", "domain": "d"}, "channels": {"3": "Matched"}})");
    request.settings_file = message;
    request.assignments.clear();
    data = build_settings(dns_v2(), request);
    EXPECT_EQ(data.settings().at("host"), "h");
    EXPECT_EQ(data.channels().at(3), "Matched");

    for (const auto& p : {flat, message}) {
        std::remove(p.c_str());
    }
}

struct file_case {
    const char* name;
    std::string content;
    std::string error; // after "The settings file PATH " or "In the settings file PATH, "
};

void PrintTo(const file_case& c, std::ostream* out) {
    *out << c.name;
}

class BrokenSettingsFile : public ::testing::TestWithParam<file_case> {};

// The file may hold a secret: an error names a place, a key or a JSON type, never a value.
TEST_P(BrokenSettingsFile, IsRefusedWithoutQuotingIt) {
    const auto path = temp_file(GetParam().content);
    settings_request request;
    request.settings_file = path;
    const auto error = error_of(dns_v2(), request);
    std::remove(path.c_str());
    EXPECT_NE(error.find(path), std::string::npos) << error;
    EXPECT_NE(error.find(GetParam().error), std::string::npos) << error;
    EXPECT_EQ(error.find("SECRET"), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Files, BrokenSettingsFile,
    ::testing::Values(file_case{"syntax_error", "{\"host\": \"h\",\n \"vantrelcloudapikey\": \"SECRET\" \"domain\": 1}",
                                " is not valid JSON (error at line 2, column 40)."},
                      file_case{"number_value", R"({"vantrelcloudapikey": 12345678901SECRET})", " is not valid JSON"},
                      file_case{"unquoted_number", R"({"host": "h", "port": 5353})",
                                ", the value of \"port\" is a JSON number; settings are JSON strings."},
                      file_case{"not_an_object", R"(["SECRET"])", " holds a JSON array, not an object."},
                      file_case{"unknown_message_member", R"({"settings": {"host": "h"}, "extra": "SECRET"})",
                                " has a member \"extra\" that a settings message does not have."}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(BuildSettings, EveryValueIsCheckedEvenWhereItsConditionHidesIt) {
    settings_request request;
    request.assignments = {"host=192.0.2.10", "custom_resolver_port=0"};
    EXPECT_EQ(error_of(reputation(), request),
              "The setting \"ip_reputation_score_section.ip_reputation_score_group.custom_resolver_port\" must be a "
              "whole number from 1 to 65535; \"0\" is not.");
}

TEST(BuildSettings, SecureValuesAreHandedToTheFilterAsTheyAreRead) {
    const auto file = temp_file(R"({"vantrelcloudapikey": "FROM-FILE"})");
    const auto key_file = temp_file("FROM-SET-FILE");
    settings_request request;
    request.settings_file = file;
    request.assignments = {"host=h", "domain=d", "vantrelcloudapikey=FROM-SET"};
    secret_filter secrets;
    build_settings(dns_v2(), request, &secrets);
    request.assignments.pop_back();
    request.file_assignments = {"vantrelcloudapikey=" + key_file};
    build_settings(dns_v2(), request, &secrets);
    EXPECT_EQ(secrets.redact("FROM-FILE FROM-SET FROM-SET-FILE d h"), "******** ******** ******** d h");
    std::remove(file.c_str());
    std::remove(key_file.c_str());
}

} // namespace
} // namespace vantrel::kelvane::probe
