#include "service_config.hpp"

#include <dns/manifest.hpp>

#include <gtest/gtest.h>

namespace vantrel::kelvane::probe::service {
namespace {

const manifest_model& manifest() {
    static const manifest_model m{std::string(dns::manifest_json())};
    return m;
}

service_config parse(const std::string& text) {
    return parse_config(text, "probe.yaml", manifest());
}

constexpr const char* dns_key = "dns_sensor_section.dns_sensor_group.";

TEST(ServiceConfig, ReadsSensorsPresetsListenAndWorkers) {
    const auto config = parse(R"(listen: 127.0.0.5:9400
workers: 8
sensors:
  - name: www-a
    kind: dns_v2
    labels: {team: dns}
    settings:
      host: 127.0.0.1
      domain: www.example.org
      dns_sensor_section.dns_sensor_group.record_type: MX
      interval: 30
  - name: rep
    kind: ip_reputation_score_sensor
    interval: 120
    settings:
      host: 192.0.2.25
      blacklist_servers: |
        bl.example.org
        scored.example.net=127.0.0.[2..11]*2
    limits:
      servers_reached: {lower_error: 50, lower_warning: 100}
modules:
  dns_a:
    kind: dns_v2
    settings: {record_type: A, query_timeout: 5}
)");
    EXPECT_EQ(config.listen_address, "127.0.0.5");
    EXPECT_EQ(config.listen_port, 9400);
    EXPECT_EQ(config.workers, 8u);
    ASSERT_EQ(config.sensors.size(), 2u);
    const auto& www = config.sensors[0];
    EXPECT_EQ(www.kind, "dns_v2");
    EXPECT_EQ(www.line, 4);
    EXPECT_EQ(www.interval, std::chrono::seconds(30)) << "the interval setting counts when the file gives none";
    EXPECT_EQ(www.settings.settings().at(std::string(dns_key) + "record_type"), "MX");
    EXPECT_EQ(www.settings.settings().at(std::string(dns_key) + "port"), "53") << "defaults are filled in";
    EXPECT_EQ(www.labels.at("team"), "dns");
    const auto& rep = config.sensors[1];
    EXPECT_EQ(rep.interval, std::chrono::seconds(120));
    EXPECT_EQ(rep.settings.settings().at("ip_reputation_score_section.ip_reputation_score_group.blacklist_servers"),
              "bl.example.org\nscored.example.net=127.0.0.[2..11]*2\n");
    EXPECT_EQ(rep.limits.at("servers_reached").lower_error, 50.0);
    EXPECT_EQ(rep.limits.at("servers_reached").lower_warning, 100.0);
    ASSERT_EQ(config.modules.count("dns_a"), 1u);
    EXPECT_EQ(config.modules.at("dns_a").settings.settings().at(std::string(dns_key) + "query_timeout"), "5");
}

TEST(ServiceConfig, DefaultsForAnEmptyFile) {
    const auto config = parse("");
    EXPECT_EQ(config.listen_address, "127.0.0.1");
    EXPECT_EQ(config.listen_port, 9353);
    EXPECT_EQ(config.workers, 64u);
    EXPECT_TRUE(config.sensors.empty());
}

TEST(ServiceConfig, BackslashesInValuesAreLiteral) {
    const auto config = parse(R"(sensors:
  - {name: a, kind: dns_v2, settings: {host: h, domain: 'x\ny', apply_filter: enabled, filter: 'a\tb'}})");
    EXPECT_EQ(config.sensors[0].settings.settings().at(std::string(dns_key) + "domain"), "x\\ny");
}

TEST(ServiceConfig, SameInstanceComparesKindAndSettingsOnly) {
    const auto a = parse("sensors: [{name: a, kind: dns_v2, interval: 5, settings: {host: h, domain: d}}]");
    const auto b =
        parse("sensors: [{name: a, kind: dns_v2, interval: 9, labels: {x: y}, settings: {host: h, domain: d}}]");
    const auto c = parse("sensors: [{name: a, kind: dns_v2, settings: {host: h, domain: e}}]");
    EXPECT_TRUE(a.sensors[0].same_instance(b.sensors[0]));
    EXPECT_FALSE(a.sensors[0].same_instance(c.sensors[0]));
}

struct bad_file {
    const char* name;
    const char* text;
    const char* place;   // "LINE:COLUMN"
    const char* message; // part of the reason
};

void PrintTo(const bad_file& c, std::ostream* out) {
    *out << c.name;
}

class ServiceConfigError : public testing::TestWithParam<bad_file> {};

TEST_P(ServiceConfigError, NamesThePlaceAndTheReason) {
    const auto& c = GetParam();
    try {
        parse(c.text);
        FAIL() << "accepted";
    } catch (const config_error& e) {
        const std::string what = e.what();
        EXPECT_EQ(what.rfind(std::string("probe.yaml:") + c.place + ": ", 0), 0u) << what;
        EXPECT_NE(what.find(c.message), std::string::npos) << what;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ServiceConfigError,
    testing::Values(
        bad_file{"UnknownTopLevelKey", "listen: 127.0.0.1:1\nsensor: []\n", "2:1",
                 "unknown key \"sensor\" in the configuration; allowed: listen, workers, sensors, modules"},
        bad_file{"UnknownSensorKey", "sensors:\n  - name: a\n    kind: dns_v2\n    intervall: 5\n", "4:5",
                 "unknown key \"intervall\" in a sensor"},
        bad_file{"UnknownKind", "sensors:\n  - name: a\n    kind: dns_v3\n", "3:11",
                 "unknown sensor kind \"dns_v3\"; known: dns_v2, ip_reputation_score_sensor"},
        bad_file{"CheckIsNoSensorKind", "sensors:\n  - {name: a, kind: dns_check}\n", "2:21",
                 "unknown sensor kind \"dns_check\""},
        bad_file{"UnknownSetting", "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domian: d}\n",
                 "4:25", "\"domian\" is not a setting of dns_v2. Valid keys:"},
        bad_file{"SettingTwiceUnderTwoKeys",
                 "sensors:\n  - name: a\n    kind: dns_v2\n    settings:\n      host: h\n      domain: d\n"
                 "      dns_sensor_section.dns_sensor_group.domain: e\n",
                 "7:7", "names dns_sensor_section.dns_sensor_group.domain, which is already set"},
        bad_file{"IntegerAboveItsLimit",
                 "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d, port: 70000}\n", "4:42",
                 "The setting \"dns_sensor_section.dns_sensor_group.port\" must be a whole number from 1 to 65535; "
                 "\"70000\" is not."},
        bad_file{"NotAWholeNumber",
                 "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d, query_timeout: 1.5}\n",
                 "4:51", "\"dns_sensor_section.dns_sensor_group.query_timeout\" must be a whole number from 0 to 900"},
        bad_file{"SelectionOutsideItsOptions",
                 "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d, record_type: AXFR}\n",
                 "4:49",
                 "must be one of \"A\", \"AAAA\", \"CNAME\", \"MX\", \"NAPTR\", \"NS\", \"PTR\", \"SOA\", \"TXT\", "
                 "\"ANY\"; \"AXFR\" is not."},
        bad_file{"RequiredSettingMissing", "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h}\n", "2:5",
                 "dns_v2 needs a value for dns_sensor_section.dns_sensor_group.domain"},
        bad_file{"DuplicateName",
                 "sensors:\n  - {name: a, kind: dns_v2, settings: {host: h, domain: d}}\n"
                 "  - {name: a, kind: dns_v2, settings: {host: h, domain: e}}\n",
                 "3:12", "the name \"a\" is already used on line 2"},
        bad_file{"NameWithSpaces", "sensors:\n  - {name: 'a b', kind: dns_v2}\n", "2:12",
                 "may hold only letters, digits"},
        bad_file{"IntervalZero", "sensors:\n  - {name: a, kind: dns_v2, interval: 0, settings: {host: h, domain: d}}\n",
                 "2:39", "interval must be a whole number from 1 to 604800, not \"0\""},
        bad_file{"ReservedLabel",
                 "sensors:\n  - {name: a, kind: dns_v2, labels: {host: x}, settings: {host: h, domain: d}}\n", "2:38",
                 "the label \"host\" is set by the service itself"},
        bad_file{"UnknownChannelInLimits",
                 "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d}\n"
                 "    limits: {responsetime: {upper_error: 1}}\n",
                 "5:14", "\"responsetime\" is not a channel of this module"},
        bad_file{"UnknownLimitField",
                 "sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d}\n"
                 "    limits: {response_time: {max: 1}}\n",
                 "5:30", "unknown key \"max\" in limits of response_time; allowed: lower_error, lower_warning"},
        bad_file{"BadListen", "listen: localhost\n", "1:9", "listen: \"localhost\" is not ADDRESS:PORT"},
        bad_file{"TooManyWorkers", "workers: 100000\n", "1:10", "workers must be a whole number from 1 to 4096"},
        bad_file{"PresetOfUnknownKind", "modules:\n  x: {kind: nope}\n", "2:13", "unknown sensor kind \"nope\""},
        bad_file{"BrokenYaml", "sensors:\n  - name: [a\n", "3:1", "end of sequence flow"}),
    [](const testing::TestParamInfo<bad_file>& info) { return std::string(info.param.name); });

TEST(ServiceConfig, ASecureValueIsNeverQuoted) {
    try {
        parse("sensors:\n  - name: a\n    kind: dns_v2\n    settings: {host: h, domain: d, vantrelcloudapikey: "
              "s3cr3t-value, port: 0}\n");
        FAIL() << "accepted";
    } catch (const config_error& e) {
        EXPECT_EQ(std::string(e.what()).find("s3cr3t-value"), std::string::npos) << e.what();
    }
}

TEST(ServiceConfig, AFileThatCannotBeRead) {
    EXPECT_THROW(load_config("/nonexistent/probe.yaml", manifest()), config_error);
}

} // namespace
} // namespace vantrel::kelvane::probe::service
