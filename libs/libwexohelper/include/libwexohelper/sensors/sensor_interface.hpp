#pragma once

#include <cstdint>
#include <string>

namespace vantrel::kelvane::libwexohelper::sensors {

// What a request for a scan came to.
enum class scan_outcome {
    done,             // the scan ran and sent its result
    already_scanning, // refused at once: a scan of this sensor is under way
};

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
    // failure of the scan itself: that becomes an error result. A scan asked
    // for while another one of this sensor runs (on another thread, or from
    // the host's callback inside it) is refused at once, never waited for.
    virtual scan_outcome scan() = 0;
    // Called when the host destroys the instance. From then on nothing the
    // instance sends reaches the host (a scan still running finishes without
    // its result); sensor log lines are not affected. Waits while a message of
    // this instance is being delivered on another thread, so that none arrives
    // after the host's destroy call has returned; a call from inside that
    // delivery (the host's callback on the same thread) does not wait.
    virtual void retire() = 0;
};

} // namespace vantrel::kelvane::libwexohelper::sensors
