#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel::kelvane::libwexohelper::settings {

// Limits of a setting: for integers the allowed values, for texts the allowed length.
struct validation_rules {
    std::int64_t minimum = 0;
    bool has_minimum = false;
    std::int64_t maximum = 0;
    bool has_maximum = false;

    static validation_rules none() { return {}; }
    static validation_rules at_least(std::int64_t min) { return {min, true, 0, false}; }
    static validation_rules between(std::int64_t min, std::int64_t max) { return {min, true, max, true}; }
    static validation_rules at_most(std::int64_t max) { return {0, false, max, true}; }
};

// Longest text a text setting may hold unless its rules say otherwise.
inline constexpr std::int64_t default_max_text_length = 65535;

struct kind_string {
    // The text itself. Throws string_too_long naming `name` when the text is
    // longer than the rules' maximum (or the default maximum).
    static std::string parse_and_validate(std::string_view text, validation_rules rules, std::string_view name = "Setting");
};

// A secret text; never written to any log.
struct kind_securestring {
    static std::string parse_and_validate(std::string_view text, validation_rules rules, std::string_view name = "Setting");
};

struct kind_integer {
    // The decimal number in `text`, or empty when the text is not a whole
    // decimal number that fits 64 bits. Throws setting_invalid_less_min or
    // setting_invalid_bigger_max when the number breaks the rules.
    static std::optional<std::int64_t> parse_and_validate(std::string_view text, validation_rules rules);
};

} // namespace vantrel::kelvane::libwexohelper::settings
