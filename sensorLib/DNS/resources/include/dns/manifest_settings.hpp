#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantrel::kelvane::dns {

// One setting as the manifest declares it for a sensor.
struct manifest_setting {
    std::string key;           // "section.group.setting", the key under which the host sends the value
    std::string default_value; // the manifest's "Default", always text
    bool required = false;     // carries "SettingFlagRequired"
};

// The settings a sensor kind shows, read from manifest_json(): every group of every section that the
// sensor names, in manifest order. Empty for a kind the manifest does not declare (and for checks, which
// have no sections). Meant for tests and tools: parses the manifest on every call. Throws nlohmann's
// parse errors only if the manifest itself were broken.
std::vector<manifest_setting> manifest_settings(std::string_view sensor_kind);

// Only the keys of manifest_settings(sensor_kind).
std::vector<std::string> manifest_setting_keys(std::string_view sensor_kind);

} // namespace vantrel::kelvane::dns
