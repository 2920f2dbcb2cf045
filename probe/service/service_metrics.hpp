#pragma once

#include <wexo_host.pb.h>

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vantrel::kelvane::probe::service {

// What a channel becomes in Prometheus: its metric name and the factor that
// turns the module's integer value into Prometheus base units.
struct channel_metric {
    std::string name; // "wexo_response_time_seconds"
    double scale = 1; // 0.001 for milliseconds, 0.01 for a percentage
    std::string help;
};
channel_metric channel_metric_for(const host_wire::ChannelOptions& channel);

class service_metrics;
struct metric_shard;

// The series of one sensor. Made by service_metrics::add_sensor and removed
// with it; every setter is thread-safe.
class sensor_series {
public:
    void set_state(const std::string& state);
    // One scan: whether the module answered with response code 0, how long it
    // took, its end as seconds since the epoch, and the error key when it failed.
    void record_scan(bool success, double seconds, double timestamp, const std::string& error_key);
    void missed();
    void set_channel(const host_wire::ChannelOptions& channel, std::int64_t value);
    // The answer of a dns_v2 sensor changed at `timestamp` (seconds since the epoch).
    void answer_changed(double timestamp);

private:
    friend class service_metrics;
    explicit sensor_series(metric_shard& shard) : shard_(shard) {}

    metric_shard& shard_;
    prometheus::Labels labels_;
    prometheus::Gauge* info_ = nullptr;
    std::map<std::string, prometheus::Gauge*> states_;
    prometheus::Gauge* success_ = nullptr;
    prometheus::Histogram* duration_ = nullptr;
    prometheus::Counter* scans_ = nullptr;
    prometheus::Counter* missed_ = nullptr;
    prometheus::Gauge* last_scan_ = nullptr;
    prometheus::Counter* answer_changes_ = nullptr; // dns_v2 only
    prometheus::Gauge* last_change_ = nullptr;      // dns_v2 only
    std::mutex mutex_;                              // guards the state and the three maps below
    std::string state_;                             // the one the state series show; "" for none
    std::map<std::string, prometheus::Counter*> errors_;
    std::map<std::string, prometheus::Gauge*> channels_; // by metric name
    // What each channel id became, so that a scan does not derive the metric
    // name again; checked against the channel's name and unit.
    struct channel_gauge {
        std::string name_key;
        std::int32_t unit = 0;
        double scale = 1;
        prometheus::Gauge* gauge = nullptr;
    };
    std::map<std::int32_t, channel_gauge> by_channel_;
};

// Every metric family of the service, in one place, and their text exposition.
//
// The sensors' series are spread over shards, each a registry with every
// family: prometheus-cpp finds a series it removes by walking its family, so
// removing all sensors of one family costs the square of their number (95 s
// for 10,000). Per shard that is the square of a 64th. The exposition merges
// the shards' families by name.
class service_metrics {
public:
    service_metrics();
    ~service_metrics();

    // Series labelled `sensor`, `kind` and the extra labels; `info` holds what
    // the sensor asks (host, domain, ...) for wexo_sensor_info.
    std::unique_ptr<sensor_series> add_sensor(const std::string& name, const std::string& kind,
                                              const std::map<std::string, std::string>& labels,
                                              const std::map<std::string, std::string>& info);
    // Removes every series of the sensor.
    void remove_sensor(std::unique_ptr<sensor_series> series);

    // The Prometheus text format of everything.
    std::string text() const;

    static const std::vector<std::string>& states();
    // The histogram buckets of scan durations, also used by /probe.
    static const prometheus::Histogram::BucketBoundaries& duration_buckets();

private:
    std::vector<std::unique_ptr<metric_shard>> shards_;
};

} // namespace vantrel::kelvane::probe::service
