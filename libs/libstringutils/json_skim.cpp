#include <libstringutils/json_skim.hpp>

#include <array>
#include <cstring>
#include <string>

namespace vantrel::kelvane::libstringutils::json_skim {

std::size_t skip_space(std::string_view s, std::size_t i) noexcept {
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\n' || s[i] == '\r')) {
        ++i;
    }
    return i;
}

std::optional<std::size_t> skip_string(std::string_view s, std::size_t i) noexcept {
    // Most of a manifest is text inside strings: jump from quote to quote
    // (memchr) and only then ask whether backslashes escape the quote found.
    const char* const data = s.data();
    for (++i; i < s.size();) {
        const void* found = std::memchr(data + i, '"', s.size() - i);
        if (found == nullptr) {
            return std::nullopt;
        }
        const std::size_t quote = static_cast<std::size_t>(static_cast<const char*>(found) - data);
        std::size_t backslashes = 0;
        while (quote - backslashes > i && data[quote - backslashes - 1] == '\\') {
            ++backslashes;
        }
        if (backslashes % 2 == 0) {
            return quote + 1;
        }
        i = quote + 1;
    }
    return std::nullopt;
}

std::optional<std::size_t> skip_value(std::string_view s, std::size_t i) noexcept {
    // Between strings only brackets and commas matter: everything else
    // (indentation above all) is passed over in a tight loop.
    static constexpr auto matters = [] {
        std::array<bool, 256> table{};
        for (const unsigned char c : std::string_view("\"{}[],")) {
            table[c] = true;
        }
        return table;
    }();
    int depth = 0;
    while (i < s.size()) {
        while (i < s.size() && !matters[static_cast<unsigned char>(s[i])]) {
            ++i;
        }
        if (i == s.size()) {
            break;
        }
        const char c = s[i];
        if (c == '"') {
            const auto end = skip_string(s, i);
            if (!end) {
                return std::nullopt;
            }
            i = *end;
            if (depth == 0) {
                return i;
            }
            continue;
        }
        if (c == '{' || c == '[') {
            ++depth;
        } else if (c == '}' || c == ']') {
            if (depth == 0) {
                return i; // end of a scalar value at the end of its container
            }
            if (--depth == 0) {
                return i + 1;
            }
        } else if (depth == 0) { // ','
            return i;
        }
        ++i;
    }
    return depth == 0 ? std::optional<std::size_t>(i) : std::nullopt;
}

std::string without_member(std::string_view json, std::string_view key) {
    std::size_t i = skip_space(json, 0);
    if (i >= json.size() || json[i] != '{') {
        return std::string(json);
    }
    std::size_t previous_end = i + 1; // just after '{' or after the previous member's value
    bool first = true;
    i = skip_space(json, i + 1);
    while (i < json.size() && json[i] == '"') {
        const std::size_t key_start = i;
        const auto key_end = skip_string(json, i);
        if (!key_end) {
            break;
        }
        const std::string_view name = json.substr(key_start + 1, *key_end - key_start - 2);
        i = skip_space(json, *key_end);
        if (i >= json.size() || json[i] != ':') {
            break;
        }
        const std::size_t value_begin = skip_space(json, i + 1);
        const auto value_end = skip_value(json, value_begin);
        if (!value_end || *value_end == value_begin) {
            break;
        }
        const std::size_t after = skip_space(json, *value_end);
        const bool has_next = after < json.size() && json[after] == ',';
        if (name == key) {
            std::string out;
            if (first) {
                // Drop the member and the comma after it: `{ "Text": {...}, "a": 1 }`.
                const std::size_t cut_to = has_next ? skip_space(json, after + 1) : *value_end;
                out.append(json.substr(0, key_start));
                out.append(json.substr(cut_to));
            } else {
                // Drop the comma before it and the member: `{ "a": 1, "Text": {...} }`.
                out.append(json.substr(0, previous_end));
                out.append(json.substr(*value_end));
            }
            return out;
        }
        previous_end = *value_end;
        first = false;
        if (!has_next) {
            break;
        }
        i = skip_space(json, after + 1);
    }
    return std::string(json);
}

} // namespace vantrel::kelvane::libstringutils::json_skim
