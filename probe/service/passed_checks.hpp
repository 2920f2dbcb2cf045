#pragma once

#include "clock.hpp"

#include <wexo_host.pb.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_map>

namespace vantrel::kelvane::probe::service {

// Precondition checks that passed, each remembered for a while by its exact
// settings (the check's kind is one of them), so that repeated /probe requests
// for one target do not run its check every time. A failed check is never
// remembered. At most `capacity` checks are held; past that a passed check is
// not remembered until older ones have expired. Thread-safe.
class passed_checks {
public:
    // `keep` zero: nothing is remembered.
    passed_checks(duration keep, std::size_t capacity);

    // True when a check with exactly these settings passed less than `keep` before `now`.
    bool passed(const host_wire::SensorData& check, time_point now);
    void remember(const host_wire::SensorData& check, time_point now);

private:
    duration keep_;
    std::size_t capacity_;
    std::mutex mutex_;
    std::unordered_map<std::string, time_point> passed_at_; // by the check's bytes
};

} // namespace vantrel::kelvane::probe::service
