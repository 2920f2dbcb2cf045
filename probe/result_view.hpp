#pragma once

#include "manifest_model.hpp"

#include <wexo_host.pb.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vantrel::kelvane::probe {

enum class channel_state { ok, warning, error };

struct channel_row {
    std::int32_t id = 0;
    std::string name;    // translated
    std::int64_t value = 0;
    std::string display; // value with unit, or the lookup's text
    std::string unit;    // "ms", "#" or ""
    channel_state state = channel_state::ok;
    std::string limit_message; // translated; set when a limit is broken
};

// One scan result as a monitoring host judges it: the module's own response
// code, and the channel limits the sensor declared.
struct scan_view {
    std::string kind;
    std::string status; // "ok", "warning" or "error"
    std::int32_t response_code = 0;
    std::int32_t error_code = 0;
    std::string message; // translated; a broken limit's message when the module's own is plain success
    std::vector<channel_row> channels;
};

// The state of one channel's value under the limits in its options; a
// broken error limit beats a broken warning limit.
channel_state limit_state(const host_wire::ChannelOptions& options, std::int64_t value);

// The status that evaluate() gives ("ok", "warning" or "error"), worked out
// from the numbers alone: what a host needs after every scan, without the
// translations that only a person looking at the result needs.
const char* judge_status(const host_wire::SensorScanResult& result,
                         const std::map<std::int32_t, host_wire::ChannelOptions>& channels);

scan_view evaluate(const std::string& kind, const host_wire::SensorScanResult& result,
                   const std::map<std::int32_t, host_wire::ChannelOptions>& channels, const manifest_model& manifest,
                   const std::string& language);

std::string render_text(const scan_view& view);
std::string render_json(const scan_view& view);
// Status line with performance data, as a Nagios-style plug-in prints it.
std::string render_nagios(const scan_view& view);
// 0 OK, 1 warning, 2 critical.
int nagios_exit_code(const scan_view& view);

const char* state_name(channel_state state);

} // namespace vantrel::kelvane::probe
