#pragma once

#include <cstdint>
#include <string>

namespace vantrel::kelvane::libwexohelper::checks {

// A check runs once for a host's precondition and answers success or failure.
// (The two log operations stand in the opposite order to sensor_interface's on purpose.)
class check_interface {
public:
    virtual ~check_interface() = default;
    virtual int id() const = 0;
    virtual void log(const std::string& message) = 0;
    virtual void log(const std::string& message, std::int32_t level) = 0;
    // Does the work and sends a check_result for the id.
    virtual void check() = 0;
};

} // namespace vantrel::kelvane::libwexohelper::checks
