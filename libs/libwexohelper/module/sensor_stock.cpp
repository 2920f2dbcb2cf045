#include <libwexohelper/module/sensor_stock.hpp>
#include <libwexohelper/utils/exceptions.hpp>

namespace vantrel::kelvane::libwexohelper::module {

void sensor_stock::add_sensor(int id, const std::shared_ptr<sensors::sensor_interface>& sensor) {
    std::lock_guard lock(mutex_);
    if (!sensors_.emplace(id, sensor).second) {
        throw utils::exceptions::sensor_already_registered(std::to_string(id));
    }
}

std::shared_ptr<sensors::sensor_interface> sensor_stock::find(int id) const {
    std::lock_guard lock(mutex_);
    const auto it = sensors_.find(id);
    return it == sensors_.end() ? nullptr : it->second;
}

bool sensor_stock::contains(int id) const {
    std::lock_guard lock(mutex_);
    return sensors_.contains(id);
}

std::shared_ptr<sensors::sensor_interface> sensor_stock::remove(int id) {
    std::lock_guard lock(mutex_);
    const auto it = sensors_.find(id);
    if (it == sensors_.end()) {
        return nullptr;
    }
    auto sensor = std::move(it->second);
    sensors_.erase(it);
    return sensor;
}

std::vector<std::shared_ptr<sensors::sensor_interface>> sensor_stock::take_all() {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<sensors::sensor_interface>> all;
    for (auto& [id, sensor] : sensors_) {
        all.push_back(std::move(sensor));
    }
    sensors_.clear();
    return all;
}

} // namespace vantrel::kelvane::libwexohelper::module
