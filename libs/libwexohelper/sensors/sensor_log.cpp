#include <libwexohelper/sensors/sensor_base.hpp>

namespace vantrel::kelvane::libwexohelper::sensors {

std::shared_ptr<liblog::log_interface> make_sensor_log(utils::service_container& container, int id,
                                                       bool logging_enabled) {
    if (logging_enabled) {
        // A module that turns logging on without a sensor log is misbuilt:
        // factory_not_available says so instead of logging nothing.
        if (auto log = container.get_factory<logging::sensor_log_factory>()(id)) {
            return log;
        }
    }
    static const auto silent = std::make_shared<liblog::null_logger>();
    return silent;
}

} // namespace vantrel::kelvane::libwexohelper::sensors
