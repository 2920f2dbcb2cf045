#include "probe_exposition.hpp"

#include "service_metrics.hpp"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace vantrel::kelvane::probe::service {
namespace {

// Sorted by name, as prometheus-cpp lists the labels of a series.
std::vector<prometheus::ClientMetric::Label> probe_labels(const probe_request& request) {
    if (request.kind != "dns_v2") {
        return {};
    }
    return {{"domain", setting_value(request.settings, "domain")},
            {"record_type", setting_value(request.settings, "record_type")}};
}

// One gauge family with one series. Two channels that come out under one name
// share it, as they do in a registry: the family (and help) of the first, the
// value of the last.
void add_gauge(std::vector<prometheus::MetricFamily>& families, const std::string& name, const std::string& help,
               const std::vector<prometheus::ClientMetric::Label>& labels, double value) {
    const auto same = std::find_if(families.begin(), families.end(), [&](const auto& f) { return f.name == name; });
    if (same != families.end()) {
        same->metric.front().gauge.value = value;
        return;
    }
    auto& family = families.emplace_back();
    family.name = name;
    family.help = help;
    family.type = prometheus::MetricType::Gauge;
    auto& series = family.metric.emplace_back();
    series.label = labels;
    series.gauge.value = value;
}

} // namespace

// The families are made directly rather than through a registry: a registry
// per request (its families, their locks and hash maps, then a copy of all of
// it by Collect) cost more than the rest of the answer.
std::string probe_metrics_text(const probe_request& request, const probe_outcome& outcome) {
    const auto labels = probe_labels(request);
    std::vector<prometheus::MetricFamily> families;
    families.reserve(2 + outcome.values.size());
    add_gauge(families, "wexo_probe_success", "1 when the probe's scan had response code 0.", labels,
              outcome.success ? 1 : 0);
    add_gauge(families, "wexo_probe_duration_seconds", "How long the probe took: preconditions, creation and scan.",
              labels, outcome.seconds);
    for (const auto& [channel, value] : outcome.values) {
        const auto metric = channel_metric_for(channel);
        add_gauge(families, metric.name, metric.help, labels, static_cast<double>(value) * metric.scale);
    }
    std::ostringstream out;
    prometheus::TextSerializer().Serialize(out, families);
    return out.str();
}

std::string probe_debug_text(const probe_request& request, const probe_outcome& outcome) {
    std::ostringstream out;
    out << "Probe of " << request.kind << (request.module.empty() ? "" : " (module " + request.module + ")") << " at "
        << request.target << ": " << (outcome.success ? "success" : "failure");
    if (!outcome.reason.empty()) {
        out << ": " << outcome.reason;
    }
    out << "\nDuration: " << outcome.seconds << " s\n\nSensor log:\n";
    for (const auto& line : outcome.log) {
        out << line << (line.ends_with('\n') ? "" : "\n");
    }
    out << "\nMetrics:\n" << probe_metrics_text(request, outcome);
    return out.str();
}

} // namespace vantrel::kelvane::probe::service
