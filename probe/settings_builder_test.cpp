#include "settings_builder.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <unistd.h>
#include <fstream>

namespace vantrel::kelvane::probe {
namespace {

const manifest_model& manifest() {
    static const manifest_model m{std::string(dns::manifest_json())};
    return m;
}

const kind_description& dns_v2() { return *manifest().find_kind("dns_v2"); }
const kind_description& reputation() { return *manifest().find_kind("ip_reputation_score_sensor"); }

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
    request.assignments = {"host"};
    EXPECT_EQ(error_of(dns_v2(), request), "\"host\" is not KEY=VALUE.");
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

    const auto message = temp_file(R"({"kind": "dns_v2", "settings": {"host": "h", "domain": "d"}, "channels": {"3": "Matched"}})");
    request.settings_file = message;
    request.assignments.clear();
    data = build_settings(dns_v2(), request);
    EXPECT_EQ(data.settings().at("host"), "h");
    EXPECT_EQ(data.channels().at(3), "Matched");

    const auto broken = temp_file(R"({"host": 5)");
    request.settings_file = broken;
    EXPECT_NE(error_of(dns_v2(), request).find("Could not create the settings message from"), std::string::npos);
    for (const auto& p : {flat, message, broken}) {
        std::remove(p.c_str());
    }
}

} // namespace
} // namespace vantrel::kelvane::probe
