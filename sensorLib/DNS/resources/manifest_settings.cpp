#include <dns/manifest.hpp>
#include <dns/manifest_settings.hpp>

#include <nlohmann/json.hpp>

namespace vantrel::kelvane::dns {

std::vector<manifest_setting> manifest_settings(std::string_view sensor_kind) {
    const auto manifest = nlohmann::json::parse(manifest_json_without_texts());
    std::vector<manifest_setting> settings;
    const auto& sensors = manifest.at("Sensors");
    const auto sensor = sensors.find(std::string(sensor_kind));
    if (sensor == sensors.end()) {
        return settings;
    }
    for (const auto& section_name : sensor->at("Settings").at("Sections")) {
        const auto section = section_name.get<std::string>();
        for (const auto& group_name : manifest.at("Sections").at(section).at("Groups")) {
            const auto group = group_name.get<std::string>();
            for (const auto& item : manifest.at("Groups").at(group).at("Items")) {
                const auto& setting = item.at("Setting");
                manifest_setting s;
                s.key = section + "." + group + "." + setting.at("Name").get<std::string>();
                s.default_value = setting.at("Default").get<std::string>();
                if (const auto flags = setting.find("Flags"); flags != setting.end()) {
                    for (const auto& flag : *flags) {
                        s.required = s.required || flag == "SettingFlagRequired";
                    }
                }
                settings.push_back(std::move(s));
            }
        }
    }
    return settings;
}

std::vector<std::string> manifest_setting_keys(std::string_view sensor_kind) {
    std::vector<std::string> keys;
    for (auto& setting : manifest_settings(sensor_kind)) {
        keys.push_back(std::move(setting.key));
    }
    return keys;
}

} // namespace vantrel::kelvane::dns
