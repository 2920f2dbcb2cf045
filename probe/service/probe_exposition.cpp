#include "probe_exposition.hpp"

#include "service_metrics.hpp"

#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <sstream>

namespace vantrel::kelvane::probe::service {
namespace {

prometheus::Labels probe_labels(const probe_request& request) {
    if (request.kind != "dns_v2") {
        return {};
    }
    return {{"domain", setting_value(request.settings, "domain")}, {"record_type", setting_value(request.settings, "record_type")}};
}

} // namespace

std::string probe_metrics_text(const probe_request& request, const probe_outcome& outcome) {
    prometheus::Registry registry;
    const auto labels = probe_labels(request);
    prometheus::BuildGauge()
        .Name("wexo_probe_success")
        .Help("1 when the probe's scan had response code 0.")
        .Register(registry)
        .Add(labels)
        .Set(outcome.success ? 1 : 0);
    prometheus::BuildGauge()
        .Name("wexo_probe_duration_seconds")
        .Help("How long the probe took: preconditions, creation and scan.")
        .Register(registry)
        .Add(labels)
        .Set(outcome.seconds);
    for (const auto& [channel, value] : outcome.values) {
        const auto metric = channel_metric_for(channel);
        prometheus::BuildGauge()
            .Name(metric.name)
            .Help(metric.help)
            .Register(registry)
            .Add(labels)
            .Set(static_cast<double>(value) * metric.scale);
    }
    std::ostringstream out;
    prometheus::TextSerializer().Serialize(out, registry.Collect());
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
