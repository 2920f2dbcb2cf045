#include "channel_limits.hpp"

#include <charconv>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace vantrel::kelvane::probe {
namespace {

std::string number_text(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

} // namespace

bool set_limit(limit_set& limits, const std::string& field, double value) {
    if (field == "lower_error") {
        limits.lower_error = value;
    } else if (field == "lower_warning") {
        limits.lower_warning = value;
    } else if (field == "upper_warning") {
        limits.upper_warning = value;
    } else if (field == "upper_error") {
        limits.upper_error = value;
    } else {
        return false;
    }
    return true;
}

void add_limit(channel_limits& limits, const std::string& assignment) {
    const auto eq = assignment.find('=');
    const auto dot = assignment.rfind('.', eq);
    if (eq == std::string::npos || dot == std::string::npos || dot == 0) {
        throw std::runtime_error("\"" + assignment + "\" is not CHANNEL.FIELD=VALUE (FIELD one of " + limit_fields +
                                 ").");
    }
    const std::string channel = assignment.substr(0, dot);
    const std::string field = assignment.substr(dot + 1, eq - dot - 1);
    const std::string text = assignment.substr(eq + 1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() || !std::isfinite(value)) {
        throw std::runtime_error("The limit " + channel + "." + field + " needs a number, not \"" + text + "\".");
    }
    limit_set& set = limits[channel];
    if (!set_limit(set, field, value)) {
        throw std::runtime_error("\"" + field + "\" is not a limit; use one of " + limit_fields + ".");
    }
}

namespace {

// The name as a view into the channel's catalogue key.
std::string_view name_of(const host_wire::ChannelOptions& channel) {
    constexpr std::string_view prefix = "channel.";
    std::string_view key = channel.name_key();
    if (key.starts_with(prefix)) {
        key.remove_prefix(prefix.size());
    }
    return key;
}

} // namespace

std::string channel_name(const host_wire::ChannelOptions& channel) {
    return std::string(name_of(channel));
}

bool is_channel(const host_wire::ChannelOptions& channel, std::string_view name) {
    return name_of(channel) == name;
}

std::map<std::int32_t, host_wire::ChannelOptions>
apply_limits(std::map<std::int32_t, host_wire::ChannelOptions> channels, const channel_limits& limits) {
    if (limits.empty()) {
        return channels;
    }
    for (auto& [id, options] : channels) {
        const auto it = limits.find(channel_name(options));
        if (it == limits.end()) {
            continue;
        }
        const limit_set& l = it->second;
        const std::string name = it->first;
        // The message of a broken limit is shown as given when the catalogue
        // has no key of that name, so a host limit explains itself.
        std::string error_message;
        std::string warning_message;
        auto describe = [&](std::string& message, const char* relation, double value) {
            message += (message.empty() ? "" : ", ") + name + " " + relation + " " + number_text(value);
        };
        if (l.lower_error) {
            options.set_has_lower_error_limit(true);
            options.set_lower_error_limit(*l.lower_error);
            describe(error_message, "below", *l.lower_error);
        }
        if (l.upper_error) {
            options.set_has_upper_error_limit(true);
            options.set_upper_error_limit(*l.upper_error);
            describe(error_message, "above", *l.upper_error);
        }
        if (l.lower_warning) {
            options.set_has_lower_warning_limit(true);
            options.set_lower_warning_limit(*l.lower_warning);
            describe(warning_message, "below", *l.lower_warning);
        }
        if (l.upper_warning) {
            options.set_has_upper_warning_limit(true);
            options.set_upper_warning_limit(*l.upper_warning);
            describe(warning_message, "above", *l.upper_warning);
        }
        options.set_limit_mode(1);
        if (!error_message.empty()) {
            options.set_limit_error_message_key("Limit: " + error_message);
        }
        if (!warning_message.empty()) {
            options.set_limit_warning_message_key("Limit: " + warning_message);
        }
    }
    return channels;
}

} // namespace vantrel::kelvane::probe
