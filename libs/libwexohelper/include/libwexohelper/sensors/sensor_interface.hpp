#pragma once

#include <cstdint>
#include <string>

namespace vantrel::kelvane::libwexohelper::sensors {

// What the dispatcher knows of a sensor instance.
class sensor_interface {
public:
    virtual ~sensor_interface() = default;
    virtual int id() const = 0;
    // Writes one line to the sensor log at the given level.
    virtual void log(const std::string& message, std::int32_t level) = 0;
    // Writes one detail line (level 7) to the sensor log.
    virtual void log(const std::string& message) = 0;
    // Runs one scan and sends its result to the host. Never throws for a
    // failure of the scan itself: that becomes an error result.
    virtual void scan() = 0;
};

} // namespace vantrel::kelvane::libwexohelper::sensors
