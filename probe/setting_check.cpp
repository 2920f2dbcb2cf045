#include "setting_check.hpp"

#include "terminal_text.hpp"

#include <charconv>
#include <cstdint>

namespace vantrel::kelvane::probe {
namespace {

// Parses as the platform's integer kind does: an optional sign, then decimal
// digits only, within signed 64 bits.
std::optional<std::int64_t> whole_number(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::string allowed_numbers(const setting_description& s) {
    if (s.minimum && s.maximum) {
        return "a whole number from " + std::to_string(*s.minimum) + " to " + std::to_string(*s.maximum);
    }
    if (s.minimum) {
        return "a whole number of at least " + std::to_string(*s.minimum);
    }
    if (s.maximum) {
        return "a whole number of at most " + std::to_string(*s.maximum);
    }
    return "a whole number";
}

std::string allowed_options(const setting_description& s) {
    std::string list;
    for (const auto& [value, display] : s.options) {
        list += (list.empty() ? "\"" : ", \"") + escape_controls(value) + "\"";
    }
    return "one of " + list;
}

std::string rejection(const setting_description& s, std::string_view value, const std::string& allowed) {
    return "The setting \"" + escape_controls(s.key) + "\" must be " + allowed + "; " + quoted_value(value, s.secure) +
           " is not.";
}

} // namespace

std::optional<std::string> check_setting_value(const setting_description& setting, std::string_view value) {
    if (setting.type == "integer") {
        const auto number = whole_number(value);
        if (!number || (setting.minimum && *number < *setting.minimum) ||
            (setting.maximum && *number > *setting.maximum)) {
            return rejection(setting, value, allowed_numbers(setting));
        }
        return std::nullopt;
    }
    if (setting.type == "selection" && !setting.options.empty()) {
        for (const auto& [option, display] : setting.options) {
            if (option == value) {
                return std::nullopt;
            }
        }
        return rejection(setting, value, allowed_options(setting));
    }
    return std::nullopt;
}

} // namespace vantrel::kelvane::probe
