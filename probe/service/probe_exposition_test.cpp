#include "probe_exposition.hpp"

#include "service_metrics.hpp"

#include <gtest/gtest.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <string>
#include <vector>

namespace vantrel::kelvane::probe::service {
namespace {

struct channel {
    std::string name_key;
    std::int32_t unit;
    std::int64_t value;
};

struct exposition_case {
    std::string name;
    std::string kind;
    std::string domain;
    std::string record_type;
    bool success;
    double seconds;
    std::vector<channel> channels;
};

void PrintTo(const exposition_case& c, std::ostream* out) {
    *out << c.name;
}

probe_request request_of(const exposition_case& c) {
    probe_request request;
    request.kind = c.kind;
    request.target = "192.0.2.53";
    request.settings.set_kind(c.kind);
    auto& settings = *request.settings.mutable_settings();
    settings["dns_sensor_section.dns_sensor_group.domain"] = c.domain;
    settings["dns_sensor_section.dns_sensor_group.record_type"] = c.record_type;
    return request;
}

probe_outcome outcome_of(const exposition_case& c) {
    probe_outcome outcome;
    outcome.success = c.success;
    outcome.seconds = c.seconds;
    std::int32_t id = 0;
    for (const auto& ch : c.channels) {
        host_wire::ChannelOptions options;
        options.set_id(id++);
        options.set_name_key(ch.name_key);
        options.set_unit(ch.unit);
        outcome.values.emplace_back(options, ch.value);
    }
    return outcome;
}

// What a prometheus-cpp registry writes for the same answer: the families in
// the order they are registered, a name registered again merged into the first.
std::string through_a_registry(const probe_request& request, const probe_outcome& outcome) {
    prometheus::Registry registry;
    prometheus::Labels labels;
    if (request.kind == "dns_v2") {
        labels = {{"domain", setting_value(request.settings, "domain")},
                  {"record_type", setting_value(request.settings, "record_type")}};
    }
    const auto gauge = [&](const std::string& name, const std::string& help, double value) {
        prometheus::BuildGauge().Name(name).Help(help).Register(registry).Add(labels).Set(value);
    };
    gauge("wexo_probe_success", "1 when the probe's scan had response code 0.", outcome.success ? 1 : 0);
    gauge("wexo_probe_duration_seconds", "How long the probe took: preconditions, creation and scan.", outcome.seconds);
    for (const auto& [options, value] : outcome.values) {
        const auto metric = channel_metric_for(options);
        gauge(metric.name, metric.help, static_cast<double>(value) * metric.scale);
    }
    return prometheus::TextSerializer().Serialize(registry.Collect());
}

class ProbeExposition : public testing::TestWithParam<exposition_case> {};

TEST_P(ProbeExposition, WritesWhatARegistryWrites) {
    const auto request = request_of(GetParam());
    const auto outcome = outcome_of(GetParam());
    EXPECT_EQ(probe_metrics_text(request, outcome), through_a_registry(request, outcome));
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ProbeExposition,
    testing::Values(
        exposition_case{"dns_v2",
                        "dns_v2",
                        "www.example.org",
                        "A",
                        true,
                        0.0123,
                        {{"channel.response_time", 6, 17},
                         {"channel.records_resolved", 0, 1},
                         {"channel.record_count", 10, 2},
                         {"channel.matched_record_count", 10, 0}}},
        exposition_case{"failed_scan_without_channels", "dns_v2", "gone.nx", "MX", false, 1.5, {}},
        exposition_case{"reputation_without_labels",
                        "ip_reputation_score_sensor",
                        "",
                        "",
                        true,
                        0.25,
                        {{"channel.score", 10, 7}, {"channel.servers_reached", 0, 50}}},
        exposition_case{
            "label_values_escaped", "dns_v2", "a\"b\\c\nd", "TXT", true, 2e-06, {{"channel.record_count", 10, 1}}},
        exposition_case{"one_name_for_two_channels",
                        "dns_v2",
                        "www.example.org",
                        "A",
                        true,
                        0.5,
                        {{"channel.x", 6, 1500}, {"channel.other", 10, 3}, {"channel.x_seconds", 10, 4}}},
        exposition_case{"channel_named_like_the_probe_metrics",
                        "dns_v2",
                        "www.example.org",
                        "A",
                        true,
                        0.5,
                        {{"channel.probe_success", 10, 0}, {"channel.probe-duration", 10, 9}}}),
    [](const testing::TestParamInfo<exposition_case>& info) { return info.param.name; });

} // namespace
} // namespace vantrel::kelvane::probe::service
