#pragma once

#include "answer_tracker.hpp"
#include "clock.hpp"
#include "etc_watch.hpp"
#include "host_session.hpp"
#include "manifest_model.hpp"
#include "passed_checks.hpp"
#include "probe_request.hpp"
#include "result_view.hpp"
#include "scheduler.hpp"
#include "service_config.hpp"
#include "service_log.hpp"
#include "service_metrics.hpp"

#include <atomic>
#include <deque>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantrel::kelvane::probe::service {

// How a monitoring host shows a sensor. `pending` until its first scan.
enum class sensor_status { pending, waiting, ok, warning, error };
const char* status_name(sensor_status status);

// Everything the service keeps of one configured sensor. Its instance, its
// schedule and its counters live as long as its kind and settings do not change.
struct sensor_runtime {
    static constexpr std::size_t log_capacity = 100;

    std::mutex mutex; // guards every field below that changes after creation
    sensor_config config;
    std::int32_t module_id = 0; // 0 while the module has no instance of it
    sensor_status status = sensor_status::pending;
    std::string reason; // why it waits or failed, for people; empty when its last result says it
    // The last result and the channels it was judged with. Translating it is
    // left to whoever shows it to people (probe_service::last_view): a scan
    // needs only its numbers.
    std::optional<host_wire::SensorScanResult> last_result;
    std::shared_ptr<const host_session::channel_map> last_channels;
    // The module's channel definitions with the host's limits laid over them,
    // made again only when the definitions (a new map from the session) or the
    // limits (reset by a reload) change.
    std::shared_ptr<const host_session::channel_map> defined_channels;
    std::shared_ptr<const host_session::channel_map> channels;
    std::deque<std::string> log; // the sensor log's last lines
    std::unique_ptr<std::ofstream> log_file;
    duration backoff{};
    bool scanned = false;
    std::unique_ptr<sensor_series> series;
    // For the status page: the response time (seconds) of the last scans,
    // oldest first, and when the last scan and the last answer change ended
    // (seconds since the epoch, 0 for never).
    static constexpr std::size_t history_capacity = 60;
    std::vector<double> response_times;
    double last_scan_time = 0;
    double last_change_time = 0;
    answer_tracker answers; // dns_v2 only
};

// What one /probe scan found.
struct probe_outcome {
    bool success = false;          // the scan's result had response code 0
    double seconds = 0;            // the whole probe: checks, creation, scan
    std::string reason;            // why it failed, for people (a scan's message only with keep_log)
    std::optional<scan_view> view; // only with keep_log
    // The channels and their values, as the module sent them.
    std::vector<std::pair<host_wire::ChannelOptions, std::int64_t>> values;
    std::vector<std::string> log; // the sensor log, when asked for
};

struct service_options {
    std::string module_path;
    std::string language = "English";
    std::string sensor_log_dir; // empty: sensor logs stay in memory only
    // Longest wait for a precondition retry at first; doubles up to the interval.
    duration first_backoff = std::chrono::seconds(1);
    // Told how late each scan starts behind its due time (benchmarks).
    std::function<void(duration lag)> on_scan_start;
    // How long a precondition check that passed for /probe counts for later
    // probes with the same settings (zero: every probe runs its checks).
    duration probe_check_memory = std::chrono::seconds(60);
};

// The probe as a monitoring host: loads the module once, creates the
// configured sensors after their preconditions, scans each on its schedule
// and keeps what they report. Thread-safe.
class probe_service {
public:
    // Loads and initialises the module. Throws std::runtime_error.
    probe_service(const service_options& options, service_log& log, const clock& time);
    ~probe_service();

    const manifest_model& manifest() const { return *manifest_; }

    // Starts the schedule of `config`; call once.
    void start(const service_config& config);
    // Applies a new configuration: unchanged sensors keep their instance,
    // schedule and counters; changed ones are made anew; removed ones go.
    void reload(const service_config& config);
    // No new scans; waits up to `grace` (default: the longest timeout of any
    // sensor) for scans under way, destroys every sensor and cleans the module
    // up. False when scans were still running, and nothing was destroyed.
    bool stop(std::optional<duration> grace = std::nullopt);

    // Once every sensor has been scanned or waits for its precondition.
    bool ready() const;
    std::string metrics_text() const { return metrics_.text(); }
    // Reads /probe requests with the presets of the running configuration;
    // a start or reload makes a new one, and one handed out stays as it is.
    std::shared_ptr<const probe_request_reader> probe_reader() const;
    // The sensors by name, for endpoints; each is locked by its own mutex.
    std::vector<std::shared_ptr<sensor_runtime>> sensors() const;
    // A sensor's last result, judged and translated for people (none before
    // its first result). The caller holds the sensor's mutex.
    std::optional<scan_view> last_view(const sensor_runtime& sensor) const;
    // The module instance id of a sensor (0: none), for tests.
    std::int32_t module_id(const std::string& name) const;
    scheduler& schedule() { return *scheduler_; }

    // One scan outside the schedule, for /probe: runs the kind's preconditions,
    // creates an instance with `settings`, scans it once and destroys it.
    // A check that passed with the same settings within the
    // `probe_check_memory` is not run again, except with `keep_log`.
    // Thread-safe; many probes may run at once. With `keep_log` the sensor log
    // of the checks and the scan is returned (turn the `logging` setting on),
    // and a scan's result is judged and translated (`view`, and its message as
    // `reason`); without it a scan that ran leaves both empty, as the metrics
    // answer needs neither.
    probe_outcome probe(const host_wire::SensorData& settings, bool keep_log);

private:
    void set_presets(const std::map<std::string, module_preset>& presets);
    void add_sensor(const sensor_config& config);
    void remove_sensor(const std::string& name);
    void run(const std::shared_ptr<sensor_runtime>& sensor);
    bool establish(const std::shared_ptr<sensor_runtime>& sensor);
    void scan(const std::shared_ptr<sensor_runtime>& sensor);
    void retry_later(const std::shared_ptr<sensor_runtime>& sensor, sensor_status status, const std::string& reason);
    void set_status(sensor_runtime& sensor, sensor_status status);
    void on_module_log(const log_line& line);
    void append_log(sensor_runtime& sensor, const std::string& text);
    void track_answer(sensor_runtime& sensor, const host_wire::SensorScanResult& result, double now);
    std::string refusal(const std::string& what, std::int32_t code);
    duration stop_grace() const;

    service_options options_;
    // Held before the module starts its first channel, released after the
    // last (see etc_watch.hpp).
    etc_watch etc_watch_;
    service_log& log_;
    const clock& clock_;
    service_metrics metrics_;
    std::unique_ptr<host_session> session_;
    std::unique_ptr<manifest_model> manifest_;
    std::unique_ptr<scheduler> scheduler_;
    passed_checks probe_checks_;

    std::mutex reload_mutex_; // one start, reload or stop at a time
    mutable std::mutex sensors_mutex_;
    std::map<std::string, std::shared_ptr<sensor_runtime>> sensors_;
    std::unordered_map<std::int32_t, std::shared_ptr<sensor_runtime>> by_module_id_;
    // Sensor log lines of the probes that asked for them, by module id.
    std::unordered_map<std::int32_t, std::vector<std::string>*> probe_logs_;
    std::shared_ptr<const probe_request_reader> probe_reader_; // guarded by sensors_mutex_
    std::atomic<std::int32_t> next_id_{1};
    std::atomic<std::int32_t> next_check_id_{1 << 30};
    std::uint64_t added_ = 0;
    bool stopped_ = false;
};

} // namespace vantrel::kelvane::probe::service
