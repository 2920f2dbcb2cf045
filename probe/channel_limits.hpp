#pragma once

#include <wexo_host.pb.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel::kelvane::probe {

// Limits a host adds to a channel on top of those the module declares: a
// value below a lower or above an upper limit makes the channel a warning or
// an error. A blacklist sensor that reaches none of its servers is no longer OK
// once `servers_reached` has a lower error limit.
struct limit_set {
    std::optional<double> lower_error;
    std::optional<double> lower_warning;
    std::optional<double> upper_warning;
    std::optional<double> upper_error;

    bool operator==(const limit_set&) const = default;
};

// By channel name, the catalogue key without "channel." ("servers_reached").
using channel_limits = std::map<std::string, limit_set>;

// The field names a limit is given by, for messages.
inline constexpr const char* limit_fields = "lower_error, lower_warning, upper_warning, upper_error";

// Sets one field by name; false when the field has no such name.
bool set_limit(limit_set& limits, const std::string& field, double value);

// Reads "CHANNEL.FIELD=VALUE" (servers_reached.lower_error=50) into `limits`.
// Throws std::runtime_error naming what is wrong.
void add_limit(channel_limits& limits, const std::string& assignment);

// The channel's name: its catalogue key without "channel.".
std::string channel_name(const host_wire::ChannelOptions& channel);
// Whether the channel's name is `name`, without making the name.
bool is_channel(const host_wire::ChannelOptions& channel, std::string_view name);

// The module's channel definitions with the host's limits laid over them: a
// limit given by the host replaces the module's limit of the same field, and
// turns limits on for that channel. A broken host limit names itself in the
// channel's limit message.
std::map<std::int32_t, host_wire::ChannelOptions>
apply_limits(std::map<std::int32_t, host_wire::ChannelOptions> channels, const channel_limits& limits);

} // namespace vantrel::kelvane::probe
