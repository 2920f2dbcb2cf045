#include <libwexohelper/logging/host_log.hpp>

#include "messaging/envelope_fields.hpp"

#include <libstringutils/utf8.hpp>
#include <libwexohelper/utils/exceptions.hpp>
#include <wexo.pb.h>

namespace vantrel::kelvane::libwexohelper::logging {

void log_message::fill(wire::Envelope& envelope) const {
    auto* line = envelope.mutable_log_message();
    line->set_source(source_ == log_source::sensor ? wire::LogMessage::SENSOR : wire::LogMessage::RUNTIME);
    line->set_sensor_id(sensor_id_);
    line->set_level(level_);
    line->set_text(text_);
    // A line may quote answer bytes; protobuf refuses a string field that is
    // not UTF-8, and the host would get nothing at all.
    libstringutils::make_valid_utf8(*line->mutable_text());
}

void log_message::encode(messaging::envelope_bytes& out) const {
    namespace f = messaging::fields;
    using line = wire::LogMessage;
    constexpr int in_envelope = wire::Envelope::kLogMessageFieldNumber;
    const int source = source_ == log_source::sensor ? line::SENSOR : line::RUNTIME;
    const f::utf8_text text(text_);
    const std::size_t body =
        f::enum_size(line::kSourceFieldNumber, source) + f::int32_size(line::kSensorIdFieldNumber, sensor_id_) +
        f::int32_size(line::kLevelFieldNumber, level_) + f::string_size(line::kTextFieldNumber, text.view());
    const std::size_t size = f::always_size(in_envelope, body);
    std::uint8_t* const begin = out.allocate(size);
    std::uint8_t* target = f::write_header(in_envelope, body, begin);
    target = f::write_enum(line::kSourceFieldNumber, source, target);
    target = f::write_int32(line::kSensorIdFieldNumber, sensor_id_, target);
    target = f::write_int32(line::kLevelFieldNumber, level_, target);
    target = f::write_string(line::kTextFieldNumber, text.view(), target);
    if (target != begin + size) {
        throw utils::exceptions::message_serialization_failed();
    }
}

void host_log::log(std::int32_t level, const std::string& message) {
    try {
        messages_->send(log_message(source_, sensor_id_, level, message));
    } catch (const std::exception&) {
        // A line too long for the host is not worth failing a scan for.
    }
}

} // namespace vantrel::kelvane::libwexohelper::logging

namespace vantrel::kelvane::libwexohelper::module {

void register_runtime_log(const std::shared_ptr<utils::service_container>& container) {
    // The factory lives in the container and only the container calls it, so
    // a plain pointer is safe and keeps the container from owning itself.
    utils::service_container* const owner = container.get();
    container->add_factory<utils::service_container::instance_factory<liblog::log_interface>>(
        [owner]() -> std::shared_ptr<liblog::log_interface> {
            return std::make_shared<logging::runtime_log>(owner->get_instance<messaging::message_service_interface>());
        });
}

void register_sensor_log(const std::shared_ptr<utils::service_container>& container) {
    // The factory holds the message service, not the container, so that the
    // container does not own itself through it.
    auto messages = container->get_instance<messaging::message_service_interface>();
    container->add_factory<logging::sensor_log_factory>(
        [messages](std::int32_t sensor_id) { return std::make_shared<logging::sensor_log>(messages, sensor_id); });
}

} // namespace vantrel::kelvane::libwexohelper::module
