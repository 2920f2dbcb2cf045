#include <libwexohelper/responses/sensor_scan_result.hpp>
#include <libwexohelper/utils/exceptions.hpp>

#include "messaging/envelope_fields.hpp"

#include <libstringutils/utf8.hpp>
#include <wexo.pb.h>

#include <algorithm>

namespace vantrel::kelvane::libwexohelper::responses {

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id, std::shared_ptr<const settings::channel_map> channels)
    : sensor_id_(sensor_id), channels_(std::move(channels)) {
    if (channels_) {
        // Usually one value per declared channel: one allocation.
        values_.reserve(channels_->definitions().size());
    }
}

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

sensor_scan_result& sensor_scan_result::set_response_message(libi18n::i18n_msg message) {
    message_ = std::move(message);
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

void sensor_scan_result::encode(messaging::envelope_bytes& out) const {
    namespace f = messaging::fields;
    using result = wire::SensorScanResult;
    using text = wire::I18nText;
    using value = wire::ChannelValue;
    constexpr int in_envelope = wire::Envelope::kSensorScanResultFieldNumber;

    // The same texts as fill() writes, each made valid UTF-8 once.
    const f::utf8_text key(message_.key());
    std::vector<f::utf8_text> arguments;
    arguments.reserve(message_.arguments().size());
    for (const auto& argument : message_.arguments()) {
        arguments.emplace_back(argument);
    }
    const std::string rendered = message_.is_plain() ? std::string() : message_.english();
    const f::utf8_text english(message_.is_plain() ? std::string_view(message_.plain_text()) : rendered);

    std::size_t message_size =
        f::string_size(text::kKeyFieldNumber, key.view()) + f::string_size(text::kEnglishFieldNumber, english.view());
    for (const auto& argument : arguments) {
        message_size += f::always_size(text::kArgumentsFieldNumber, argument.view().size());
    }
    const auto value_size = [](const std::pair<std::int32_t, std::int64_t>& v) {
        return f::int32_size(value::kChannelIdFieldNumber, v.first) + f::int64_size(value::kValueFieldNumber, v.second);
    };
    std::size_t body = f::int32_size(result::kSensorIdFieldNumber, sensor_id_) +
                       f::enum_size(result::kResponseCodeFieldNumber, static_cast<int>(response_code_)) +
                       f::int32_size(result::kErrorCodeFieldNumber, error_code_) +
                       f::always_size(result::kMessageFieldNumber, message_size);
    for (const auto& v : values_) {
        body += f::always_size(result::kValuesFieldNumber, value_size(v));
    }
    const std::size_t size = f::always_size(in_envelope, body);

    std::uint8_t* const begin = out.allocate(size);
    std::uint8_t* target = f::write_header(in_envelope, body, begin);
    target = f::write_int32(result::kSensorIdFieldNumber, sensor_id_, target);
    target = f::write_enum(result::kResponseCodeFieldNumber, static_cast<int>(response_code_), target);
    target = f::write_int32(result::kErrorCodeFieldNumber, error_code_, target);
    target = f::write_header(result::kMessageFieldNumber, message_size, target);
    target = f::write_string(text::kKeyFieldNumber, key.view(), target);
    for (const auto& argument : arguments) {
        target = f::write_always(text::kArgumentsFieldNumber, argument.view(), target);
    }
    target = f::write_string(text::kEnglishFieldNumber, english.view(), target);
    for (const auto& v : values_) {
        target = f::write_header(result::kValuesFieldNumber, value_size(v), target);
        target = f::write_int32(value::kChannelIdFieldNumber, v.first, target);
        target = f::write_int64(value::kValueFieldNumber, v.second, target);
    }
    if (target != begin + size) {
        throw utils::exceptions::message_serialization_failed();
    }
}

void check_result::encode(messaging::envelope_bytes& out) const {
    namespace f = messaging::fields;
    using result = wire::CheckResult;
    constexpr int in_envelope = wire::Envelope::kCheckResultFieldNumber;
    const std::size_t body =
        f::int32_size(result::kCheckIdFieldNumber, check_id_) + f::bool_size(result::kSuccessFieldNumber, success_);
    const std::size_t size = f::always_size(in_envelope, body);
    std::uint8_t* const begin = out.allocate(size);
    std::uint8_t* target = f::write_header(in_envelope, body, begin);
    target = f::write_int32(result::kCheckIdFieldNumber, check_id_, target);
    target = f::write_bool(result::kSuccessFieldNumber, success_, target);
    if (target != begin + size) {
        throw utils::exceptions::message_serialization_failed();
    }
}

void check_result::fill(wire::Envelope& envelope) const {
    auto* result = envelope.mutable_check_result();
    result->set_check_id(check_id_);
    result->set_success(success_);
}

} // namespace vantrel::kelvane::libwexohelper::responses
