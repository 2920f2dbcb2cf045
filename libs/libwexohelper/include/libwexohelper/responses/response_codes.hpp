#pragma once

#include <cstdint>

// Codes the dispatcher answers the host with. 1, 2 and 3 are the export
// layer's own (1 initialisation refused or buffer too small, 2 an error was
// caught, 3 not initialised), so the dispatcher's refusals start at 4. The
// values match OperationCode in proto/wexo.proto.

namespace vantrel::kelvane::libwexohelper::responses {

enum class scan_response_codes : std::int32_t { ok = 0, warning = 1, down = 2, error = 3 };

// A second sensor under a taken id is no refusal of the dispatcher: the sensor
// factory's add_sensor throws sensor_already_registered (code 2 at the
// boundary). 5, once used for it, stays unused.
enum class sensor_create_response_code : std::int32_t {
    ok = 0,
    unknown_kind = 4,
    invalid_settings = 7,
};

enum class sensor_scan_response_code : std::int32_t { ok = 0, unknown_id = 6, scan_in_progress = 9 };

enum class check_response_code : std::int32_t { ok = 0, unknown_kind = 4, invalid_settings = 7 };

enum class meta_scan_response_code : std::int32_t {
    ok = 0,
    unknown_id = 6,
    invalid_settings = 7,
    no_meta_scan = 8,
};

enum class sensor_destroy_response_code : std::int32_t { ok = 0, unknown_id = 6 };

} // namespace vantrel::kelvane::libwexohelper::responses
