#pragma once

#include <iosfwd>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vantrel::kelvane::probe::service {

enum class log_level { error = 0, warning = 1, info = 2, debug = 3 };

// The service's own events, one line each (start, sensor added, precondition
// failed, scan error, reload, stop), as text or as a JSON object per line.
// Thread-safe.
class service_log {
public:
    using fields = std::vector<std::pair<std::string, std::string>>;

    // Throws std::invalid_argument for an unknown format ("text", "json") or level.
    service_log(std::ostream& out, const std::string& format, const std::string& level);

    void write(log_level level, const std::string& event, const fields& details);
    bool enabled(log_level level) const { return level <= threshold_; }

private:
    std::ostream& out_;
    bool json_ = false;
    log_level threshold_ = log_level::info;
    std::mutex mutex_;
};

} // namespace vantrel::kelvane::probe::service
