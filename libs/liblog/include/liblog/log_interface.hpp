#pragma once

#include <cstdint>
#include <string>

namespace vantrel::kelvane::liblog {

// Level numbers are the host's; the module writes details at 7 and warnings at 3.
inline constexpr std::int32_t level_warning = 3;
inline constexpr std::int32_t level_detail = 7;

// A sink for log lines. Implementations must be safe to call from several threads.
class log_interface {
public:
    virtual ~log_interface() = default;
    virtual void log(std::int32_t level, const std::string& message) = 0;
    // False when every line is dropped, so callers can skip building lines.
    virtual bool enabled() const noexcept { return true; }
};

// Swallows everything; used wherever logging is off or no log is configured.
class null_logger final : public log_interface {
public:
    void log(std::int32_t, const std::string&) override {}
    bool enabled() const noexcept override { return false; }
};

} // namespace vantrel::kelvane::liblog
