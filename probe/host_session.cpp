#include "host_session.hpp"

#include <memory>
#include <stdexcept>

namespace vantrel::kelvane::probe {
namespace {

// Enough runtime lines to explain the last few requests; older ones are dropped.
constexpr std::size_t runtime_log_capacity = 1000;

std::string serialise(const wire::SensorData& settings) {
    std::string bytes;
    settings.SerializeToString(&bytes);
    return bytes;
}

const uint8_t* as_bytes(const std::string& bytes) {
    return reinterpret_cast<const uint8_t*>(bytes.data());
}

} // namespace

host_session::host_session(const std::string& module_path, log_sink on_log)
    : loader_(module_path), on_log_(std::move(on_log)), runtime_log_(runtime_log_capacity) {
    const int32_t code = loader_.api().initialize_module(reinterpret_cast<uint64_t>(this), &host_session::on_message);
    if (code != 0) {
        throw std::runtime_error("The module " + module_path + " refused to initialise (code " + std::to_string(code) +
                                 ").");
    }
    initialized_ = true;
}

host_session::~host_session() {
    if (initialized_) {
        loader_.api().cleanup_module();
    }
}

void host_session::on_message(uint64_t context, const uint8_t* data, uint32_t size) {
    reinterpret_cast<host_session*>(context)->receive(data, size);
}

void host_session::receive(const uint8_t* data, uint32_t size) {
    wire::Envelope envelope;
    if (!envelope.ParseFromArray(data, static_cast<int>(size))) {
        log_line line{wire::LogMessage::RUNTIME, 0, 3,
                      "probe: the module sent " + std::to_string(size) + " bytes that are not a message"};
        std::lock_guard lock(mutex_);
        runtime_log_.push(line);
        return;
    }
    if (envelope.body_case() == wire::Envelope::kLogMessage) {
        // Handed on, then copied into the runtime log's oldest slot, whose
        // storage it reuses: every call into the module writes two.
        auto& m = *envelope.mutable_log_message();
        log_line line{m.source(), m.sensor_id(), m.level(), std::move(*m.mutable_text())};
        if (on_log_) {
            on_log_(line);
        }
        if (line.source == wire::LogMessage::RUNTIME) {
            std::lock_guard lock(mutex_);
            runtime_log_.push(line);
        }
        return;
    }
    std::lock_guard lock(mutex_);
    switch (envelope.body_case()) {
    case wire::Envelope::kSensorScanResult:
        scan_results_[envelope.sensor_scan_result().sensor_id()] = std::move(*envelope.mutable_sensor_scan_result());
        break;
    case wire::Envelope::kCheckResult:
        check_results_[envelope.check_result().check_id()] = std::move(*envelope.mutable_check_result());
        break;
    case wire::Envelope::kDynamicChannel: {
        const auto& channel = envelope.dynamic_channel();
        auto& current = channels_[channel.sensor_id()];
        // A map handed out stays as it is; one nobody has seen yet (a
        // sensor announcing its channels as it is created) grows in place.
        if (!current.map || current.handed_out) {
            current.map = current.map ? std::make_shared<channel_map>(*current.map) : std::make_shared<channel_map>();
            current.handed_out = false;
        }
        (*current.map)[channel.options().id()] = channel.options();
        break;
    }
    case wire::Envelope::kModuleInformation:
        pending_information_ = std::move(*envelope.mutable_module_information()->mutable_manifest_json());
        break;
    case wire::Envelope::kLogMessage:
    case wire::Envelope::BODY_NOT_SET:
        break;
    }
}

std::string host_session::manifest(bool include_texts) {
    {
        std::lock_guard lock(mutex_);
        pending_information_.reset();
    }
    loader_.api().get_module_information(include_texts);
    std::lock_guard lock(mutex_);
    if (!pending_information_) {
        throw std::runtime_error("The module sent no module information.");
    }
    std::string manifest = std::move(*pending_information_);
    pending_information_.reset();
    return manifest;
}

int32_t host_session::create_sensor(int32_t id, const wire::SensorData& settings) {
    const auto bytes = serialise(settings);
    return loader_.api().create_sensor_instance(id, as_bytes(bytes), static_cast<uint32_t>(bytes.size()));
}

int32_t host_session::scan(int32_t id) {
    return loader_.api().execute_sensor_scan(id);
}

int32_t host_session::check(int32_t id, const wire::SensorData& settings) {
    const auto bytes = serialise(settings);
    return loader_.api().execute_check(id, as_bytes(bytes), static_cast<uint32_t>(bytes.size()));
}

int32_t host_session::destroy(int32_t id) {
    const int32_t code = loader_.api().destroy_sensor_instance(id);
    // A destroyed sensor sends nothing more, so what is left of it would
    // only grow the maps, by one entry for each short-lived sensor (every
    // /probe request is one).
    std::lock_guard lock(mutex_);
    channels_.erase(id);
    scan_results_.erase(id);
    return code;
}

std::optional<wire::SensorScanResult> host_session::take_scan_result(int32_t id) {
    std::lock_guard lock(mutex_);
    const auto it = scan_results_.find(id);
    if (it == scan_results_.end()) {
        return std::nullopt;
    }
    auto result = std::move(it->second);
    scan_results_.erase(it);
    return result;
}

std::optional<wire::CheckResult> host_session::take_check_result(int32_t id) {
    std::lock_guard lock(mutex_);
    const auto it = check_results_.find(id);
    if (it == check_results_.end()) {
        return std::nullopt;
    }
    auto result = it->second;
    check_results_.erase(it);
    return result;
}

std::shared_ptr<const host_session::channel_map> host_session::channels(int32_t id) const {
    static const auto none = std::make_shared<const channel_map>();
    std::lock_guard lock(mutex_);
    const auto it = channels_.find(id);
    if (it == channels_.end()) {
        return none;
    }
    it->second.handed_out = true;
    return it->second.map;
}

std::vector<log_line> host_session::take_runtime_log() {
    std::lock_guard lock(mutex_);
    return runtime_log_.take();
}

} // namespace vantrel::kelvane::probe
