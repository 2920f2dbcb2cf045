#include <libwexohelper/settings/sensor_data_wrapper.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include "settings_json.hpp"
#include "utf8_check.hpp"

#include <wexo.pb.h>

#include <limits>

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

std::string sensor_data_wrapper::to_json() const {
    if (!valid()) {
        return "{}";
    }
    std::map<std::string, std::string> masked(data_->settings().begin(), data_->settings().end());
    for (auto& [key, value] : masked) {
        if (is_secure_key(key) && !value.empty()) {
            value = "********";
        }
    }
    const auto channels = get_channels();
    const auto persistent_data = get_persistent_data();
    return render_settings_json({data_->kind(), masked, channels, persistent_data});
}

} // namespace vantrel::kelvane::libwexohelper::settings
