#pragma once

#include "module_loader.hpp"
#include "recent_items.hpp"

#include <wexo_host.pb.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantrel::kelvane::probe {

namespace wire = vantrel::kelvane::host_wire;

struct log_line {
    wire::LogMessage::Source source = wire::LogMessage::RUNTIME;
    int32_t sensor_id = 0;
    int32_t level = 0;
    std::string text;
};

// One loaded and initialised module, as a host drives it: sends requests
// through the entry points and sorts every message that the callback brings
// (results, check results, channels, log lines). The callback may come from
// any scan thread; everything here is thread-safe.
class host_session {
public:
    using log_sink = std::function<void(const log_line&)>;
    using channel_map = std::map<int32_t, wire::ChannelOptions>;

    // Loads the module and initialises it. Throws std::runtime_error with the reason.
    explicit host_session(const std::string& module_path, log_sink on_log = {});
    ~host_session();
    host_session(const host_session&) = delete;
    host_session& operator=(const host_session&) = delete;

    int32_t api_level() const { return loader_.api().get_api_level(); }
    const module_loader::entry_points& api() const noexcept { return loader_.api(); }

    // The module's manifest JSON. Asked for with GetModuleInformation, whose
    // message arrives through the callback during the call: 150 KB with the
    // texts, and the host then needs no buffer of its own and no second call
    // for the size, as GetModuleInformationSync would.
    std::string manifest(bool include_texts);

    int32_t create_sensor(int32_t id, const wire::SensorData& settings);
    int32_t scan(int32_t id);
    int32_t check(int32_t id, const wire::SensorData& settings);
    // Also forgets what the sensor sent and nobody took (its channels too).
    int32_t destroy(int32_t id);

    // The newest scan result of a sensor, taken out of the session.
    std::optional<wire::SensorScanResult> take_scan_result(int32_t id);
    std::optional<wire::CheckResult> take_check_result(int32_t id);
    // Channels announced by a sensor, by channel id; never null. The map is
    // never changed once handed out: a new announcement makes a new one, so a
    // host can keep what it derived from it as long as the pointer is the same.
    std::shared_ptr<const channel_map> channels(int32_t id) const;
    // The runtime log lines written since the last call (warnings first of all
    // explain why a request was refused).
    std::vector<log_line> take_runtime_log();

private:
    static void on_message(uint64_t context, const uint8_t* data, uint32_t size);
    void receive(const uint8_t* data, uint32_t size);

    module_loader loader_;
    log_sink on_log_;
    mutable std::mutex mutex_;
    std::map<int32_t, wire::SensorScanResult> scan_results_;
    std::map<int32_t, wire::CheckResult> check_results_;
    struct channel_entry {
        std::shared_ptr<channel_map> map;
        bool handed_out = false; // then a change makes a new map
    };
    // Looked up on every scan among thousands of sensors: hashed.
    mutable std::unordered_map<int32_t, channel_entry> channels_;
    recent_items<log_line> runtime_log_;
    std::optional<std::string> pending_information_;
    bool initialized_ = false;
};

} // namespace vantrel::kelvane::probe
