#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantrel::kelvane::libwexohelper::channels {

enum class value_mode : std::int32_t { integer = 1 };

// Units the host knows how to show.
enum class unit_code : std::int32_t { custom = 0, response_time_ms = 6, count = 10 };

enum class limit_mode : std::int32_t { off = 0, on = 1 };

// Everything the host needs to show and judge one channel.
struct dynamic_channel_options {
    std::int32_t id = 0;
    std::string name_key; // catalogue key, e.g. "channel.response_time"
    value_mode mode = value_mode::integer;
    unit_code unit = unit_code::custom;
    // The three numeric display fields; 0 means the host's own choice.
    std::int32_t decimal_places = 0;
    std::int32_t chart_minimum = 0; // with chart_maximum a fixed chart range; 0 and 0 scale automatically
    std::int32_t chart_maximum = 0;
    std::string lookup_name; // empty: the value is shown as a number
    limit_mode limits = limit_mode::off;
    std::optional<double> upper_error_limit;
    std::optional<double> upper_warning_limit;
    std::optional<double> lower_error_limit;
    std::optional<double> lower_warning_limit;
    std::string limit_error_message;   // catalogue key or text shown when an error limit is broken
    std::string limit_warning_message; // the same for a warning limit

    friend bool operator==(const dynamic_channel_options&, const dynamic_channel_options&) = default;
};

} // namespace vantrel::kelvane::libwexohelper::channels
