#pragma once

#include <liblog/log_interface.hpp>
#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/utils/service_container.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace vantrel::kelvane::libwexohelper::logging {

// Where a log line comes from; the host routes lines by it.
enum class log_source { runtime = 0, sensor = 1 };

// A log line on its way to the host.
class log_message final : public messaging::wexo_message {
public:
    log_message(log_source source, std::int32_t sensor_id, std::int32_t level, const std::string& text)
        : source_(source), sensor_id_(sensor_id), level_(level), text_(text) {}
    void fill(wire::Envelope& envelope) const override;
    void encode(messaging::envelope_bytes& out) const override;

private:
    log_source source_;
    std::int32_t sensor_id_;
    std::int32_t level_;
    const std::string& text_;
};

// A log that does no file I/O: every line travels to the host as a log message
// through the message service. A line that cannot be delivered is dropped, so
// logging never fails the work it describes. Thread-safe.
class host_log : public liblog::log_interface {
public:
    void log(std::int32_t level, const std::string& message) override;

protected:
    host_log(std::shared_ptr<messaging::message_service_interface> messages, log_source source, std::int32_t sensor_id)
        : messages_(std::move(messages)), source_(source), sensor_id_(sensor_id) {}

private:
    std::shared_ptr<messaging::message_service_interface> messages_;
    log_source source_;
    std::int32_t sensor_id_;
};

// The module's runtime log: lines about the module and the host's calls.
class runtime_log final : public host_log {
public:
    explicit runtime_log(std::shared_ptr<messaging::message_service_interface> messages)
        : host_log(std::move(messages), log_source::runtime, 0) {}
};

// The log of one sensor instance; its lines carry the sensor's id.
class sensor_log final : public host_log {
public:
    sensor_log(std::shared_ptr<messaging::message_service_interface> messages, std::int32_t sensor_id)
        : host_log(std::move(messages), log_source::sensor, sensor_id) {}
};

// Makes the log of one sensor, by sensor id.
using sensor_log_factory = std::function<std::shared_ptr<sensor_log>(std::int32_t sensor_id)>;

} // namespace vantrel::kelvane::libwexohelper::logging

namespace vantrel::kelvane::libwexohelper::module {

// Registers the factory of the container's log_interface instance, the
// runtime log. The log is made on its first request, from the container's
// message service (instance_not_available then when there is none).
void register_runtime_log(const std::shared_ptr<utils::service_container>& container);

// Adds the sensor_log_factory through which each sensor gets its own log.
void register_sensor_log(const std::shared_ptr<utils::service_container>& container);

} // namespace vantrel::kelvane::libwexohelper::module
