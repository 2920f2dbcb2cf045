#include "service_config.hpp"

#include "setting_check.hpp"
#include "settings_builder.hpp"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace vantrel::kelvane::probe::service {
namespace {

constexpr std::int64_t max_interval_seconds = 7 * 24 * 3600;
constexpr std::int64_t max_workers = 4096;

// Labels the service sets itself; an extra label may not take their names.
const std::set<std::string> reserved_labels = {"sensor",   "kind", "state",  "error",       "le",
                                               "quantile", "host", "domain", "record_type", "blacklists"};

class reader {
public:
    reader(std::string origin) : origin_(std::move(origin)) {}

    [[noreturn]] void fail(const YAML::Node& at, const std::string& reason) const {
        const auto mark = at.Mark();
        fail_at(mark.is_null() ? 0 : mark.line + 1, mark.is_null() ? 0 : mark.column + 1, reason);
    }
    [[noreturn]] void fail_at(int line, int column, std::string reason) const {
        // One line per error: the lists that --set prints one per line are joined.
        for (const auto& [from, to] :
             {std::pair<std::string, std::string>{":\n  ", ": "}, {"\n  ", ", "}, {"\n", " "}}) {
            for (auto at = reason.find(from); at != std::string::npos; at = reason.find(from, at + to.size())) {
                reason.replace(at, from.size(), to);
            }
        }
        throw config_error(origin_ + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + reason);
    }

    // A mapping whose keys are all among `allowed`.
    void expect_map(const YAML::Node& node, const std::string& what, const std::vector<std::string>& allowed) const {
        if (!node.IsMap()) {
            fail(node, what + " must be a mapping");
        }
        std::set<std::string> seen;
        for (const auto& entry : node) {
            const std::string key = scalar(entry.first, what + " key");
            if (!allowed.empty() && std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
                std::string list;
                for (const auto& a : allowed) {
                    list += (list.empty() ? "" : ", ") + a;
                }
                fail(entry.first, "unknown key \"" + key + "\" in " + what + "; allowed: " + list);
            }
            if (!seen.insert(key).second) {
                fail(entry.first, "\"" + key + "\" is given twice in " + what);
            }
        }
    }

    std::string scalar(const YAML::Node& node, const std::string& what) const {
        if (!node.IsScalar()) {
            fail(node, what + " must be a single value");
        }
        return node.Scalar();
    }

    std::int64_t integer(const YAML::Node& node, const std::string& what, std::int64_t min, std::int64_t max) const {
        const std::string text = scalar(node, what);
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || value < min || value > max) {
            fail(node, what + " must be a whole number from " + std::to_string(min) + " to " + std::to_string(max) +
                           ", not \"" + text + "\"");
        }
        return value;
    }

    double number(const YAML::Node& node, const std::string& what) const {
        const std::string text = scalar(node, what);
        double value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
            fail(node, what + " must be a number, not \"" + text + "\"");
        }
        return value;
    }

private:
    std::string origin_;
};

const kind_description& find_sensor_kind(const reader& r, const YAML::Node& node, const manifest_model& manifest) {
    const std::string name = r.scalar(node, "kind");
    const auto* kind = manifest.find_kind(name);
    if (kind == nullptr || kind->is_check) {
        std::string list;
        for (const auto& k : manifest.kind_names(false)) {
            list += (list.empty() ? "" : ", ") + k;
        }
        r.fail(node, "unknown sensor kind \"" + name + "\"; known: " + list);
    }
    return *kind;
}

// The settings of one sensor or preset: checked key by key where they stand,
// then built as `--set` builds them (defaults, then the values given).
host_wire::SensorData read_settings(const reader& r, const YAML::Node& owner, const YAML::Node& node,
                                    const kind_description& kind, bool require) {
    settings_request request;
    if (node) {
        r.expect_map(node, "settings", {});
        std::set<std::string> keys;
        for (const auto& entry : node) {
            const std::string key = entry.first.Scalar();
            const setting_description* setting = nullptr;
            try {
                setting = &resolve_setting(kind, key);
            } catch (const std::exception& e) {
                r.fail(entry.first, e.what());
            }
            if (!keys.insert(setting->key).second) {
                r.fail(entry.first, "\"" + key + "\" names " + setting->key + ", which is already set");
            }
            if (!entry.second.IsScalar()) {
                r.fail(entry.second, "the value of " + key + " must be a single value");
            }
            const std::string value = entry.second.Scalar();
            // The check never quotes the value of a secure setting.
            if (const auto problem = check_setting_value(*setting, value)) {
                r.fail(entry.second, *problem);
            }
            // build_settings undoes backslash escapes of the command line; a
            // YAML value is meant literally.
            std::string escaped;
            for (const char c : value) {
                escaped += c == '\\' ? "\\\\" : std::string(1, c);
            }
            request.assignments.push_back(setting->key + "=" + escaped);
        }
    }
    if (!require) {
        // A preset leaves the device and per-request values to the request.
        host_wire::SensorData data;
        data.set_kind(kind.name);
        for (const auto& s : kind.settings) {
            (*data.mutable_settings())[s.key] = s.default_value;
        }
        for (const auto& a : request.assignments) {
            const auto eq = a.find('=');
            (*data.mutable_settings())[a.substr(0, eq)] = unescape(a.substr(eq + 1));
        }
        return data;
    }
    try {
        return build_settings(kind, request);
    } catch (const std::exception& e) {
        r.fail(owner, e.what());
    }
}

channel_limits read_limits(const reader& r, const YAML::Node& node, const manifest_model& manifest) {
    channel_limits limits;
    r.expect_map(node, "limits", {});
    for (const auto& entry : node) {
        const std::string channel = entry.first.Scalar();
        if (!manifest.text("channel." + channel, "English")) {
            r.fail(entry.first, "\"" + channel + "\" is not a channel of this module");
        }
        r.expect_map(entry.second, "limits of " + channel,
                     {"lower_error", "lower_warning", "upper_warning", "upper_error"});
        for (const auto& field : entry.second) {
            set_limit(limits[channel], field.first.Scalar(),
                      r.number(field.second, channel + "." + field.first.Scalar()));
        }
    }
    return limits;
}

sensor_config read_sensor(const reader& r, const YAML::Node& node, const manifest_model& manifest) {
    static const std::regex name_pattern("[A-Za-z0-9_.-]+");
    static const std::regex label_pattern("[a-zA-Z_][a-zA-Z0-9_]*");
    r.expect_map(node, "a sensor", {"name", "kind", "interval", "labels", "settings", "limits"});
    sensor_config sensor;
    sensor.line = node.Mark().line + 1;
    if (!node["name"]) {
        r.fail(node, "a sensor needs a name");
    }
    sensor.name = r.scalar(node["name"], "name");
    if (!std::regex_match(sensor.name, name_pattern)) {
        r.fail(node["name"], "the name \"" + sensor.name + "\" may hold only letters, digits, '_', '.' and '-'");
    }
    if (!node["kind"]) {
        r.fail(node, "the sensor " + sensor.name + " needs a kind");
    }
    const kind_description& kind = find_sensor_kind(r, node["kind"], manifest);
    sensor.kind = kind.name;
    sensor.settings = read_settings(r, node, node["settings"], kind, true);
    if (const auto interval = node["interval"]) {
        sensor.interval = std::chrono::seconds(r.integer(interval, "interval", 1, max_interval_seconds));
    } else {
        const std::string& text = sensor.settings.settings().at("interval");
        std::int64_t seconds = 0;
        std::from_chars(text.data(), text.data() + text.size(), seconds);
        sensor.interval = std::chrono::seconds(std::clamp<std::int64_t>(seconds, 1, max_interval_seconds));
    }
    if (const auto labels = node["labels"]) {
        r.expect_map(labels, "labels", {});
        for (const auto& entry : labels) {
            const std::string name = entry.first.Scalar();
            if (!std::regex_match(name, label_pattern) || name.starts_with("__")) {
                r.fail(entry.first, "\"" + name + "\" is not a label name ([a-zA-Z_][a-zA-Z0-9_]*)");
            }
            if (reserved_labels.count(name) != 0) {
                r.fail(entry.first, "the label \"" + name + "\" is set by the service itself");
            }
            sensor.labels[name] = r.scalar(entry.second, "the label " + name);
        }
    }
    if (const auto limits = node["limits"]) {
        sensor.limits = read_limits(r, limits, manifest);
    }
    return sensor;
}

} // namespace

std::string setting_value(const host_wire::SensorData& settings, std::string_view name) {
    for (const auto& [key, value] : settings.settings()) {
        if (key == name ||
            (key.size() > name.size() && key.ends_with(name) && key[key.size() - name.size() - 1] == '.')) {
            return value;
        }
    }
    return {};
}

bool sensor_config::same_instance(const sensor_config& other) const {
    if (kind != other.kind || settings.settings_size() != other.settings.settings_size()) {
        return false;
    }
    for (const auto& [key, value] : settings.settings()) {
        const auto it = other.settings.settings().find(key);
        if (it == other.settings.settings().end() || it->second != value) {
            return false;
        }
    }
    return true;
}

std::pair<std::string, std::uint16_t> parse_listen(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        throw std::invalid_argument("\"" + text + "\" is not ADDRESS:PORT");
    }
    std::string address = text.substr(0, colon);
    if (address.size() > 2 && address.front() == '[' && address.back() == ']') {
        address = address.substr(1, address.size() - 2);
    }
    const std::string port_text = text.substr(colon + 1);
    unsigned port = 0;
    const auto [end, error] = std::from_chars(port_text.data(), port_text.data() + port_text.size(), port);
    if (error != std::errc() || end != port_text.data() + port_text.size() || port > 65535 || port_text.empty()) {
        throw std::invalid_argument("\"" + port_text + "\" is not a port from 0 to 65535");
    }
    return {address, static_cast<std::uint16_t>(port)};
}

service_config parse_config(const std::string& text, const std::string& origin, const manifest_model& manifest) {
    const reader r(origin);
    YAML::Node root;
    try {
        root = YAML::Load(text);
    } catch (const YAML::Exception& e) {
        r.fail_at(e.mark.line + 1, e.mark.column + 1, e.msg);
    }
    service_config config;
    if (root.IsNull()) {
        return config;
    }
    r.expect_map(root, "the configuration", {"listen", "workers", "sensors", "modules"});
    if (const auto listen = root["listen"]) {
        try {
            std::tie(config.listen_address, config.listen_port) = parse_listen(r.scalar(listen, "listen"));
        } catch (const std::invalid_argument& e) {
            r.fail(listen, std::string("listen: ") + e.what());
        }
    }
    if (const auto workers = root["workers"]) {
        config.workers = static_cast<std::size_t>(r.integer(workers, "workers", 1, max_workers));
    }
    if (const auto sensors = root["sensors"]) {
        if (!sensors.IsSequence() && !sensors.IsNull()) {
            r.fail(sensors, "sensors must be a list");
        }
        std::map<std::string, int> lines;
        for (const auto& node : sensors) {
            auto sensor = read_sensor(r, node, manifest);
            if (const auto [it, fresh] = lines.emplace(sensor.name, sensor.line); !fresh) {
                r.fail(node["name"],
                       "the name \"" + sensor.name + "\" is already used on line " + std::to_string(it->second));
            }
            config.sensors.push_back(std::move(sensor));
        }
    }
    if (const auto modules = root["modules"]) {
        r.expect_map(modules, "modules", {});
        for (const auto& entry : modules) {
            r.expect_map(entry.second, "the module " + entry.first.Scalar(), {"kind", "settings"});
            if (!entry.second["kind"]) {
                r.fail(entry.second, "the module " + entry.first.Scalar() + " needs a kind");
            }
            const auto& kind = find_sensor_kind(r, entry.second["kind"], manifest);
            config.modules[entry.first.Scalar()] =
                module_preset{kind.name, read_settings(r, entry.second, entry.second["settings"], kind, false)};
        }
    }
    return config;
}

service_config load_config(const std::string& path, const manifest_model& manifest) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw config_error(path + ": cannot be read");
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parse_config(text.str(), path, manifest);
}

} // namespace vantrel::kelvane::probe::service
