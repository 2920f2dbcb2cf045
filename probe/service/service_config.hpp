#pragma once

#include "channel_limits.hpp"
#include "manifest_model.hpp"

#include <wexo_host.pb.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::probe::service {

// One sensor the service runs.
struct sensor_config {
    std::string name; // unique, [A-Za-z0-9_.-]+
    std::string kind;
    host_wire::SensorData settings; // every setting, defaults filled in, full keys
    std::chrono::seconds interval{60};
    std::map<std::string, std::string> labels; // extra labels of every series
    channel_limits limits;                     // host-side limits by channel name
    int line = 0;                              // where the sensor starts in the file (1-based)

    // Same instance: the kind and every setting are unchanged.
    bool same_instance(const sensor_config& other) const;
};

// A preset of /probe: a kind and settings, without a device.
struct module_preset {
    std::string kind;
    host_wire::SensorData settings;
};

struct service_config {
    std::string listen_address = "127.0.0.1";
    std::uint16_t listen_port = 9353;
    std::size_t workers = 64;
    std::vector<sensor_config> sensors;
    std::map<std::string, module_preset> modules;
};

// A configuration file that cannot be used; what() is "FILE:LINE:COLUMN: reason".
class config_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The value of the setting whose full key is `name` or ends in "." + `name`
// (the first one); empty when there is none.
std::string setting_value(const host_wire::SensorData& settings, std::string_view name);

// Reads and checks the whole configuration against the module's manifest:
// every key, kind, setting and value, every name unique. The first problem
// throws config_error naming the place and, where there is a choice, the
// allowed values. No message shows the value of a secure setting.
service_config load_config(const std::string& path, const manifest_model& manifest);
// The same for a text already in memory; `origin` names it in messages.
service_config parse_config(const std::string& text, const std::string& origin, const manifest_model& manifest);

// "ADDR:PORT", "[v6]:PORT". Throws std::invalid_argument with the reason.
std::pair<std::string, std::uint16_t> parse_listen(const std::string& text);

} // namespace vantrel::kelvane::probe::service
