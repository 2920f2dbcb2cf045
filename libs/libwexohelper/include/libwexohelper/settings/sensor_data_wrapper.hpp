#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace vantrel::kelvane::wire {
class SensorData;
}

namespace vantrel::kelvane::libwexohelper::settings {

// The host's settings bytes for one sensor or check (a serialised wire
// SensorData). Construction never throws: bytes that are not a settings message
// leave the wrapper invalid, with the reason in error().
class sensor_data_wrapper {
public:
    sensor_data_wrapper(const void* bytes, std::uint32_t size);
    virtual ~sensor_data_wrapper();
    sensor_data_wrapper(const sensor_data_wrapper&) = delete;
    sensor_data_wrapper& operator=(const sensor_data_wrapper&) = delete;

    bool valid() const noexcept { return error_.empty(); }
    const std::string& error() const noexcept { return error_; }
    const std::string& kind() const;

    // The text of the setting under `key`. Throws setting_not_available.
    virtual std::string get_value(std::string_view key) const;
    // The same, but a missing setting yields "" and found = false instead of an error.
    virtual std::string get_value(std::string_view key, bool& found) const;

    std::map<int, std::string> get_channels() const;
    std::map<std::string, std::string> get_persistent_data() const;

    // The whole settings as JSON, secure settings masked as "********". For tracing.
    std::string to_json() const;

    // Keys whose values never reach a log or trace.
    static bool is_secure_key(std::string_view key) noexcept;

private:
    std::unique_ptr<wire::SensorData> data_;
    std::string error_;
};

} // namespace vantrel::kelvane::libwexohelper::settings
