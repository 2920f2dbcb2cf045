#pragma once

// Walking a JSON text without parsing it: enough to find, drop or pick the
// members of a large document (the module's manifest) at a fraction of a
// full parse. The text is trusted to be JSON; on anything else the walkers
// give up (nullopt / false) rather than guess.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel::kelvane::libstringutils::json_skim {

// Index of the first character at or after i that is not JSON white space.
std::size_t skip_space(std::string_view json, std::size_t i) noexcept;

// Index just past the string that starts at json[i] == '"'.
std::optional<std::size_t> skip_string(std::string_view json, std::size_t i) noexcept;

// Index just past the value that starts at json[i]; for a scalar that ends
// its container, the index of the closing bracket.
std::optional<std::size_t> skip_value(std::string_view json, std::size_t i) noexcept;

// Calls `member(key, value_begin, value_end)` for each member of the object
// that starts at json[i] == '{', in order; `key` is the raw text between the
// quotes. Stops early when `member` returns false. False when the text is not
// an object as far as the walk could tell. (A template: it runs once per entry
// of a catalogue, where a std::function would cost more than the walk.)
template <class F> bool for_each_member(std::string_view json, std::size_t i, F&& member) {
    if (i >= json.size() || json[i] != '{') {
        return false;
    }
    i = skip_space(json, i + 1);
    if (i < json.size() && json[i] == '}') {
        return true;
    }
    while (i < json.size() && json[i] == '"') {
        const auto key_end = skip_string(json, i);
        if (!key_end) {
            return false;
        }
        const std::string_view key = json.substr(i + 1, *key_end - i - 2);
        i = skip_space(json, *key_end);
        if (i >= json.size() || json[i] != ':') {
            return false;
        }
        const std::size_t value_begin = skip_space(json, i + 1);
        const auto value_end = skip_value(json, value_begin);
        if (!value_end || *value_end == value_begin) { // a member has a value
            return false;
        }
        if (!member(key, value_begin, *value_end)) {
            return true;
        }
        i = skip_space(json, *value_end);
        if (i < json.size() && json[i] == '}') {
            return true;
        }
        if (i >= json.size() || json[i] != ',') {
            return false;
        }
        i = skip_space(json, i + 1);
    }
    return false;
}

// The JSON text without the member `key` of its top-level object (and the
// comma that joined it); every other byte stays as it was. The text is
// returned unchanged when it has no such member or is not a JSON object.
std::string without_member(std::string_view json, std::string_view key);

} // namespace vantrel::kelvane::libstringutils::json_skim
