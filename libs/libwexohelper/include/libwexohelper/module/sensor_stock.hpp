#pragma once

#include <libwexohelper/sensors/sensor_interface.hpp>

#include <unordered_map>
#include <memory>
#include <mutex>
#include <vector>

namespace vantrel::kelvane::libwexohelper::module {

// The live sensor instances by id. Thread-safe; the lock is held only for the
// look-up, never while a sensor works, so scans of different sensors run in parallel.
class sensor_stock {
public:
    // Throws sensor_already_registered when the id is taken.
    void add_sensor(int id, const std::shared_ptr<sensors::sensor_interface>& sensor);
    // Null when there is no sensor with the id.
    std::shared_ptr<sensors::sensor_interface> find(int id) const;
    bool contains(int id) const;
    // The removed sensor (null when there was none). It is destroyed when the
    // last scan that still uses it ends.
    std::shared_ptr<sensors::sensor_interface> remove(int id);
    // Takes every sensor out, so that they can be destroyed outside the lock.
    std::vector<std::shared_ptr<sensors::sensor_interface>> take_all();

private:
    mutable std::mutex mutex_;
    // By hash: a scan looks its sensor up among thousands, and order is never needed.
    std::unordered_map<int, std::shared_ptr<sensors::sensor_interface>> sensors_;
};

} // namespace vantrel::kelvane::libwexohelper::module
