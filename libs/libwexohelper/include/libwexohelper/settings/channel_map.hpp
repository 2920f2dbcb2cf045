#pragma once

#include <libwexohelper/channels/dynamic_channel_options.hpp>

#include <map>
#include <string>

namespace vantrel::kelvane::libwexohelper::settings {

// A sensor's channel definitions, and the channels the host already knows
// (those whose values came with the settings). Not thread-safe: a sensor
// builds it while it is created and reads it while it scans.
class channel_map {
public:
    channel_map() = default;
    explicit channel_map(std::map<int, std::string> known_to_runtime) : known_(std::move(known_to_runtime)) {}

    // Throws channel_already_defined when the id is taken.
    void register_definition(const channels::dynamic_channel_options& options);
    bool is_definition_registered(const int& channel_id) const;
    // True when a definition with the same id is registered.
    bool is_definition_registered(const channels::dynamic_channel_options& options) const;
    bool is_known_to_runtime(int channel_id) const { return known_.contains(channel_id); }

    // Null when the id is not registered.
    const channels::dynamic_channel_options* find(int channel_id) const;
    const std::map<int, channels::dynamic_channel_options>& definitions() const noexcept { return definitions_; }

private:
    std::map<int, std::string> known_;
    std::map<int, channels::dynamic_channel_options> definitions_;
};

} // namespace vantrel::kelvane::libwexohelper::settings
