#include <liblog/log_interface.hpp>
#include <libwexohelper/messaging/message_service.hpp>
#include <libwexohelper/module/sensor_dispatcher.hpp>
#include <libwexohelper/responses/sensor_scan_result.hpp>

namespace vantrel::kelvane::libwexohelper::module {

using namespace responses;

sensor_dispatcher::sensor_dispatcher(std::shared_ptr<utils::service_container> container)
    : container_(std::move(container)) {}

void sensor_dispatcher::refuse(const std::string& reason) const {
    try {
        container_->get_instance<liblog::log_interface>()->log(liblog::level_warning, reason);
    } catch (const std::exception&) {
        // No runtime log registered: the code alone has to do.
    }
}

sensor_create_response_code sensor_dispatcher::create_sensor_instance(int id,
                                                                      const settings::sensor_data_wrapper& wrapper) {
    if (!wrapper.valid()) {
        refuse("Sensor " + std::to_string(id) + " not created: " + wrapper.error());
        return sensor_create_response_code::invalid_settings;
    }
    const auto it = sensors_.find(wrapper.kind());
    if (it == sensors_.end()) {
        refuse("Sensor " + std::to_string(id) + " not created: unknown sensor kind \"" + wrapper.kind() + "\".");
        return sensor_create_response_code::unknown_kind;
    }
    it->second(container_, id, wrapper);
    return sensor_create_response_code::ok;
}

sensor_scan_response_code sensor_dispatcher::execute_sensor_scan(int id) {
    const auto sensor = stock_.find(id);
    if (!sensor) {
        refuse("Scan refused: " +
               std::string(utils::exceptions::sensor_not_in_sensor_stock(std::to_string(id)).what()));
        return sensor_scan_response_code::unknown_id;
    }
    if (sensor->scan() == sensors::scan_outcome::already_scanning) {
        refuse("Scan refused: sensor " + std::to_string(id) + " is already scanning.");
        return sensor_scan_response_code::scan_in_progress;
    }
    return sensor_scan_response_code::ok;
}

check_response_code sensor_dispatcher::execute_check(int id, const settings::sensor_data_wrapper& wrapper) {
    if (!wrapper.valid()) {
        refuse("Check " + std::to_string(id) + " not run: " + wrapper.error());
        return check_response_code::invalid_settings;
    }
    if (wrapper.kind() == true_check_kind && !checks_.contains(true_check_kind)) {
        check_result result(id);
        container_->get_instance<messaging::message_service_interface>()->send(result.set_success(true));
        return check_response_code::ok;
    }
    const auto it = checks_.find(wrapper.kind());
    if (it == checks_.end()) {
        refuse("Check " + std::to_string(id) + " not run: unknown check kind \"" + wrapper.kind() + "\".");
        return check_response_code::unknown_kind;
    }
    it->second(container_, id, wrapper);
    return check_response_code::ok;
}

meta_scan_response_code sensor_dispatcher::execute_meta_scan(int id, unsigned selector,
                                                             const settings::sensor_data_wrapper& wrapper) {
    if (!wrapper.valid()) {
        refuse("Meta-scan for sensor " + std::to_string(id) + " not run: " + wrapper.error());
        return meta_scan_response_code::invalid_settings;
    }
    if (!stock_.contains(id)) {
        refuse("Meta-scan refused: " +
               std::string(utils::exceptions::sensor_not_in_sensor_stock(std::to_string(id)).what()));
        return meta_scan_response_code::unknown_id;
    }
    refuse("Meta-scan " + std::to_string(selector) + " for sensor " + std::to_string(id) +
           " not run: the module declares no meta-scans.");
    return meta_scan_response_code::no_meta_scan;
}

sensor_destroy_response_code sensor_dispatcher::destroy_sensor_instance(int id) {
    const auto sensor = stock_.remove(id);
    if (!sensor) {
        refuse("Destroy refused: " +
               std::string(utils::exceptions::sensor_not_in_sensor_stock(std::to_string(id)).what()));
        return sensor_destroy_response_code::unknown_id;
    }
    // A scan that still runs keeps the instance alive; its result must not
    // reach the host under an id that a new sensor may take next.
    sensor->retire();
    return sensor_destroy_response_code::ok;
}

} // namespace vantrel::kelvane::libwexohelper::module
