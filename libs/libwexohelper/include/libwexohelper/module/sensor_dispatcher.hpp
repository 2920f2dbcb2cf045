#pragma once

#include <libwexohelper/checks/check_interface.hpp>
#include <libwexohelper/module/sensor_stock.hpp>
#include <libwexohelper/responses/response_codes.hpp>
#include <libwexohelper/settings/sensor_data_wrapper.hpp>
#include <libwexohelper/utils/service_container.hpp>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace vantrel::kelvane::libwexohelper::module {

// Kind name of the check that the platform answers itself (always success).
inline constexpr const char* true_check_kind = "true_check";

// Finds sensor and check kinds by the name in the settings' `kind`, makes
// sensors into the sensor stock and runs scans, checks and meta-scans by id.
// Registries are filled while the module is built and only read afterwards.
// Refusals (bad settings bytes, unknown kind or id, a scan of a sensor that is
// already scanning) answer with their own code and leave their reason in the
// runtime log; errors raised by a sensor's or check's construction propagate to
// the caller, among them sensor_already_registered for a taken id (made by the
// factory and refused by the sensor stock, so two racing creates cannot both win).
class sensor_dispatcher {
public:
    using factory = std::function<void(const std::shared_ptr<utils::service_container>&, int,
                                       const settings::sensor_data_wrapper&)>;

    explicit sensor_dispatcher(std::shared_ptr<utils::service_container> container);

    // T is made as T(container, id, settings, channels, persistent data), with
    // settings read by T::settings_type::read; its settings go to its own log as
    // JSON, when that log keeps lines. A kind registered twice keeps its first factory.
    template <class T> void register_sensor_as(const std::string& kind) {
        sensor_stock* stock = &stock_;
        sensors_.emplace(kind, [stock](const std::shared_ptr<utils::service_container>& container, int id,
                                       const settings::sensor_data_wrapper& wrapper) {
            auto settings = T::settings_type::read(wrapper);
            auto sensor = std::make_shared<T>(container, id, std::move(settings), wrapper.get_channels(),
                                              wrapper.get_persistent_data());
            stock->add_sensor(id, sensor);
            if (sensor->log_enabled()) {
                static_cast<sensors::sensor_interface&>(*sensor).log(wrapper.to_json());
            }
        });
    }

    // T is made as T(container, id, wrapper) and its check() is run at once.
    template <class T> void register_check_as(const std::string& kind) {
        checks_.emplace(kind, [](const std::shared_ptr<utils::service_container>& container, int id,
                                 const settings::sensor_data_wrapper& wrapper) {
            T check(container, id, wrapper);
            static_cast<checks::check_interface&>(check).check();
        });
    }

    bool has_sensor_kind(const std::string& kind) const { return sensors_.contains(kind); }
    bool has_check_kind(const std::string& kind) const { return checks_.contains(kind); }

    responses::sensor_create_response_code create_sensor_instance(int id, const settings::sensor_data_wrapper& wrapper);
    responses::sensor_scan_response_code execute_sensor_scan(int id);
    responses::check_response_code execute_check(int id, const settings::sensor_data_wrapper& wrapper);
    responses::meta_scan_response_code execute_meta_scan(int id, unsigned selector,
                                                         const settings::sensor_data_wrapper& wrapper);
    responses::sensor_destroy_response_code destroy_sensor_instance(int id);

    sensor_stock& stock() noexcept { return stock_; }

private:
    void refuse(const std::string& reason) const;

    std::shared_ptr<utils::service_container> container_;
    std::unordered_map<std::string, factory> sensors_;
    std::unordered_map<std::string, factory> checks_;
    sensor_stock stock_;
};

} // namespace vantrel::kelvane::libwexohelper::module
