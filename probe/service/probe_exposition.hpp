#pragma once

#include "probe_request.hpp"
#include "probe_service.hpp"

#include <string>

namespace vantrel::kelvane::probe::service {

// The answer to /probe in the Prometheus text format: wexo_probe_success,
// wexo_probe_duration_seconds and one gauge per channel, named as on
// /metrics but without the sensor label. A dns_v2 probe labels every series
// with the queried `domain` and `record_type`.
std::string probe_metrics_text(const probe_request& request, const probe_outcome& outcome);

// The answer to /probe with debug=true: what was asked, the outcome, and the
// sensor log of the checks and the scan (the dig-style answer among it).
std::string probe_debug_text(const probe_request& request, const probe_outcome& outcome);

} // namespace vantrel::kelvane::probe::service
