#pragma once

#include "clock.hpp"

#include <wexo_host.pb.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_map>

namespace vantrel::kelvane::probe::service {

// Precondition checks that passed, each remembered for a while by its kind and
// the exact settings it ran with (those of the sensor it comes before), so that repeated /probe requests
// for one target do not run its check every time. A failed check is never
// remembered. At most `capacity` checks are held; past that a passed check is
// not remembered until older ones have expired. Thread-safe.
class passed_checks {
public:
    // `keep` zero: nothing is remembered.
    passed_checks(duration keep, std::size_t capacity);

    // True when the check `check_kind` with exactly these settings passed less
    // than `keep` before `now`. The kind named in `settings` does not count.
    bool passed(const std::string& check_kind, const host_wire::SensorData& settings, time_point now);
    void remember(const std::string& check_kind, const host_wire::SensorData& settings, time_point now);

private:
    duration keep_;
    std::size_t capacity_;
    std::mutex mutex_;
    std::unordered_map<std::string, time_point> passed_at_; // by check_key()
};

} // namespace vantrel::kelvane::probe::service
