#include <libwexohelper/responses/sensor_scan_result.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include <libstringutils/utf8.hpp>
#include <wexo.pb.h>

#include <algorithm>

namespace vantrel::kelvane::libwexohelper::responses {

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id, std::shared_ptr<const settings::channel_map> channels)
    : sensor_id_(sensor_id), channels_(std::move(channels)) {}

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id, const libi18n::i18n_exception& error)
    : sensor_id_(sensor_id), message_(error.message_key()) {}

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id, const std::exception& error)
    : sensor_id_(sensor_id), message_(libi18n::i18n_msg::plain(error.what())) {}

sensor_scan_result& sensor_scan_result::set_value(std::int32_t channel_id, std::int64_t value) {
    if (!channels_) {
        throw utils::exceptions::channel_map_not_initialized();
    }
    if (!channels_->is_definition_registered(channel_id) && !channels_->is_known_to_runtime(channel_id)) {
        throw utils::exceptions::channel_not_defined(std::to_string(channel_id));
    }
    const auto it = std::find_if(values_.begin(), values_.end(), [&](const auto& v) { return v.first == channel_id; });
    if (it != values_.end()) {
        it->second = value;
    } else {
        values_.emplace_back(channel_id, value);
    }
    return *this;
}

sensor_scan_result& sensor_scan_result::set_error_code(std::int32_t code) {
    error_code_ = code;
    return *this;
}

sensor_scan_result& sensor_scan_result::set_response_code(scan_response_codes code) {
    response_code_ = code;
    return *this;
}

sensor_scan_result& sensor_scan_result::set_response_message(const libi18n::i18n_msg& message) {
    message_ = message;
    return *this;
}

void sensor_scan_result::fill(wire::Envelope& envelope) const {
    auto* result = envelope.mutable_sensor_scan_result();
    result->set_sensor_id(sensor_id_);
    result->set_response_code(static_cast<wire::ScanResponseCode>(response_code_));
    result->set_error_code(error_code_);
    auto* text = result->mutable_message();
    // Messages quote answers and settings; a string field that is not UTF-8
    // would make the whole result unreadable for the host.
    text->set_key(message_.key());
    libstringutils::make_valid_utf8(*text->mutable_key());
    for (const auto& argument : message_.arguments()) {
        libstringutils::make_valid_utf8(*text->add_arguments() = argument);
    }
    text->set_english(message_.english());
    libstringutils::make_valid_utf8(*text->mutable_english());
    for (const auto& [id, value] : values_) {
        auto* v = result->add_values();
        v->set_channel_id(id);
        v->set_value(value);
    }
}

void check_result::fill(wire::Envelope& envelope) const {
    auto* result = envelope.mutable_check_result();
    result->set_check_id(check_id_);
    result->set_success(success_);
}

} // namespace vantrel::kelvane::libwexohelper::responses
