#include "service_metrics.hpp"

#include "channel_limits.hpp"

#include <prometheus/text_serializer.h>

#include <functional>
#include <iterator>
#include <mutex>
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

// One registry with every family; the sensors whose names hash to it.
struct metric_shard {
    prometheus::Registry registry;
    prometheus::Family<prometheus::Gauge>& info;
    prometheus::Family<prometheus::Gauge>& state;
    prometheus::Family<prometheus::Gauge>& success;
    prometheus::Family<prometheus::Histogram>& duration;
    prometheus::Family<prometheus::Counter>& scans;
    prometheus::Family<prometheus::Counter>& errors;
    prometheus::Family<prometheus::Counter>& missed;
    prometheus::Family<prometheus::Gauge>& last_scan;
    prometheus::Family<prometheus::Counter>& answer_changes;
    prometheus::Family<prometheus::Gauge>& last_change;
    std::mutex channels_mutex;
    std::map<std::string, prometheus::Family<prometheus::Gauge>*> channel_families;

    metric_shard()
        : info(prometheus::BuildGauge()
                   .Name("wexo_sensor_info")
                   .Help("What a sensor asks: always 1, its labels name the device and the question.")
                   .Register(registry)),
          state(prometheus::BuildGauge()
                    .Name("wexo_sensor_state")
                    .Help("1 for the sensor's current state (ok, warning, error, waiting), 0 for the others.")
                    .Register(registry)),
          success(prometheus::BuildGauge()
                      .Name("wexo_scan_success")
                      .Help("1 when the last scan's result had response code 0.")
                      .Register(registry)),
          duration(prometheus::BuildHistogram()
                       .Name("wexo_scan_duration_seconds")
                       .Help("How long scans took, from the call to the result.")
                       .Register(registry)),
          scans(prometheus::BuildCounter().Name("wexo_scans_total").Help("Scans run.").Register(registry)),
          errors(prometheus::BuildCounter()
                     .Name("wexo_scan_errors_total")
                     .Help("Scans that failed, by the error's catalogue key.")
                     .Register(registry)),
          missed(prometheus::BuildCounter()
                     .Name("wexo_missed_scans_total")
                     .Help("Scans skipped because the previous scan of the sensor was still running.")
                     .Register(registry)),
          last_scan(prometheus::BuildGauge()
                        .Name("wexo_last_scan_timestamp_seconds")
                        .Help("When the last scan ended, in seconds since the epoch.")
                        .Register(registry)),
          answer_changes(prometheus::BuildCounter()
                             .Name("wexo_answer_changes_total")
                             .Help("Successful scans whose record set differed from the previous successful scan's.")
                             .Register(registry)),
          last_change(prometheus::BuildGauge()
                          .Name("wexo_last_answer_change_timestamp_seconds")
                          .Help("When the record set last changed, in seconds since the epoch; 0 for never.")
                          .Register(registry)) {}

    prometheus::Family<prometheus::Gauge>& channel_family(const channel_metric& metric) {
        std::lock_guard lock(channels_mutex);
        auto& family = channel_families[metric.name];
        if (family == nullptr) {
            family = &prometheus::BuildGauge().Name(metric.name).Help(metric.help).Register(registry);
        }
        return *family;
    }
};

namespace {
constexpr std::size_t shard_count = 64;
} // namespace

service_metrics::service_metrics() {
    shards_.reserve(shard_count);
    for (std::size_t i = 0; i < shard_count; ++i) {
        shards_.push_back(std::make_unique<metric_shard>());
    }
}

const prometheus::Histogram::BucketBoundaries& service_metrics::duration_buckets() {
    static const prometheus::Histogram::BucketBoundaries buckets = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                                                    0.25,  0.5,    1,     2.5,  5,     10,   30};
    return buckets;
}

service_metrics::~service_metrics() = default;

std::unique_ptr<sensor_series> service_metrics::add_sensor(const std::string& name, const std::string& kind,
                                                           const std::map<std::string, std::string>& labels,
                                                           const std::map<std::string, std::string>& info) {
    auto& shard = *shards_[std::hash<std::string>{}(name) % shards_.size()];
    std::unique_ptr<sensor_series> s(new sensor_series(shard));
    s->labels_ = Labels(labels.begin(), labels.end());
    s->labels_["sensor"] = name;
    s->labels_["kind"] = kind;
    s->info_ = &shard.info.Add(merged(s->labels_, Labels(info.begin(), info.end())));
    s->info_->Set(1);
    for (const auto& state : states()) {
        s->states_[state] = &shard.state.Add(merged(s->labels_, {{"state", state}}));
    }
    s->success_ = &shard.success.Add(s->labels_);
    s->duration_ = &shard.duration.Add(s->labels_, duration_buckets());
    s->scans_ = &shard.scans.Add(s->labels_);
    s->missed_ = &shard.missed.Add(s->labels_);
    s->last_scan_ = &shard.last_scan.Add(s->labels_);
    if (kind == "dns_v2") {
        s->answer_changes_ = &shard.answer_changes.Add(s->labels_);
        s->last_change_ = &shard.last_change.Add(s->labels_);
    }
    return s;
}

void service_metrics::remove_sensor(std::unique_ptr<sensor_series> s) {
    if (!s) {
        return;
    }
    auto& shard = s->shard_;
    shard.info.Remove(s->info_);
    for (const auto& [state, gauge] : s->states_) {
        shard.state.Remove(gauge);
    }
    shard.success.Remove(s->success_);
    shard.duration.Remove(s->duration_);
    shard.scans.Remove(s->scans_);
    shard.missed.Remove(s->missed_);
    shard.last_scan.Remove(s->last_scan_);
    if (s->answer_changes_ != nullptr) {
        shard.answer_changes.Remove(s->answer_changes_);
        shard.last_change.Remove(s->last_change_);
    }
    std::lock_guard lock(s->mutex_);
    for (const auto& [key, counter] : s->errors_) {
        shard.errors.Remove(counter);
    }
    std::lock_guard families(shard.channels_mutex);
    for (const auto& [metric, gauge] : s->channels_) {
        shard.channel_families.at(metric)->Remove(gauge);
    }
}

std::string service_metrics::text() const {
    // Every shard has the same families: one block per name, in the order of
    // their first registration.
    std::vector<prometheus::MetricFamily> families;
    std::map<std::string, std::size_t> by_name;
    for (const auto& shard : shards_) {
        for (auto& family : shard->registry.Collect()) {
            const auto [it, added] = by_name.emplace(family.name, families.size());
            if (added) {
                families.push_back(std::move(family));
            } else {
                auto& all = families[it->second].metric;
                all.insert(all.end(), std::make_move_iterator(family.metric.begin()),
                           std::make_move_iterator(family.metric.end()));
            }
        }
    }
    std::ostringstream out;
    prometheus::TextSerializer().Serialize(out, families);
    return out.str();
}

void sensor_series::set_state(const std::string& state) {
    // Mostly the same as after the last scan: five cold series left alone.
    std::lock_guard lock(mutex_);
    if (state == state_) {
        return;
    }
    state_ = state;
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
            counter = &shard_.errors.Add(merged(labels_, {{"error", error_key}}));
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
            g = &shard_.channel_family(metric).Add(labels_);
        }
        known = {channel.name_key(), channel.unit(), metric.scale, g};
    }
    known.gauge->Set(static_cast<double>(value) * known.scale);
}

} // namespace vantrel::kelvane::probe::service
