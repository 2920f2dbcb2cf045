#include "service_metrics.hpp"

#include "channel_limits.hpp"

#include <prometheus/text_serializer.h>

#include <set>
#include <sstream>

namespace vantrel::kelvane::probe::service {
namespace {

using prometheus::Labels;

constexpr std::int32_t unit_response_time_ms = 6;

// Channels whose integer value is a percentage; the module declares them with
// the custom unit, so the host knows them by name.
const std::set<std::string> percentage_channels = {"servers_reached"};

// Names the service uses itself; a channel of the same name gets a longer one.
const std::set<std::string> own_names = {"sensor_info",          "sensor_state",
                                         "scan_success",         "scan_duration_seconds",
                                         "scans_total",          "scan_errors_total",
                                         "missed_scans_total",   "last_scan_timestamp_seconds",
                                         "answer_changes_total", "last_answer_change_timestamp_seconds",
                                         "probe_success",        "probe_duration_seconds"};

std::string metric_safe(const std::string& text) {
    std::string out;
    for (const char c : text) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        out += ok ? c : '_';
    }
    return out;
}

Labels merged(const Labels& base, const Labels& more) {
    Labels all = base;
    all.insert(more.begin(), more.end());
    return all;
}

} // namespace

channel_metric channel_metric_for(const host_wire::ChannelOptions& channel) {
    const std::string name = metric_safe(channel_name(channel));
    channel_metric m;
    std::string base = name;
    if (channel.unit() == unit_response_time_ms) {
        base += "_seconds";
        m.scale = 0.001;
        m.help = "Channel " + name + " in seconds (the module reports milliseconds).";
    } else if (percentage_channels.count(name) != 0) {
        base += "_ratio";
        m.scale = 0.01;
        m.help = "Channel " + name + " as a ratio from 0 to 1 (the module reports a percentage).";
    } else {
        m.help = "Channel " + name + " of the last scan.";
    }
    m.name = (own_names.count(base) != 0 ? "wexo_channel_" : "wexo_") + base;
    return m;
}

const std::vector<std::string>& service_metrics::states() {
    static const std::vector<std::string> all = {"ok", "warning", "error", "waiting"};
    return all;
}

service_metrics::service_metrics()
    : registry_(std::make_shared<prometheus::Registry>()),
      info_(prometheus::BuildGauge()
                .Name("wexo_sensor_info")
                .Help("What a sensor asks: always 1, its labels name the device and the question.")
                .Register(*registry_)),
      state_(prometheus::BuildGauge()
                 .Name("wexo_sensor_state")
                 .Help("1 for the sensor's current state (ok, warning, error, waiting), 0 for the others.")
                 .Register(*registry_)),
      success_(prometheus::BuildGauge()
                   .Name("wexo_scan_success")
                   .Help("1 when the last scan's result had response code 0.")
                   .Register(*registry_)),
      duration_(prometheus::BuildHistogram()
                    .Name("wexo_scan_duration_seconds")
                    .Help("How long scans took, from the call to the result.")
                    .Register(*registry_)),
      scans_(prometheus::BuildCounter().Name("wexo_scans_total").Help("Scans run.").Register(*registry_)),
      errors_(prometheus::BuildCounter()
                  .Name("wexo_scan_errors_total")
                  .Help("Scans that failed, by the error's catalogue key.")
                  .Register(*registry_)),
      missed_(prometheus::BuildCounter()
                  .Name("wexo_missed_scans_total")
                  .Help("Scans skipped because the previous scan of the sensor was still running.")
                  .Register(*registry_)),
      last_scan_(prometheus::BuildGauge()
                     .Name("wexo_last_scan_timestamp_seconds")
                     .Help("When the last scan ended, in seconds since the epoch.")
                     .Register(*registry_)),
      answer_changes_(prometheus::BuildCounter()
                          .Name("wexo_answer_changes_total")
                          .Help("Successful scans whose record set differed from the previous successful scan's.")
                          .Register(*registry_)),
      last_change_(prometheus::BuildGauge()
                       .Name("wexo_last_answer_change_timestamp_seconds")
                       .Help("When the record set last changed, in seconds since the epoch; 0 for never.")
                       .Register(*registry_)) {}

const prometheus::Histogram::BucketBoundaries& service_metrics::duration_buckets() {
    static const prometheus::Histogram::BucketBoundaries buckets = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                                                    0.25,  0.5,    1,     2.5,  5,     10,   30};
    return buckets;
}

service_metrics::~service_metrics() = default;

std::unique_ptr<sensor_series> service_metrics::add_sensor(const std::string& name, const std::string& kind,
                                                           const std::map<std::string, std::string>& labels,
                                                           const std::map<std::string, std::string>& info) {
    std::unique_ptr<sensor_series> s(new sensor_series(*this));
    s->labels_ = Labels(labels.begin(), labels.end());
    s->labels_["sensor"] = name;
    s->labels_["kind"] = kind;
    s->info_ = &info_.Add(merged(s->labels_, Labels(info.begin(), info.end())));
    s->info_->Set(1);
    for (const auto& state : states()) {
        s->states_[state] = &state_.Add(merged(s->labels_, {{"state", state}}));
    }
    s->success_ = &success_.Add(s->labels_);
    s->duration_ = &duration_.Add(s->labels_, duration_buckets());
    s->scans_ = &scans_.Add(s->labels_);
    s->missed_ = &missed_.Add(s->labels_);
    s->last_scan_ = &last_scan_.Add(s->labels_);
    if (kind == "dns_v2") {
        s->answer_changes_ = &answer_changes_.Add(s->labels_);
        s->last_change_ = &last_change_.Add(s->labels_);
    }
    return s;
}

void service_metrics::remove_sensor(std::unique_ptr<sensor_series> s) {
    if (!s) {
        return;
    }
    info_.Remove(s->info_);
    for (const auto& [state, gauge] : s->states_) {
        state_.Remove(gauge);
    }
    success_.Remove(s->success_);
    duration_.Remove(s->duration_);
    scans_.Remove(s->scans_);
    missed_.Remove(s->missed_);
    last_scan_.Remove(s->last_scan_);
    if (s->answer_changes_ != nullptr) {
        answer_changes_.Remove(s->answer_changes_);
        last_change_.Remove(s->last_change_);
    }
    std::lock_guard lock(s->mutex_);
    for (const auto& [key, counter] : s->errors_) {
        errors_.Remove(counter);
    }
    std::lock_guard families(channels_mutex_);
    for (const auto& [metric, gauge] : s->channels_) {
        channel_families_.at(metric)->Remove(gauge);
    }
}

prometheus::Family<prometheus::Gauge>& service_metrics::channel_family(const channel_metric& metric) {
    std::lock_guard lock(channels_mutex_);
    auto& family = channel_families_[metric.name];
    if (family == nullptr) {
        family = &prometheus::BuildGauge().Name(metric.name).Help(metric.help).Register(*registry_);
    }
    return *family;
}

std::string service_metrics::text() const {
    std::ostringstream out;
    prometheus::TextSerializer().Serialize(out, registry_->Collect());
    return out.str();
}

void sensor_series::set_state(const std::string& state) {
    for (const auto& [name, gauge] : states_) {
        gauge->Set(name == state ? 1 : 0);
    }
}

void sensor_series::record_scan(bool success, double seconds, double timestamp, const std::string& error_key) {
    scans_->Increment();
    success_->Set(success ? 1 : 0);
    duration_->Observe(seconds);
    last_scan_->Set(timestamp);
    if (!error_key.empty()) {
        std::lock_guard lock(mutex_);
        auto& counter = errors_[error_key];
        if (counter == nullptr) {
            counter = &owner_.errors_.Add(merged(labels_, {{"error", error_key}}));
        }
        counter->Increment();
    }
}

void sensor_series::answer_changed(double timestamp) {
    if (answer_changes_ != nullptr) {
        answer_changes_->Increment();
        last_change_->Set(timestamp);
    }
}

void sensor_series::missed() {
    missed_->Increment();
}

void sensor_series::set_channel(const host_wire::ChannelOptions& channel, std::int64_t value) {
    std::lock_guard lock(mutex_);
    auto& known = by_channel_[channel.id()];
    if (known.gauge == nullptr || known.name_key != channel.name_key() || known.unit != channel.unit()) {
        const auto metric = channel_metric_for(channel);
        auto& g = channels_[metric.name];
        if (g == nullptr) {
            g = &owner_.channel_family(metric).Add(labels_);
        }
        known = {channel.name_key(), channel.unit(), metric.scale, g};
    }
    known.gauge->Set(static_cast<double>(value) * known.scale);
}

} // namespace vantrel::kelvane::probe::service
