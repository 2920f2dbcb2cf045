#pragma once

#include <libi18n/i18n_exception.hpp>
#include <libi18n/i18n_msg.hpp>
#include <libwexohelper/messaging/wexo_message.hpp>
#include <libwexohelper/responses/response_codes.hpp>
#include <libwexohelper/settings/channel_map.hpp>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::libwexohelper::responses {

// One scan's answer to the host: response code, message, error code and one
// value per channel. An error result carries the error's text and no values.
class sensor_scan_result final : public messaging::wexo_message {
public:
    sensor_scan_result(std::int32_t sensor_id, std::shared_ptr<const settings::channel_map> channels);
    // Error result whose message is the exception's key, arguments and English text.
    sensor_scan_result(std::int32_t sensor_id, const libi18n::i18n_exception& error);
    // Error result whose message is the exception's (untranslated) text.
    sensor_scan_result(std::int32_t sensor_id, const std::exception& error);

    // Throws channel_map_not_initialized on an error result and
    // channel_not_defined for a channel the map neither defines nor the host knows.
    sensor_scan_result& set_value(std::int32_t channel_id, std::int64_t value);
    sensor_scan_result& set_error_code(std::int32_t code);
    sensor_scan_result& set_response_code(scan_response_codes code);
    sensor_scan_result& set_response_message(libi18n::i18n_msg message);

    // The message in English.
    std::string response_message() const { return message_.english(); }
    const libi18n::i18n_msg& message() const noexcept { return message_; }
    scan_response_codes response_code() const noexcept { return response_code_; }
    std::int32_t error_code() const noexcept { return error_code_; }
    const std::vector<std::pair<std::int32_t, std::int64_t>>& values() const noexcept { return values_; }

    void fill(wire::Envelope& envelope) const override;
    void encode(messaging::envelope_bytes& out) const override;

private:
    std::int32_t sensor_id_;
    std::shared_ptr<const settings::channel_map> channels_;
    scan_response_codes response_code_ = scan_response_codes::ok;
    std::int32_t error_code_ = 0;
    libi18n::i18n_msg message_;
    std::vector<std::pair<std::int32_t, std::int64_t>> values_;
};

// A check's answer: success or failure.
class check_result final : public messaging::wexo_message {
public:
    explicit check_result(std::int32_t check_id) : check_id_(check_id) {}
    check_result& set_success(bool success) {
        success_ = success;
        return *this;
    }
    bool success() const noexcept { return success_; }
    void fill(wire::Envelope& envelope) const override;
    void encode(messaging::envelope_bytes& out) const override;

private:
    std::int32_t check_id_;
    bool success_ = false;
};

} // namespace vantrel::kelvane::libwexohelper::responses
