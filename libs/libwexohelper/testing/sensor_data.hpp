#pragma once

// Settings as a host sends them, for the unit tests: the serialised message,
// a wrapper over it, and a wrapper that remembers which keys were read.

#include <libwexohelper/settings/sensor_data_wrapper.hpp>

#include <wexo.pb.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::libwexohelper::testing {

using settings_map = std::map<std::string, std::string>;

inline std::string sensor_data_bytes(const std::string& kind, const settings_map& settings,
                                     const std::map<int, std::string>& channels = {}) {
    wire::SensorData data;
    data.set_kind(kind);
    data.mutable_settings()->insert(settings.begin(), settings.end());
    data.mutable_channels()->insert(channels.begin(), channels.end());
    return data.SerializeAsString();
}

// The wrapper parses the bytes when it is made, so they need not outlive it.
template <class Wrapper = settings::sensor_data_wrapper> Wrapper wrap(const std::string& bytes) {
    return Wrapper(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// Remembers every key asked for, in the order asked.
class recording_wrapper final : public settings::sensor_data_wrapper {
public:
    using sensor_data_wrapper::sensor_data_wrapper;
    std::string get_value(std::string_view key) const override {
        asked.emplace_back(key);
        return sensor_data_wrapper::get_value(key);
    }
    std::string get_value(std::string_view key, bool& found) const override {
        asked.emplace_back(key);
        return sensor_data_wrapper::get_value(key, found);
    }
    mutable std::vector<std::string> asked;
};

} // namespace vantrel::kelvane::libwexohelper::testing
