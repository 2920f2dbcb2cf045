#include <libwexohelper/settings/sensor_data_wrapper.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include "settings_json.hpp"
#include "utf8_check.hpp"

#include <wexo.pb.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace vantrel::kelvane::libwexohelper::settings {

sensor_data_wrapper::sensor_data_wrapper(const void* bytes, std::uint32_t size)
    : data_(std::make_unique<wire::SensorData>()) {
    if (bytes == nullptr && size != 0) {
        error_ = "Settings pointer is null but " + std::to_string(size) + " bytes were announced.";
    } else if (const auto not_utf8 = find_text_that_is_not_utf8(bytes, size)) {
        // Checked before protobuf parses, which would refuse the bytes without
        // saying which setting is at fault.
        error_ = "Settings data is refused: " + *not_utf8 + " is not valid UTF-8 text.";
    } else if (size > static_cast<std::uint32_t>(std::numeric_limits<int>::max()) ||
               !data_->ParseFromArray(bytes, static_cast<int>(size))) {
        error_ = "Settings data of " + std::to_string(size) + " bytes is not a valid settings message.";
        data_->Clear();
    }
}

sensor_data_wrapper::~sensor_data_wrapper() = default;

const std::string& sensor_data_wrapper::kind() const {
    return data_->kind();
}

std::string sensor_data_wrapper::get_value(std::string_view key) const {
    bool found = false;
    auto value = get_value(key, found);
    if (!found) {
        throw utils::exceptions::setting_not_available(std::string(key));
    }
    return value;
}

std::string sensor_data_wrapper::get_value(std::string_view key, bool& found) const {
    const auto& settings = data_->settings();
    const auto it = settings.find(std::string(key));
    found = it != settings.end();
    return found ? it->second : std::string();
}

std::map<int, std::string> sensor_data_wrapper::get_channels() const {
    return {data_->channels().begin(), data_->channels().end()};
}

std::map<std::string, std::string> sensor_data_wrapper::get_persistent_data() const {
    return {data_->persistent_data().begin(), data_->persistent_data().end()};
}

bool sensor_data_wrapper::is_secure_key(std::string_view key) noexcept {
    return key == "vantrelcloudapikey" || key.ends_with(".vantrelcloudapikey");
}

namespace {

// A map's entries as views, sorted by key: nothing of the settings is copied
// for the trace line.
std::vector<json_entry> sorted_entries(const google::protobuf::Map<std::string, std::string>& map) {
    std::vector<json_entry> entries;
    entries.reserve(map.size());
    for (const auto& [key, value] : map) {
        entries.emplace_back(key, value);
    }
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return entries;
}

} // namespace

std::string sensor_data_wrapper::to_json() const {
    if (!valid()) {
        return "{}";
    }
    auto settings = sorted_entries(data_->settings());
    for (auto& [key, value] : settings) {
        if (is_secure_key(key) && !value.empty()) {
            value = "********";
        }
    }
    // Channel ids sort as numbers; their text needs a home while the views live.
    std::vector<std::pair<int, std::string_view>> by_id;
    by_id.reserve(data_->channels().size());
    for (const auto& [id, text] : data_->channels()) {
        by_id.emplace_back(id, text);
    }
    std::sort(by_id.begin(), by_id.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> ids;
    ids.reserve(by_id.size());
    std::vector<json_entry> channels;
    channels.reserve(by_id.size());
    for (const auto& [id, text] : by_id) {
        channels.emplace_back(ids.emplace_back(std::to_string(id)), text);
    }
    const auto persistent_data = sorted_entries(data_->persistent_data());
    return render_settings_json({data_->kind(), settings, channels, persistent_data});
}

} // namespace vantrel::kelvane::libwexohelper::settings
