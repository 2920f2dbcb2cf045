#include <libwexohelper/sensors/sensor_base.hpp>

namespace vantrel::kelvane::libwexohelper::sensors {

std::shared_ptr<liblog::log_interface> make_sensor_log(utils::service_container& container, int id,
                                                       bool logging_enabled) {
    if (logging_enabled && container.has_factory<logging::sensor_log_factory>()) {
        if (auto log = container.get_factory<logging::sensor_log_factory>()(id)) {
            return log;
        }
    }
    static const auto silent = std::make_shared<liblog::null_logger>();
    return silent;
}

} // namespace vantrel::kelvane::libwexohelper::sensors
