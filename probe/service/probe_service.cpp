#include "probe_service.hpp"

#include "channel_limits.hpp"
#include "memory_upkeep.hpp"
#include "thread_stacks.hpp"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <utility>

namespace vantrel::kelvane::probe::service {
namespace {

std::int64_t setting_seconds(const sensor_config& config, std::string_view suffix) {
    std::int64_t longest = 0;
    for (const auto& [key, value] : config.settings.settings()) {
        if (key == suffix || key.ends_with("." + std::string(suffix))) {
            std::int64_t n = 0;
            std::from_chars(value.data(), value.data() + value.size(), n);
            longest = std::max(longest, n);
        }
    }
    return longest;
}

std::string setting(const sensor_config& config, std::string_view name) {
    return setting_value(config.settings, name);
}

// What the sensor asks, for wexo_sensor_info: enough for an alert to say which
// name failed where. Never a secure setting.
std::map<std::string, std::string> info_labels(const sensor_config& config) {
    std::map<std::string, std::string> info{{"host", setting(config, "host")}};
    if (config.kind == "dns_v2") {
        info["domain"] = setting(config, "domain");
        info["record_type"] = setting(config, "record_type");
    } else if (config.kind == "ip_reputation_score_sensor") {
        const std::string lines = setting(config, "blacklist_servers");
        std::size_t count = 0;
        std::size_t start = 0;
        while (start <= lines.size()) {
            const std::size_t end = std::min(lines.find_first_of("\r\n", start), lines.size());
            const auto line = lines.substr(start, end - start);
            count += line.find_first_not_of(" \t") != std::string::npos ? 1 : 0;
            start = end + 1;
        }
        info["blacklists"] = std::to_string(count);
    }
    return info;
}

// Targets whose passed checks /probe remembers at most (a few MB of settings).
constexpr std::size_t passed_checks_capacity = 10000;
// How often the allocator hands free pages back while the service runs.
constexpr duration memory_upkeep_interval = std::chrono::seconds(60);

double epoch_seconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

} // namespace

const char* status_name(sensor_status status) {
    switch (status) {
    case sensor_status::waiting:
        return "waiting";
    case sensor_status::ok:
        return "ok";
    case sensor_status::warning:
        return "warning";
    case sensor_status::error:
        return "error";
    default:
        return "pending";
    }
}

probe_service::probe_service(const service_options& options, service_log& log, const clock& time)
    : options_(options), log_(log), clock_(time), probe_checks_(options.probe_check_memory, passed_checks_capacity) {
    // Before the module and the service start any thread (see thread_stacks.hpp).
    lower_default_thread_stack();
    session_ =
        std::make_unique<host_session>(options_.module_path, [this](const log_line& line) { on_module_log(line); });
    manifest_ = std::make_unique<manifest_model>(session_->manifest(true));
    // Until start(): no presets.
    set_presets({});
    if (!options_.sensor_log_dir.empty()) {
        std::filesystem::create_directories(options_.sensor_log_dir);
    }
}

probe_service::~probe_service() {
    stop();
}

void probe_service::start(const service_config& config) {
    std::lock_guard lock(reload_mutex_);
    scheduler_ = std::make_unique<scheduler>(clock_, config.workers);
    if (options_.on_scan_start) {
        scheduler_->on_start(options_.on_scan_start);
    }
    scheduler_->on_missed([this](const std::string& name) {
        std::shared_ptr<sensor_runtime> s;
        {
            std::lock_guard l(sensors_mutex_);
            const auto it = sensors_.find(name);
            if (it == sensors_.end()) {
                return;
            }
            s = it->second;
        }
        std::lock_guard l(s->mutex);
        if (s->series) {
            s->series->missed();
        }
    });
    set_presets(config.modules);
    for (const auto& sensor : config.sensors) {
        add_sensor(sensor);
    }
    // Not a sensor: '#' is never part of a sensor's name.
    scheduler_->add("#memory", memory_upkeep_interval, clock_.now() + memory_upkeep_interval, [this] {
        release_free_memory();
        etc_watch_.drain();
    });
    scheduler_->start();
    log_.write(log_level::info, "started",
               {{"sensors", std::to_string(config.sensors.size())}, {"workers", std::to_string(config.workers)}});
}

void probe_service::add_sensor(const sensor_config& config) {
    auto s = std::make_shared<sensor_runtime>();
    s->config = config;
    s->response_times.reserve(sensor_runtime::history_capacity);
    s->series = metrics_.add_sensor(config.name, config.kind, config.labels, info_labels(config));
    if (!options_.sensor_log_dir.empty() && setting(config, "logging") == "enabled") {
        s->log_file = std::make_unique<std::ofstream>(
            std::filesystem::path(options_.sensor_log_dir) / (config.name + ".log"), std::ios::app);
    }
    {
        std::lock_guard lock(sensors_mutex_);
        sensors_[config.name] = s;
    }
    const auto interval = std::chrono::duration_cast<duration>(config.interval);
    scheduler_->add(config.name, interval, clock_.now() + scheduler::spread(added_++, interval), [this, s] { run(s); });
    log_.write(log_level::info, "sensor_added",
               {{"sensor", config.name}, {"kind", config.kind}, {"interval", std::to_string(config.interval.count())}});
}

void probe_service::remove_sensor(const std::string& name) {
    std::shared_ptr<sensor_runtime> s;
    {
        std::lock_guard lock(sensors_mutex_);
        const auto it = sensors_.find(name);
        if (it == sensors_.end()) {
            return;
        }
        s = it->second;
        sensors_.erase(it);
    }
    scheduler_->remove(name); // waits for a scan under way
    std::int32_t id = 0;
    std::unique_ptr<sensor_series> series;
    {
        std::lock_guard lock(s->mutex);
        id = std::exchange(s->module_id, 0);
        series = std::move(s->series);
    }
    if (id != 0) {
        // Not under the sensor's lock: the module logs while it destroys.
        session_->destroy(id);
        std::lock_guard ids(sensors_mutex_);
        by_module_id_.erase(id);
    }
    metrics_.remove_sensor(std::move(series));
    log_.write(log_level::info, "sensor_removed", {{"sensor", name}});
}

void probe_service::reload(const service_config& config) {
    std::lock_guard lock(reload_mutex_);
    if (stopped_ || !scheduler_) {
        return;
    }
    set_presets(config.modules);
    std::map<std::string, const sensor_config*> wanted;
    for (const auto& s : config.sensors) {
        wanted[s.name] = &s;
    }
    std::vector<std::string> names;
    {
        std::lock_guard l(sensors_mutex_);
        for (const auto& [name, s] : sensors_) {
            names.push_back(name);
        }
    }
    std::size_t kept = 0;
    std::size_t replaced = 0;
    std::size_t removed = 0;
    for (const auto& name : names) {
        std::shared_ptr<sensor_runtime> s;
        {
            std::lock_guard l(sensors_mutex_);
            s = sensors_.at(name);
        }
        const auto it = wanted.find(name);
        bool keep = false;
        if (it != wanted.end()) {
            std::lock_guard l(s->mutex);
            // Labels are part of every series, so new labels take new series.
            keep = s->config.same_instance(*it->second) && s->config.labels == it->second->labels;
            if (keep) {
                if (s->config.limits != it->second->limits) {
                    s->config.limits = it->second->limits;
                    s->channels.reset();
                }
                if (s->config.interval != it->second->interval) {
                    s->config.interval = it->second->interval;
                    scheduler_->set_interval(name, std::chrono::duration_cast<duration>(s->config.interval));
                }
            }
        }
        if (keep) {
            ++kept;
            wanted.erase(it);
            continue;
        }
        remove_sensor(name);
        if (it != wanted.end()) {
            ++replaced;
            add_sensor(*it->second);
            wanted.erase(it);
        } else {
            ++removed;
        }
    }
    for (const auto& s : config.sensors) {
        if (wanted.count(s.name) != 0) {
            add_sensor(s);
        }
    }
    log_.write(log_level::info, "reloaded",
               {{"kept", std::to_string(kept)},
                {"replaced", std::to_string(replaced)},
                {"removed", std::to_string(removed)},
                {"added", std::to_string(wanted.size())}});
}

duration probe_service::stop_grace() const {
    std::int64_t longest = 0;
    std::lock_guard lock(sensors_mutex_);
    for (const auto& [name, s] : sensors_) {
        longest =
            std::max({longest, setting_seconds(s->config, "timeout"), setting_seconds(s->config, "query_timeout")});
    }
    // A blacklist sensor asks its servers one after the other, each within the timeout.
    return std::chrono::seconds(std::min<std::int64_t>(longest, 900) + 2);
}

bool probe_service::stop(std::optional<duration> grace) {
    std::lock_guard lock(reload_mutex_);
    if (stopped_) {
        return true;
    }
    stopped_ = true;
    if (scheduler_) {
        const auto still_running = scheduler_->stop(grace.value_or(stop_grace()));
        if (still_running != 0) {
            log_.write(log_level::error, "stop_incomplete", {{"running", std::to_string(still_running)}});
            return false;
        }
    }
    std::vector<std::string> names;
    {
        std::lock_guard l(sensors_mutex_);
        for (const auto& [name, s] : sensors_) {
            names.push_back(name);
        }
    }
    for (const auto& name : names) {
        remove_sensor(name);
    }
    scheduler_.reset();
    session_.reset(); // CleanupModule
    log_.write(log_level::info, "stopped", {{"sensors", std::to_string(names.size())}});
    return true;
}

bool probe_service::ready() const {
    std::lock_guard lock(sensors_mutex_);
    return std::all_of(sensors_.begin(), sensors_.end(), [](const auto& entry) {
        std::lock_guard l(entry.second->mutex);
        return entry.second->scanned || entry.second->status == sensor_status::waiting;
    });
}

std::shared_ptr<const probe_request_reader> probe_service::probe_reader() const {
    std::lock_guard lock(sensors_mutex_);
    return probe_reader_;
}

void probe_service::set_presets(const std::map<std::string, module_preset>& presets) {
    auto reader = std::make_shared<const probe_request_reader>(presets, *manifest_);
    std::lock_guard lock(sensors_mutex_);
    probe_reader_ = std::move(reader);
}

std::vector<std::shared_ptr<sensor_runtime>> probe_service::sensors() const {
    std::lock_guard lock(sensors_mutex_);
    std::vector<std::shared_ptr<sensor_runtime>> all;
    for (const auto& [name, s] : sensors_) {
        all.push_back(s);
    }
    return all;
}

std::int32_t probe_service::module_id(const std::string& name) const {
    std::shared_ptr<sensor_runtime> s;
    {
        std::lock_guard lock(sensors_mutex_);
        const auto it = sensors_.find(name);
        if (it == sensors_.end()) {
            return 0;
        }
        s = it->second;
    }
    std::lock_guard l(s->mutex);
    return s->module_id;
}

void probe_service::set_status(sensor_runtime& sensor, sensor_status status) {
    sensor.status = status;
    if (sensor.series) {
        sensor.series->set_state(status == sensor_status::pending ? "" : status_name(status));
    }
}

void probe_service::run(const std::shared_ptr<sensor_runtime>& sensor) {
    bool created = false;
    {
        std::lock_guard lock(sensor->mutex);
        created = sensor->module_id != 0;
    }
    if (created || establish(sensor)) {
        scan(sensor);
    }
}

std::string probe_service::refusal(const std::string& what, std::int32_t code) {
    std::string reason = what + " refused (code " + std::to_string(code) + ")";
    for (const auto& line : session_->take_runtime_log()) {
        if (line.level <= 3) {
            reason += ": " + line.text;
        }
    }
    return reason;
}

void probe_service::retry_later(const std::shared_ptr<sensor_runtime>& sensor, sensor_status status,
                                const std::string& reason) {
    std::string name;
    duration wait{};
    {
        std::lock_guard lock(sensor->mutex);
        const auto interval = std::chrono::duration_cast<duration>(sensor->config.interval);
        sensor->backoff = sensor->backoff == duration::zero() ? options_.first_backoff : sensor->backoff * 2;
        sensor->backoff = std::min(sensor->backoff, interval);
        wait = sensor->backoff;
        sensor->reason = reason;
        set_status(*sensor, status);
        name = sensor->config.name;
    }
    scheduler_->postpone(name, clock_.now() + wait);
    log_.write(log_level::warning, status == sensor_status::waiting ? "precondition_failed" : "create_failed",
               {{"sensor", name},
                {"reason", reason},
                {"retry_in", std::to_string(std::chrono::duration_cast<std::chrono::seconds>(wait).count()) + "s"}});
}

bool probe_service::establish(const std::shared_ptr<sensor_runtime>& sensor) {
    sensor_config config;
    {
        std::lock_guard lock(sensor->mutex);
        config = sensor->config;
    }
    const auto* kind = manifest_->find_kind(config.kind);
    for (const auto& check : kind != nullptr ? kind->required_checks : std::vector<std::string>{}) {
        auto settings = config.settings;
        settings.set_kind(check);
        const std::int32_t id = next_check_id_++;
        const std::int32_t code = session_->check(id, settings);
        const auto result = session_->take_check_result(id);
        if (code != 0 || !result || !result->success()) {
            const std::string reason = code != 0 ? refusal(check, code)
                                       : !result ? check + " sent no result"
                                                 : check + " failed";
            retry_later(sensor, sensor_status::waiting, reason);
            return false;
        }
    }
    const std::int32_t id = next_id_++;
    {
        // Registered first, so that the channels and log lines the module sends
        // while it creates the sensor find their way.
        std::lock_guard lock(sensors_mutex_);
        by_module_id_[id] = sensor;
    }
    const std::int32_t code = session_->create_sensor(id, config.settings);
    if (code != 0) {
        {
            std::lock_guard lock(sensors_mutex_);
            by_module_id_.erase(id);
        }
        retry_later(sensor, sensor_status::error, refusal("creating the sensor", code));
        return false;
    }
    std::lock_guard lock(sensor->mutex);
    sensor->module_id = id;
    sensor->backoff = duration::zero();
    sensor->reason.clear();
    log_.write(log_level::info, "sensor_created", {{"sensor", config.name}, {"id", std::to_string(id)}});
    return true;
}

void probe_service::scan(const std::shared_ptr<sensor_runtime>& sensor) {
    // The name and the kind never change for a sensor_runtime (a reload that
    // changes them makes a new one), so they are read without its lock.
    const std::string& kind = sensor->config.kind;
    std::int32_t id = 0;
    {
        std::lock_guard lock(sensor->mutex);
        id = sensor->module_id;
    }
    const auto begin = std::chrono::steady_clock::now();
    const std::int32_t code = session_->scan(id);
    auto result = session_->take_scan_result(id);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const auto defined = session_->channels(id);
    std::shared_ptr<const host_session::channel_map> judged;
    {
        std::lock_guard lock(sensor->mutex);
        if (!sensor->channels || sensor->defined_channels != defined) {
            sensor->channels =
                std::make_shared<const host_session::channel_map>(apply_limits(*defined, sensor->config.limits));
            sensor->defined_channels = defined;
        }
        judged = sensor->channels;
    }
    const auto& channels = *judged;

    std::string error_key;
    const char* status = nullptr; // judged from the result; none without one
    std::string reason;
    if (code != 0) {
        error_key = "probe.scan_refused";
        reason = refusal("the scan", code);
    } else if (!result) {
        error_key = "probe.no_result";
        reason = "the scan sent no result";
    } else {
        status = judge_status(*result, channels);
        if (result->response_code() != 0) {
            error_key = result->message().key().empty() ? "unknown" : result->message().key();
            // Translated here only for the log line of a failed scan.
            reason = evaluate(kind, *result, channels, *manifest_, options_.language).message;
        }
    }
    std::lock_guard lock(sensor->mutex);
    if (!sensor->series) {
        return; // removed meanwhile
    }
    const double now = epoch_seconds();
    sensor->scanned = true;
    sensor->last_scan_time = now;
    sensor->series->record_scan(status != nullptr && result->response_code() == 0, seconds, now, error_key);
    double response_time = seconds;
    if (status != nullptr) {
        for (const auto& value : result->values()) {
            if (const auto it = channels.find(value.channel_id()); it != channels.end()) {
                sensor->series->set_channel(it->second, value.value());
                if (is_channel(it->second, "response_time")) {
                    response_time = static_cast<double>(value.value()) / 1000;
                }
            }
        }
        if (kind == "dns_v2") {
            track_answer(*sensor, *result, now);
        }
        sensor->reason.clear();
        set_status(*sensor, std::string_view(status) == "ok"        ? sensor_status::ok
                            : std::string_view(status) == "warning" ? sensor_status::warning
                                                                    : sensor_status::error);
        // Overwritten in place after the first scan: its storage stays where it
        // was, and each scan's own blocks are freed soon after it, instead of
        // every scan leaving a new long-lived one among the worker's short-lived
        // ones (a fragmented heap made malloc itself the service's largest cost
        // beyond the module's).
        if (sensor->last_result) {
            sensor->last_result->CopyFrom(*result);
        } else {
            sensor->last_result = std::move(*result);
        }
        sensor->last_channels = std::move(judged);
    } else {
        sensor->reason = reason;
        set_status(*sensor, sensor_status::error);
    }
    // Room for the whole history was made with the sensor: no allocation per scan.
    auto& times = sensor->response_times;
    if (times.size() == sensor_runtime::history_capacity) {
        times.erase(times.begin());
    }
    times.push_back(response_time);
    if (!error_key.empty()) {
        log_.write(log_level::warning, "scan_error",
                   {{"sensor", sensor->config.name}, {"error", error_key}, {"reason", reason}});
    }
}

std::optional<scan_view> probe_service::last_view(const sensor_runtime& sensor) const {
    if (!sensor.last_result || !sensor.last_channels) {
        return std::nullopt;
    }
    return evaluate(sensor.config.kind, *sensor.last_result, *sensor.last_channels, *manifest_, options_.language);
}

void probe_service::on_module_log(const log_line& line) {
    if (line.source != wire::LogMessage::SENSOR) {
        // Two lines of each call into the module: worth a test before building the event.
        const auto level = line.level <= 3 ? log_level::warning : log_level::debug;
        if (log_.enabled(level)) {
            log_.write(level, "module_log", {{"text", line.text}});
        }
        return;
    }
    std::shared_ptr<sensor_runtime> s;
    {
        std::lock_guard lock(sensors_mutex_);
        const auto it = by_module_id_.find(line.sensor_id);
        if (it == by_module_id_.end()) {
            // A probe's lines go to the probe that asked for them; the probe
            // unregisters only after its last call into the module.
            if (const auto p = probe_logs_.find(line.sensor_id); p != probe_logs_.end()) {
                p->second->push_back(line.text);
            }
            return;
        }
        s = it->second;
    }
    std::lock_guard lock(s->mutex);
    append_log(*s, line.text);
}

void probe_service::track_answer(sensor_runtime& sensor, const host_wire::SensorScanResult& result, double now) {
    auto answer = answer_of(result);
    if (!answer) {
        return;
    }
    const auto change = sensor.answers.observe(std::move(*answer));
    if (!change) {
        return;
    }
    sensor.last_change_time = now;
    sensor.series->answer_changed(now);
    const std::string before = answer_text(change->before);
    const std::string after = answer_text(change->after);
    append_log(sensor, "Answer changed from: " + before + "\nAnswer changed to:   " + after);
    log_.write(log_level::warning, "answer_changed",
               {{"sensor", sensor.config.name}, {"before", before}, {"after", after}});
}

void probe_service::append_log(sensor_runtime& s, const std::string& text) {
    s.log.push_back(text);
    if (s.log.size() > sensor_runtime::log_capacity) {
        s.log.pop_front();
    }
    if (s.log_file) {
        *s.log_file << text << (text.ends_with('\n') ? "" : "\n") << std::flush;
    }
}

probe_outcome probe_service::probe(const host_wire::SensorData& settings, bool keep_log) {
    probe_outcome outcome;
    const auto begin = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    // Registers an id for the probe's log lines before the module can send any.
    const auto listen = [&](std::int32_t id) {
        if (keep_log) {
            std::lock_guard lock(sensors_mutex_);
            probe_logs_[id] = &outcome.log;
        }
    };
    const auto unlisten = [&](std::int32_t id) {
        if (keep_log) {
            std::lock_guard lock(sensors_mutex_);
            probe_logs_.erase(id);
        }
    };
    const auto* kind = manifest_->find_kind(settings.kind());
    for (const auto& check : kind != nullptr ? kind->required_checks : std::vector<std::string>{}) {
        // A probe that shows its log runs every check, so that its lines are there.
        if (!keep_log && probe_checks_.passed(check, settings, clock_.now())) {
            continue;
        }
        auto check_settings = settings;
        check_settings.set_kind(check);
        const std::int32_t id = next_check_id_++;
        listen(id);
        const std::int32_t code = session_->check(id, check_settings);
        const auto result = session_->take_check_result(id);
        unlisten(id);
        if (code != 0 || !result || !result->success()) {
            outcome.reason = code != 0 ? refusal(check, code) : !result ? check + " sent no result" : check + " failed";
            outcome.seconds = elapsed();
            return outcome;
        }
        probe_checks_.remember(check, settings, clock_.now());
    }
    const std::int32_t id = next_id_++;
    listen(id);
    const std::int32_t created = session_->create_sensor(id, settings);
    if (created != 0) {
        unlisten(id);
        outcome.reason = refusal("creating the sensor", created);
        outcome.seconds = elapsed();
        return outcome;
    }
    const std::int32_t code = session_->scan(id);
    const auto result = session_->take_scan_result(id);
    const auto defined = session_->channels(id);
    const auto& channels = *defined;
    session_->destroy(id);
    unlisten(id);
    outcome.seconds = elapsed();
    if (code != 0) {
        outcome.reason = refusal("the scan", code);
        return outcome;
    }
    if (!result) {
        outcome.reason = "the scan sent no result";
        return outcome;
    }
    outcome.success = result->response_code() == 0;
    if (keep_log) {
        // Translated and judged only for the answer that shows it to people.
        outcome.view = evaluate(settings.kind(), *result, channels, *manifest_, options_.language);
        outcome.reason = outcome.view->message;
    }
    for (const auto& value : result->values()) {
        if (const auto it = channels.find(value.channel_id()); it != channels.end()) {
            outcome.values.emplace_back(it->second, value.value());
        }
    }
    return outcome;
}

} // namespace vantrel::kelvane::probe::service
