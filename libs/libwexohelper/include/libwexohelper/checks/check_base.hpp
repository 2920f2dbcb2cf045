#pragma once

#include <libwexohelper/checks/check_interface.hpp>
#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/responses/sensor_scan_result.hpp>
#include <libwexohelper/sensors/sensor_base.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>
#include <libwexohelper/utils/service_container.hpp>

#include <memory>

namespace vantrel::kelvane::libwexohelper::checks {

// Base of every check, over its settings record (see sensor_base for what
// `Settings` offers). The record is read when the check is made.
template <class Settings>
class check_base : public check_interface {
public:
    using settings_type = Settings;

    check_base(std::shared_ptr<utils::service_container> container, int id,
               const settings::sensor_data_wrapper& wrapper)
        : container_(std::move(container)), id_(id), settings_(Settings::read(wrapper)),
          log_(sensors::make_sensor_log(*container_, id_, settings_.logging_enabled())) {}

    int id() const override { return id_; }
    void log(const std::string& message) override { log_->log(liblog::level_detail, message); }
    void log(const std::string& message, std::int32_t level) override { log_->log(level, message); }

protected:
    const Settings& settings() const noexcept { return settings_; }
    const std::shared_ptr<utils::service_container>& container() const noexcept { return container_; }
    liblog::log_interface& check_log() const noexcept { return *log_; }

    // Sends the check's answer to the host.
    void send_result(bool success) const {
        responses::check_result result(id_);
        container_->get_instance<messaging::message_service_interface>()->send(result.set_success(success));
    }

private:
    std::shared_ptr<utils::service_container> container_;
    int id_;
    Settings settings_;
    std::shared_ptr<liblog::log_interface> log_;
};

} // namespace vantrel::kelvane::libwexohelper::checks
